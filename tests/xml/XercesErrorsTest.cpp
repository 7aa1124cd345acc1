// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/IllegalArgumentException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>

#include "xml/XercesFaults.hpp"
#include "xml/XmlTestSupport.hpp"

using namespace opc::model;

TEST(CallXerces, GivesBackWhatTheWorkGives) {
  int value = 7;
  EXPECT_EQ(&callXerces([&]() -> int& { return value; }), &value);
}

TEST(CallXerces, GivesParseExceptionsTheirPlace) {
  XercesGuard const guard;
  EXPECT_THROW_MESSAGE(callXerces([] { throw xercesc::SAXParseException(u"too late", u"", u"", 3, 7); }),
                       InvalidXMLDocument, "line 3, column 7: too late");
}

TEST(CallXerces, MapsSaxExceptions) {
  XercesGuard const guard;
  EXPECT_THROW_MESSAGE(callXerces([] { throw xercesc::SAXException(u"too early"); }), InvalidXMLDocument, "too early");
}

TEST(CallXerces, MapsXmlExceptions) {
  XercesGuard const guard;
  auto const work = [] {
    ThrowXMLwithMemMgr(xercesc::IllegalArgumentException, xercesc::XMLExcepts::CPtr_PointerIsZero,
                       xercesc::XMLPlatformUtils::fgMemoryManager);
  };
  EXPECT_THROW_MESSAGE(callXerces(work), InvalidXMLDocument, "NULL pointer");
}

TEST(CallXerces, MapsDomExceptions) {
  XercesGuard const guard;
  zt_test::Document const document(XercesHelper::createDocument());
  EXPECT_THROW_MESSAGE(callXerces([&] { document->createElement(u"no name"); }), InvalidXMLDocument,
                       "invalid or illegal XML character");
}

TEST(CallXerces, MapsOutOfMemoryWhichStandsApart) {
  EXPECT_THROW(callXerces([] { throw xercesc::OutOfMemoryException(); }), std::bad_alloc);
}

TEST(CallXerces, LetsEverythingElsePassUnchanged) {
  EXPECT_THROW_MESSAGE(callXerces([] { throw opc::StreamError("torn"); }), opc::StreamError, "torn");
  EXPECT_THROW_MESSAGE(callXerces([] { throw std::runtime_error("odd"); }), std::runtime_error, "odd");
  EXPECT_THROW(callXerces([] { throw 5; }), int);
}

TEST(ToMessage, TakesNullForNothing) { EXPECT_EQ(toMessage(nullptr), ""); }
