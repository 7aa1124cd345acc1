// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "services/tree/FileSystemManagerTestSupport.hpp"
#include "support/ScopedEnvironment.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;
using testing::Pair;

/// A folder with a known text, an unknown one and a file that is none, and a package to add it to.
class TextConversionTest : public testing::Test {
 protected:
  TextConversionTest() {
    writeFile(source_ / "a.txt", "caf\xC3\xA9");
    writeFile(source_ / "b.txt", "\xE9\x81");
    writeFile(source_ / "c.bin", "\xE9");
  }

  void add(TextConversion conversion) {
    target_.manager.setTextConversion(std::move(conversion));
    target_.manager.addAll(source_.u16(), TransformMode::Transform);
  }
  std::string typeAt(char16_t const* path) const {
    auto const part = target_.package->getPart(PartName(target_.manager.getEntry(path).getContentName()));
    return opc::toUTF8String(part.getContentType().toString());
  }

  ScopedLocale const locale_{"C.UTF-8"};
  TemporaryDirectory source_;
  NewFileSystem target_;
};

TEST_F(TextConversionTest, KeepsAnUnknownTextByteForByteAndGoesOn) {
  add({});
  EXPECT_EQ(textAt(target_.manager, u"/b.txt"), "\xE9\x81");
  EXPECT_EQ(typeAt(u"/b.txt"), "text/plain");
  EXPECT_EQ(typeAt(u"/a.txt"), "text/plain;charset=utf-8");
  EXPECT_EQ(textAt(target_.manager, u"/c.bin"), "\xE9");
}

TEST_F(TextConversionTest, ReportsEachTextWithItsPathOnTheDisk) {
  std::vector<std::pair<std::u16string, std::string>> reported;
  std::string reason;
  add({.report = [&](std::u16string const& path, TextFinding const& finding) {
    reported.emplace_back(path, finding.charset);
    if (!finding.reason.empty()) reason = finding.reason;
  }});
  EXPECT_THAT(reported, ElementsAre(Pair(source_.u16("a.txt"), "UTF-8"), Pair(source_.u16("b.txt"), "")));
  EXPECT_EQ(reason, "The text may be in EBCDIC, which is not converted");
}

TEST_F(TextConversionTest, TakesTextThatIsNotUTF8ToBeInTheNamedCharset) {
  add({.charset = "cp850"});
  EXPECT_EQ(textAt(target_.manager, u"/b.txt"), "\u00DA\u00FC");
  EXPECT_EQ(textAt(target_.manager, u"/a.txt"), "caf\u00E9");
}

TEST_F(TextConversionTest, WhatTheReportThrowsEndsTheOperationWithoutTheEntry) {
  EXPECT_THROW(add({.report =
                        [](std::u16string const&, TextFinding const& finding) {
                          if (finding.charset.empty()) throw std::logic_error("unknown");
                        }}),
               std::logic_error);
  EXPECT_TRUE(target_.manager.hasEntry(u"/a.txt"));
  EXPECT_FALSE(target_.manager.hasEntry(u"/b.txt"));
  EXPECT_FALSE(target_.manager.hasEntry(u"/c.bin"));
}

TEST_F(TextConversionTest, ConcernsNothingWithoutTransform) {
  target_.manager.setTextConversion({.charset = "cp850"});
  target_.manager.addAll(source_.u16(), TransformMode::None);
  EXPECT_EQ(textAt(target_.manager, u"/b.txt"), "\xE9\x81");
  EXPECT_EQ(typeAt(u"/a.txt"), "text/plain");
}

TEST_F(TextConversionTest, RefusesAnUnknownCharsetAndKeepsTheOneBefore) {
  target_.manager.setTextConversion({.charset = "cp850"});
  EXPECT_THROW_MESSAGE(target_.manager.setTextConversion({.charset = "no-such-set"}), opc::UndecodableText,
                       "Unknown character set: no-such-set");
  target_.manager.addAll(source_.u16(), TransformMode::Transform);
  EXPECT_EQ(textAt(target_.manager, u"/b.txt"), "\u00DA\u00FC");
}

}  // namespace
