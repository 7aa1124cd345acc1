// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <string>

#include "foundation/release_info/ReleaseInfo.hpp"
#include "opc/Streams.hpp"
#include "opc/Strings.hpp"
#include "opc/model/XmlExceptions.hpp"
#include "release/RunningRelease.hpp"
#include "support/TestSupport.hpp"

namespace foundation::release_info {
namespace {

constexpr char kNamespace[] = "http://schemas.corvanta.example/package/2019/releaseInfo";

std::string document(std::string const& children) {
  return "<releaseInfo xmlns='" + std::string(kNamespace) + "'>" + children + "</releaseInfo>";
}

ReleaseInfo parse(std::string const& text) {
  std::istringstream stream(text);
  return ReleaseInfo(stream);
}

ReleaseInfo const kOther("R2019b", "9.7.0", "the \u00e9lan <release> & more", "2019-09-11");

TEST(ReleaseInfo, IsTheConfiguredReleaseByDefault) {
  ReleaseInfo const running;
  EXPECT_EQ(running.getReleaseFamily(), running::kFamily);
  EXPECT_EQ(running.getTALBEXVersion(), running::kVersion);
  EXPECT_EQ(running.getDescription(), running::kDescription);
  EXPECT_EQ(running.getDate(), running::kDate);
  EXPECT_FALSE(running.isLegacy());
  EXPECT_TRUE(std::regex_match(running.getReleaseFamily(), std::regex("R[0-9]{4}[ab]")));
}

TEST(ReleaseInfo, LegacyFormHasAFamilyAlone) {
  ReleaseInfo const legacy("R2009a");
  EXPECT_TRUE(legacy.isLegacy());
  EXPECT_EQ(legacy, ReleaseInfo("R2009a", "", "", ""));
  EXPECT_EQ(legacy.getReleaseFamily(), "R2009a");
}

TEST(ReleaseInfo, LegacyFormTakesAnyText) {
  EXPECT_EQ(ReleaseInfo("").getReleaseFamily(), "");
  EXPECT_TRUE(ReleaseInfo("").isLegacy());
  EXPECT_EQ(ReleaseInfo("not a release").getReleaseFamily(), "not a release");
}

TEST(ReleaseInfo, LegacyFormOfTheRunningReleaseIsAnother) {
  EXPECT_TRUE(ReleaseInfo(ReleaseInfo().getReleaseFamily()).isLegacy());
  EXPECT_NE(ReleaseInfo(ReleaseInfo().getReleaseFamily()), ReleaseInfo());
}

TEST(ReleaseInfo, HoldsTheValuesOfAnyRelease) {
  EXPECT_EQ(kOther.getReleaseFamily(), "R2019b");
  EXPECT_EQ(kOther.getTALBEXVersion(), "9.7.0");
  EXPECT_EQ(kOther.getDescription(), "the \u00e9lan <release> & more");
  EXPECT_EQ(kOther.getDate(), "2019-09-11");
  EXPECT_FALSE(kOther.isLegacy());
}

TEST(ReleaseInfo, WritesTheDocumentedXml) {
  EXPECT_EQ(kOther.getVersionInfo(), zt_test::readFile(zt_test::data() / "releaseInfo.xml"));
}

TEST(ReleaseInfo, ReadsWhatItWrote) {
  for (ReleaseInfo const& info : {ReleaseInfo(), kOther, ReleaseInfo("R2009a"), ReleaseInfo("")})
    EXPECT_EQ(parse(info.getVersionInfo()), info);
}

TEST(ReleaseInfo, ReadsADocumentOfAnotherWriter) {
  auto const info = parse("<?xml version='1.0'?><!-- c --><r:releaseInfo xmlns:r='" + std::string(kNamespace) +
                          "'><r:releaseFamily>R2019b</r:releaseFamily><r:version>1</r:version><r:description/>"
                          "<r:date><![CDATA[d]]></r:date></r:releaseInfo>");
  EXPECT_EQ(info, ReleaseInfo("R2019b", "1", "", "d"));
}

TEST(ReleaseInfo, RefusesWhatIsNoSuchDocument) {
  std::string const whole = "<releaseFamily>R2019b</releaseFamily><version/><description/><date/>";
  EXPECT_NO_THROW(parse(document(whole)));
  for (std::string const& text :
       {std::string(), std::string("R2019b"), std::string("<releaseInfo/>"), document(""), document(whole + "<more/>"),
        document("<version/><releaseFamily>R2019b</releaseFamily><description/><date/>"), document("text" + whole),
        "<!DOCTYPE releaseInfo [<!ENTITY e 'R2019b'>]>" + document(whole), document(whole) + document(whole)})
    EXPECT_THROW(parse(text), opc::model::InvalidXMLDocument) << text;
}

TEST(ReleaseInfo, RefusesEveryTruncation) {
  std::string const whole = kOther.getVersionInfo();
  for (std::size_t size = 0; size < whole.rfind('>'); ++size)
    EXPECT_THROW(parse(whole.substr(0, size)), opc::model::InvalidXMLDocument) << size;
}

TEST(ReleaseInfo, PassesOnThatTheStreamFailed) {
  std::istringstream stream("<");
  stream.setstate(std::ios::badbit);
  EXPECT_THROW(ReleaseInfo{stream}, opc::StreamError);
}

TEST(ReleaseInfo, RefusesToWriteWhatCannotBeRead) {
  EXPECT_THROW(ReleaseInfo("R2019b", "1", "\x01", "").getVersionInfo(), opc::model::InvalidXMLDocument);
  EXPECT_THROW(ReleaseInfo("R2019b", "1", "\xff", "").getVersionInfo(), opc::InvalidText);
}

}  // namespace
}  // namespace foundation::release_info
