// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <xercesc/dom/impl/DOMErrorImpl.hpp>
#include <xercesc/dom/impl/DOMLocatorImpl.hpp>
#include <xercesc/sax/SAXParseException.hpp>

#include "xml/XercesFaults.hpp"
#include "xml/XmlTestSupport.hpp"

using namespace opc::model;
using xercesc::DOMError;

namespace {

class XercesErrorHandlerTest : public testing::Test {
 protected:
  xercesc::SAXParseException at(XMLFileLoc line, XMLCh const* text) { return {text, u"", u"", line, 2}; }

  bool report(DOMError::ErrorSeverity severity, XMLFileLoc line, XMLCh const* text) {
    xercesc::DOMLocatorImpl locator(line, 2, nullptr, u"");
    return handler_.handleError(xercesc::DOMErrorImpl(severity, text, &locator));
  }

  XercesGuard guard_;
  XercesErrorHandler handler_;
};

}  // namespace

TEST_F(XercesErrorHandlerTest, ThrowsNothingWithoutFault) {
  EXPECT_FALSE(handler_.hasFault());
  EXPECT_NO_THROW(handler_.throwFault());
}

TEST_F(XercesErrorHandlerTest, KeepsTheFirstInvalidPlace) {
  handler_.error(at(1, u"first"));
  handler_.error(at(2, u"second"));
  EXPECT_TRUE(handler_.hasFault());
  EXPECT_THROW_MESSAGE(handler_.throwFault(), InvalidXMLDocument, "line 1, column 2: first");
}

TEST_F(XercesErrorHandlerTest, PutsTheFatalFaultFirst) {
  handler_.error(at(1, u"invalid"));
  handler_.fatalError(at(5, u"fatal"));
  handler_.fatalError(at(6, u"later"));
  EXPECT_THROW_MESSAGE(handler_.throwFault(), InvalidXMLDocument, "line 5, column 2: fatal");
}

TEST_F(XercesErrorHandlerTest, TakesWarningsForNoFault) {
  handler_.warning(at(1, u"hm"));
  EXPECT_TRUE(report(DOMError::DOM_SEVERITY_WARNING, 1, u"hm"));
  EXPECT_FALSE(handler_.hasFault());
}

TEST_F(XercesErrorHandlerTest, StopsADomParserAtAFatalFaultOnly) {
  EXPECT_TRUE(report(DOMError::DOM_SEVERITY_ERROR, 3, u"invalid"));
  EXPECT_FALSE(report(DOMError::DOM_SEVERITY_FATAL_ERROR, 4, u"fatal"));
  EXPECT_THROW_MESSAGE(handler_.throwFault(), InvalidXMLDocument, "line 4, column 2: fatal");
}

TEST_F(XercesErrorHandlerTest, CountsAnAddedFaultAsAnInvalidPlace) {
  handler_.addFault({8, 9}, "added");
  handler_.error(at(9, u"later"));
  EXPECT_THROW_MESSAGE(handler_.throwFault(), InvalidXMLDocument, "line 8, column 9: added");
}

TEST_F(XercesErrorHandlerTest, ForgetsOnReset) {
  handler_.error(at(1, u"invalid"));
  handler_.fatalError(at(1, u"fatal"));
  handler_.resetErrors();
  EXPECT_NO_THROW(handler_.throwFault());
}

TEST_F(XercesErrorHandlerTest, ShowsWhatTheUsersEncodingCannotCarry) {
  handler_.error(at(1, u"lone \xD800 surrogate"));
  EXPECT_THROW_MESSAGE(handler_.throwFault(), InvalidXMLDocument, "line 1, column 2: lone \\u{D800} surrogate");
}
