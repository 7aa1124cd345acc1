// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/ztservices/CoreProperties.hpp"
#include "services/properties/CorePropertiesSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;
using samples::kOtherRelease;
using samples::kUUID;
using ReleaseInfo = CoreProperties::ReleaseInfo;

constexpr char kContentTypeMessage[] =
    "Content type must have the format: application/vnd.corvanta.<product>.<package-type>";
constexpr char kFriendlyNameMessage[] = "Content type friendly name must be a non-empty string";
constexpr char kUUIDMessage[] =
    "UUID must have the format: hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh where h is a hexidecimal digit";
constexpr char kUUIDIsSetMessage[] = "UUID is already set. It can not be overwritten";
constexpr char kReleaseMessage[] = "TALBEX release must have the format: R<four-digit-year>(a|b)";

constexpr char16_t kToolboxType[] = u"application/vnd.corvanta.talbex.toolbox";

std::u16string uuidOf(CoreProperties const& record) { return record.getUUID().value_or(u"none"); }

std::u16string upper(std::u16string text) {
  for (char16_t& c : text)
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  return text;
}

std::u16string lower(std::u16string text) {
  for (char16_t& c : text)
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
  return text;
}

TEST(CoreProperties, StartsEmptyAndNotValid) {
  CoreProperties const record;
  EXPECT_EQ(record.getContentType(), u"");
  EXPECT_EQ(record.getContentTypeFriendlyName(), u"");
  EXPECT_EQ(record.getTALBEXRelease(), u"");
  EXPECT_TRUE(record.getTALBEXReleaseInfo().isLegacy());
  EXPECT_FALSE(record.getUUID());
  EXPECT_EQ(record.getTitle(), u"");
  EXPECT_TRUE(record.getCreatedTime().is_not_a_date_time());
  EXPECT_FALSE(record.isValid());
}

TEST(CoreProperties, IsValidOnceContentTypeFriendlyNameAndReleaseAreSet) {
  CoreProperties record;
  record.setContentType(kToolboxType);
  EXPECT_FALSE(record.isValid());
  record.setContentTypeFriendlyName(u"Toolbox");
  EXPECT_FALSE(record.isValid());
  record.setTALBEXRelease(u"R2009a");
  EXPECT_TRUE(record.isValid());
}

TEST(CoreProperties, EachRequiredPropertyIsRequired) {
  CoreProperties noType, noName;
  noType.setContentTypeFriendlyName(u"Toolbox");
  noType.setTALBEXRelease(u"R2009a");
  EXPECT_FALSE(noType.isValid());
  noName.setContentType(kToolboxType);
  noName.setTALBEXRelease(u"R2009a");
  EXPECT_FALSE(noName.isValid());
}

TEST(CoreProperties, IsMadeWithAReleaseInfo) {
  CoreProperties const record(kToolboxType, u"Toolbox", kOtherRelease);
  EXPECT_EQ(record.getContentType(), kToolboxType);
  EXPECT_EQ(record.getContentTypeFriendlyName(), u"Toolbox");
  EXPECT_EQ(record.getTALBEXReleaseInfo(), kOtherRelease);
  EXPECT_FALSE(record.getUUID());
  EXPECT_TRUE(record.isValid());
}

TEST(CoreProperties, IsMadeWithARelease) {
  CoreProperties const record(kToolboxType, u"Toolbox", std::u16string(u"R2019b"));
  EXPECT_EQ(record.getTALBEXReleaseInfo(), ReleaseInfo("R2019b"));
  EXPECT_TRUE(record.isValid());
}

TEST(CoreProperties, ConstructorsThrowWhatTheFirstRefusingSetterThrows) {
  std::u16string const release = u"R2019b";
  EXPECT_THROW_MESSAGE(CoreProperties(u"", u"", std::u16string()), InvalidCorePropertyValue, kContentTypeMessage);
  EXPECT_THROW_MESSAGE(CoreProperties(kToolboxType, u"", std::u16string()), InvalidCorePropertyValue,
                       kFriendlyNameMessage);
  EXPECT_THROW_MESSAGE(CoreProperties(kToolboxType, u"T", std::u16string()), InvalidCorePropertyValue, kReleaseMessage);
  EXPECT_THROW_MESSAGE(CoreProperties(u"", u"", ReleaseInfo("")), InvalidCorePropertyValue, kContentTypeMessage);
  EXPECT_THROW_MESSAGE(CoreProperties(kToolboxType, u" ", kOtherRelease), InvalidCorePropertyValue,
                       kFriendlyNameMessage);
  EXPECT_THROW_MESSAGE(CoreProperties(kToolboxType, u"T", ReleaseInfo("")), InvalidCorePropertyValue, kReleaseMessage);
}

TEST(CoreProperties, InvalidCorePropertyValueCarriesAnEmptyCode) {
  try {
    CoreProperties().setUUID(u"");
    FAIL();
  } catch (InvalidCorePropertyValue const& error) {
    EXPECT_EQ(error.getErrorCode(), boost::system::error_code(0, boost::system::system_category()));
  }
}

TEST(CoreProperties, ForwardsTextsToTheStandardRecord) {
  CoreProperties record;
  record.setCreatedBy(u"creator");
  record.setTitle(u"title");
  record.setDescription(u"description");
  record.setCategory(u"category");
  record.setLastModifiedBy(u"modifier");
  record.setVersion(u"version");
  record.setRevision(u"revision");
  record.setKeywords({{u"word", u"en"}, {u"", u""}});
  auto const& standard = record.opcProps();
  EXPECT_EQ(standard.getCreator(), u"creator");
  EXPECT_EQ(standard.getTitle(), u"title");
  EXPECT_EQ(standard.getDescription(), u"description");
  EXPECT_EQ(standard.getCategory(), u"category");
  EXPECT_EQ(standard.getLastModifiedBy(), u"modifier");
  EXPECT_EQ(standard.getVersion(), u"version");
  EXPECT_EQ(standard.getRevision(), u"revision");
  EXPECT_EQ(standard.getKeywords(), (std::vector<CoreProperties::Keyword>{{u"word", u"en"}, {u"", u""}}));
}

TEST(CoreProperties, ForwardsTextsFromTheStandardRecord) {
  CoreProperties record;
  record.opcProps().setCreator(u"creator");
  record.opcProps().setTitle(u"title");
  record.opcProps().setDescription(u"description");
  record.opcProps().setCategory(u"category");
  record.opcProps().setLastModifiedBy(u"modifier");
  record.opcProps().setVersion(u"version");
  record.opcProps().setRevision(u"revision");
  record.opcProps().setKeywords({{u"word", u""}});
  EXPECT_EQ(record.getCreatedBy(), u"creator");
  EXPECT_EQ(record.getTitle(), u"title");
  EXPECT_EQ(record.getDescription(), u"description");
  EXPECT_EQ(record.getCategory(), u"category");
  EXPECT_EQ(record.getLastModifiedBy(), u"modifier");
  EXPECT_EQ(record.getVersion(), u"version");
  EXPECT_EQ(record.getRevision(), u"revision");
  EXPECT_EQ(record.getKeywords(), record.opcProps().getKeywords());
}

TEST(CoreProperties, ForwardsTimes) {
  auto const created = convertStringToTime(u"2024-02-29T00:00:00Z");
  auto const modified = convertStringToTime(u"2024-03-01T00:00:00.000001Z");
  CoreProperties record;
  record.setCreatedTime(created);
  record.setLastModifiedTime(modified);
  EXPECT_EQ(record.opcProps().getCreated(), created);
  EXPECT_EQ(record.opcProps().getModified(), modified);
  EXPECT_EQ(record.getCreatedTime(), created);
  EXPECT_EQ(record.getLastModifiedTime(), modified);
}

TEST(CoreProperties, RefusesSpecialTimesAndKeepsTheOldOnes) {
  auto const time = convertStringToTime(u"2024-02-29T00:00:00Z");
  CoreProperties record;
  record.setCreatedTime(time);
  record.setLastModifiedTime(time);
  for (auto const special :
       {boost::posix_time::not_a_date_time, boost::posix_time::pos_infin, boost::posix_time::neg_infin}) {
    EXPECT_THROW_MESSAGE(record.setCreatedTime(ptime(special)), InvalidCorePropertyValue,
                         "Created time is not a valid value");
    EXPECT_THROW_MESSAGE(record.setLastModifiedTime(ptime(special)), InvalidCorePropertyValue,
                         "Modified time is not a valid value");
    EXPECT_FALSE(CoreProperties::isValidTime(ptime(special)));
  }
  EXPECT_EQ(record.getCreatedTime(), time);
  EXPECT_EQ(record.getLastModifiedTime(), time);
}

TEST(CoreProperties, TakesTheTimesAtTheEndsOfTheRange) {
  CoreProperties record;
  for (auto const end : {boost::posix_time::min_date_time, boost::posix_time::max_date_time}) {
    record.setCreatedTime(ptime(end));
    EXPECT_EQ(record.getCreatedTime(), ptime(end));
  }
}

TEST(CoreProperties, KeepsAContentTypeToTheLetter) {
  CoreProperties record;
  std::u16string const text = u"application/vnd.corvanta.talbex.toolbox;B=\"2\";a=1";
  record.setContentType(text);
  EXPECT_EQ(record.getContentType(), text);
}

TEST(CoreProperties, RefusesAContentTypeAndKeepsTheOldOne) {
  CoreProperties record;
  record.setContentType(kToolboxType);
  EXPECT_THROW_MESSAGE(record.setContentType(u"text/plain"), InvalidCorePropertyValue, kContentTypeMessage);
  EXPECT_EQ(record.getContentType(), kToolboxType);
}

TEST(CoreProperties, RefusesAFriendlyNameAndKeepsTheOldOne) {
  CoreProperties record;
  record.setContentTypeFriendlyName(u"Toolbox");
  for (auto const& name : {u"", u" Toolbox", u"Toolbox "})
    EXPECT_THROW_MESSAGE(record.setContentTypeFriendlyName(name), InvalidCorePropertyValue, kFriendlyNameMessage);
  EXPECT_EQ(record.getContentTypeFriendlyName(), u"Toolbox");
}

TEST(CoreProperties, TakesTheSameUUIDTwice) {
  CoreProperties record;
  record.setUUID(kUUID);
  record.setUUID(kUUID);
  record.setUUID(*record.getUUID());
  EXPECT_EQ(uuidOf(record), kUUID);
}

TEST(CoreProperties, RefusesAnotherUUID) {
  CoreProperties record;
  record.setUUID(kUUID);
  EXPECT_THROW_MESSAGE(record.setUUID(CoreProperties::getNilUUID()), InvalidCorePropertyValue, kUUIDIsSetMessage);
  EXPECT_THROW_MESSAGE(record.setUUID(upper(kUUID)), InvalidCorePropertyValue, kUUIDIsSetMessage);
  EXPECT_THROW_MESSAGE(record.setUUID(u"none"), InvalidCorePropertyValue, kUUIDMessage);
  EXPECT_EQ(uuidOf(record), kUUID);
}

TEST(CoreProperties, RefusesAMalformedUUID) {
  CoreProperties record;
  EXPECT_THROW_MESSAGE(record.setUUID(u""), InvalidCorePropertyValue, kUUIDMessage);
  EXPECT_FALSE(record.getUUID());
}

TEST(CoreProperties, GeneratesAUUIDOnce) {
  CoreProperties record;
  record.generateAndSetUUID();
  std::u16string const uuid = *record.getUUID();
  EXPECT_TRUE(CoreProperties::isValidUUID(uuid));
  EXPECT_THROW_MESSAGE(record.generateAndSetUUID(), InvalidCorePropertyValue, kUUIDIsSetMessage);
  EXPECT_EQ(uuidOf(record), uuid);
}

/// Of RFC 4122, 4.4: version 4 in the first digit of the third group, the variant's two bits (10) in the fourth.
bool isRandomUUID(std::u16string const& text) {
  return CoreProperties::isValidUUID(text) && text == lower(text) && text[14] == u'4' &&
         std::u16string_view(u"89ab").find(text[19]) != std::u16string_view::npos;
}

TEST(CoreProperties, GeneratedUUIDsAreRandomOnesAndDistinct) {
  constexpr std::size_t kCount = 100'000;
  std::unordered_set<std::u16string> seen;
  for (std::size_t i = 0; i < kCount; ++i) {
    CoreProperties record;
    record.generateAndSetUUID();
    ASSERT_TRUE(isRandomUUID(*record.getUUID())) << toUTF8String(*record.getUUID());
    seen.insert(*record.getUUID());
  }
  EXPECT_EQ(seen.size(), kCount);
}

TEST(CoreProperties, GeneratedUUIDsUseEveryDigitInEveryRandomPlace) {
  std::vector<std::set<char16_t>> digits(36);
  for (int i = 0; i < 2000; ++i) {
    CoreProperties record;
    record.generateAndSetUUID();
    for (std::size_t place = 0; place < 36; ++place) digits[place].insert((*record.getUUID())[place]);
  }
  for (std::size_t place = 0; place < 36; ++place) {
    bool const isHyphen = place == 8 || place == 13 || place == 18 || place == 23;
    EXPECT_EQ(digits[place].size(), isHyphen || place == 14 ? 1U : place == 19 ? 4U : 16U) << place;
  }
}

TEST(CoreProperties, StoresAReleaseInfoWhole) {
  CoreProperties record;
  record.setTALBEXReleaseInfo(kOtherRelease);
  EXPECT_EQ(record.getTALBEXReleaseInfo(), kOtherRelease);
  EXPECT_EQ(record.getTALBEXRelease(), u"R2019b");
}

TEST(CoreProperties, RefusesAReleaseInfoAndKeepsTheOldOne) {
  CoreProperties record;
  record.setTALBEXReleaseInfo(kOtherRelease);
  for (auto const& family : {"", "r2019b", "R2019c", "R2019b ", "\xff"}) {
    EXPECT_THROW_MESSAGE(record.setTALBEXReleaseInfo(ReleaseInfo(family, "1", "", "")), InvalidCorePropertyValue,
                         kReleaseMessage);
    EXPECT_FALSE(CoreProperties::isValidTALBEXReleaseInfo(ReleaseInfo(family)));
  }
  EXPECT_EQ(record.getTALBEXReleaseInfo(), kOtherRelease);
}

TEST(CoreProperties, AnotherReleaseBecomesALegacyOne) {
  CoreProperties record;
  record.setTALBEXRelease(u"R1999b");
  EXPECT_EQ(record.getTALBEXReleaseInfo(), ReleaseInfo("R1999b"));
  EXPECT_EQ(record.getTALBEXRelease(), u"R1999b");
}

TEST(CoreProperties, TheRunningReleaseInAnyLetterCaseIsStoredInFull) {
  std::u16string const running = CoreProperties::getCurrentTALBEXRelease();
  for (auto const& text : {running, upper(running), lower(running)}) {
    CoreProperties record;
    record.setTALBEXRelease(text);
    EXPECT_EQ(record.getTALBEXReleaseInfo(), ReleaseInfo()) << toUTF8String(text);
    EXPECT_EQ(record.getTALBEXRelease(), running);
  }
}

TEST(CoreProperties, RefusesAReleaseAndKeepsTheOldOne) {
  CoreProperties record;
  record.setTALBEXRelease(u"R2009a");
  for (auto const& release : {u"", u"r2009a", u"R2009A", u"R2009a\n", u"R２００９a"})
    EXPECT_THROW_MESSAGE(record.setTALBEXRelease(release), InvalidCorePropertyValue, kReleaseMessage);
  EXPECT_EQ(record.getTALBEXRelease(), u"R2009a");
}

TEST(CoreProperties, CopiesAreIndependent) {
  CoreProperties record(kToolboxType, u"Toolbox", kOtherRelease);
  CoreProperties const copy = record;
  record.setUUID(kUUID);
  record.setTitle(u"title");
  EXPECT_FALSE(copy.getUUID());
  EXPECT_EQ(copy.getTitle(), u"");
}

TEST(CoreProperties, NilUUIDIsAllZero) {
  EXPECT_EQ(CoreProperties::getNilUUID(), u"00000000-0000-0000-0000-000000000000");
  EXPECT_TRUE(CoreProperties::isValidUUID(CoreProperties::getNilUUID()));
}

TEST(CoreProperties, CurrentTimeIsNow) {
  auto const before = getCurrentTime();
  auto const time = CoreProperties::getCurrentTime();
  EXPECT_LE(before, time);
  EXPECT_LE(time, getCurrentTime());
}

TEST(CoreProperties, CurrentReleaseIsTheRunningProducts) {
  EXPECT_EQ(CoreProperties::getCurrentTALBEXReleaseInfo(), ReleaseInfo());
  EXPECT_EQ(CoreProperties::getCurrentTALBEXRelease(), toString(ReleaseInfo().getReleaseFamily()));
  EXPECT_TRUE(CoreProperties::isValidTALBEXRelease(CoreProperties::getCurrentTALBEXRelease()));
}

TEST(CoreProperties, LegacyReleaseInfoTakesItsTextInAscii) {
  EXPECT_EQ(CoreProperties::makeLegacyTALBEXReleaseInfo(u"R2009a"), ReleaseInfo("R2009a"));
  EXPECT_EQ(CoreProperties::makeLegacyTALBEXReleaseInfo(u"\u00e9"), ReleaseInfo("\\u{E9}"));
  EXPECT_EQ(CoreProperties::makeLegacyTALBEXReleaseInfo(u""), ReleaseInfo(""));
}

}  // namespace
}  // namespace opc::ztservices
