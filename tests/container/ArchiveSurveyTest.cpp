// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <map>
#include <vector>

#include "container/ArchiveSurvey.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

struct Told {
  ArchiveFault fault;
  std::string item;  // empty for the archive
  bool operator==(Told const&) const = default;
};
using Faults = std::vector<Told>;

void PrintTo(Told const& told, std::ostream* out) {
  *out << "fault " << static_cast<int>(told.fault) << " of \"" << told.item << '"';
}

/// What a survey finds out when everything is read.
struct Findings {
  Faults faults;
  std::vector<std::string> messages;
  std::map<std::string, bool> sound;            // by name
  std::map<std::string, std::string> contents;  // as they were read in the pass, damaged ones too
};

Findings surveyed(std::string const& bytes, std::uint64_t maximumEntries = UINT64_MAX) {
  Findings found;
  ArchiveSurvey survey(makeMemoryBytes(bytesOf(bytes)), maximumEntries,
                       [&](ArchiveFault fault, std::string_view item, std::string const& message) {
                         found.faults.push_back({fault, std::string(item)});
                         found.messages.push_back(message);
                       });
  survey.readItems(
      [&](std::size_t index, bool isSound) { found.sound[std::string(survey.entry(index).name)] = isSound; },
      [&](std::size_t index, std::span<unsigned char const> part) {
        found.contents[std::string(survey.entry(index).name)].append(part.begin(), part.end());
      });
  return found;
}

RawArchive small() { return {{storedItem("a", "alpha"), deflatedItem("b", compressible(500))}}; }

std::string flipped(std::string bytes, std::size_t at) {
  bytes.at(at) = static_cast<char>(bytes.at(at) ^ 1);
  return bytes;
}

TEST(ArchiveSurvey, TellsNothingOfASoundArchive) {
  Findings const found = surveyed(small().build());
  EXPECT_EQ(found.faults, Faults{});
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}, {"b", true}}));
}

TEST(ArchiveSurvey, GivesTheContentsThatItReads) {
  Findings const found = surveyed(RawArchive{{storedItem("a", "alpha"), deflatedItem("b", mixed(1'000'000))}}.build());
  EXPECT_EQ(found.contents.at("a"), "alpha");
  EXPECT_EQ(found.contents.at("b"), mixed(1'000'000));
}

TEST(ArchiveSurvey, TellsAMissingEndRecord) {
  EXPECT_EQ(surveyed("").faults, (Faults{{ArchiveFault::NoEndRecord, ""}}));
  EXPECT_EQ(surveyed(std::string(1000, 'x')).faults, (Faults{{ArchiveFault::NoEndRecord, ""}}));
}

TEST(ArchiveSurvey, FindsItemsByTheirHeadersWhereTheDirectoryIsGone) {
  std::string const bytes = small().build();
  Findings const found = surveyed(bytes.substr(0, bytes.find("PK\1\2")));
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::NoEndRecord, ""}}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}, {"b", true}}));
}

TEST(ArchiveSurvey, FindsTheDirectoryByTheHeadersWhereTheEndRecordIsGone) {
  std::string const bytes = small().build();
  Findings const found = surveyed(bytes.substr(0, bytes.size() - 22));
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::NoEndRecord, ""}}));
  EXPECT_EQ(found.sound.size(), 2u);
}

TEST(ArchiveSurvey, TellsAnEndRecordThatCountsOtherwise) {
  std::string const bytes = patched(patched(small().build(), 22 - 8, 1, 2), 22 - 10, 1, 2);
  Findings const found = surveyed(bytes);
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::DamagedEndRecord, ""}}));
  EXPECT_EQ(found.messages.front(), "Damaged ZIP archive: its end record counts 1 items, its directory has 2");
  EXPECT_EQ(found.sound.size(), 2u);
}

TEST(ArchiveSurvey, TellsHowMuchFollowsTheArchive) {
  Findings const found = surveyed(small().build() + "behind");
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::TrailingData, ""}}));
  EXPECT_EQ(found.messages.front(), "The archive is followed by 6 bytes of something else");
}

TEST(ArchiveSurvey, TellsADirectoryThatBreaksOffAndFindsWhatItLost) {
  std::string bytes = small().build();
  bytes[bytes.rfind("PK\1\2")] = 'x';  // the entry of b
  Findings const found = surveyed(bytes);
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::DamagedDirectory, ""}}));
  EXPECT_EQ(found.messages.front(), "Damaged ZIP archive: its directory is damaged behind its first 1 of 2 items");
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}, {"b", true}}));
}

TEST(ArchiveSurvey, ReadsNoMoreItemsThanAllowed) {
  Findings const found = surveyed(small().build(), 1);
  EXPECT_EQ(found.messages.front(), "Damaged ZIP archive: it has more than 1 items");
  EXPECT_EQ(found.faults.front(), (Told{ArchiveFault::DamagedDirectory, ""}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}}));
  EXPECT_EQ(surveyed(small().build(), 2).faults, Faults{});
}

TEST(ArchiveSurvey, TellsAnEntryThatLeadsOutOfTheFile) {
  RawArchive archive = small();
  archive.items[1].central.offset = 1'000'000;
  Findings const found = surveyed(archive.build());
  EXPECT_EQ(found.faults.front(), (Told{ArchiveFault::DamagedEntry, "b"}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}, {"b", false}}));
}

TEST(ArchiveSurvey, TellsHowMuchStandsInFront) {
  for (bool const counted : {true, false}) {
    RawArchive archive = small();
    archive.prefix = "in front";
    archive.offsetsCountPrefix = counted;
    Findings const found = surveyed(archive.build());
    EXPECT_EQ(found.faults, (Faults{{ArchiveFault::PrefixBytes, ""}}));
    EXPECT_EQ(found.messages.front(), "The archive begins behind 8 bytes of something else");
  }
}

TEST(ArchiveSurvey, TellsAnItemThatRunsIntoTheNext) {
  RawArchive archive = small();
  archive.items[0].local.stored = archive.items[0].central.stored = 6;
  archive.items[0].local.size = archive.items[0].central.size = 6;
  Findings const found = surveyed(archive.build());
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::DamagedContent, "a"}, {ArchiveFault::Overlap, "a"}}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", false}, {"b", true}}));
}

TEST(ArchiveSurvey, TellsBytesThatBelongToNoItem) {
  RawArchive archive = small();
  archive.items[0].behind = "gap";
  Findings const found = surveyed(archive.build());
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::Gap, "a"}}));
  EXPECT_EQ(found.messages.front(), "Item \"a\": it is followed by 3 bytes that belong to no item");
  EXPECT_TRUE(found.sound.at("a"));
}

TEST(ArchiveSurvey, TellsALocalHeaderThatDisagrees) {
  RawArchive archive = small();
  archive.items[1].local.name = "c";
  Findings const found = surveyed(archive.build());
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::BadLocalHeader, "b"}}));
  EXPECT_FALSE(found.sound.at("b"));
}

TEST(ArchiveSurvey, TellsADescriptorThatDisagrees) {
  RawItem const item = storedItem("a", "alpha");
  std::string const sizes = le(5, 4) + le(5, 4);
  EXPECT_EQ(surveyed(RawArchive{{streamedItem(item, "PK\7\x8" + le(item.central.crc, 4) + sizes)}}.build()).faults,
            Faults{});
  EXPECT_EQ(surveyed(RawArchive{{streamedItem(item, "PK\7\x8" + le(item.central.crc ^ 1, 4) + sizes)}}.build()).faults,
            (Faults{{ArchiveFault::BadDescriptor, "a"}}));
}

TEST(ArchiveSurvey, TellsAMethodThatIsNotKnown) {
  RawArchive archive = small();
  archive.items[0].local.method = archive.items[0].central.method = 12;
  Findings const found = surveyed(archive.build());
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::UnreadableItem, "a"}}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", false}, {"b", true}}));
}

TEST(ArchiveSurvey, TellsDamagedContent) {
  std::string const bytes = small().build();
  Findings const found = surveyed(flipped(bytes, bytes.find("alpha")));
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::DamagedContent, "a"}}));
  EXPECT_EQ(found.messages.front(), "Item \"a\": wrong CRC");
}

TEST(ArchiveSurvey, TellsAGrowthHintInEitherHeader) {
  std::string const hint("\x20\xA2\x04\x00\x28\x1C\x02\x00", 8);
  for (bool const isLocal : {true, false}) {
    RawArchive archive = small();
    (isLocal ? archive.items[0].local : archive.items[0].central).extra = hint;
    Findings const found = surveyed(archive.build());
    EXPECT_EQ(found.faults, (Faults{{ArchiveFault::GrowthHint, "a"}}));
    EXPECT_TRUE(found.sound.at("a"));
  }
}

TEST(ArchiveSurvey, TellsSeveralFaultsInTheOrderOfTheFile) {
  RawArchive archive = small();
  archive.prefix = "x";
  archive.items[0].behind = "gap";
  std::string const bytes = archive.build() + "y";
  Findings const found = surveyed(flipped(bytes, bytes.find("alpha")));
  EXPECT_EQ(found.faults, (Faults{{ArchiveFault::TrailingData, ""},
                                  {ArchiveFault::PrefixBytes, ""},
                                  {ArchiveFault::DamagedContent, "a"},
                                  {ArchiveFault::Gap, "a"}}));
}

TEST(ArchiveSurvey, TellsAFaultOfEveryTruncation) {
  std::string const bytes = small().build();
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_NE(surveyed(bytes.substr(0, size)).faults, Faults{}) << size;
}

TEST(ArchiveSurvey, OpensOneItemAgain) {
  ArchiveSurvey const survey(makeMemoryBytes(bytesOf(small().build())), 2,
                             [](ArchiveFault, std::string_view, std::string const& message) { FAIL() << message; });
  EXPECT_EQ(readAll(*survey.openContent(1)), compressible(500));
}

TEST(ArchiveSurvey, OpensNoItemThatIsDamaged) {
  std::string const bytes = small().build();
  ArchiveSurvey const survey(makeMemoryBytes(bytesOf(flipped(bytes, bytes.find("alpha")))), 2,
                             [](ArchiveFault, std::string_view, std::string const&) {});
  EXPECT_THROW_MESSAGE(readAll(*survey.openContent(0)), InvalidItem, "Item \"a\": wrong CRC");
}

}  // namespace
}  // namespace opc::model::zip
