// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "container/Reader.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/Exceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

/// Everything that is found out when all items are read.
struct Findings {
  FaultNames faults;
  std::vector<std::string> messages;
  std::map<std::string, bool> sound;            // by name
  std::map<std::string, std::string> contents;  // as they were read in the pass

  bool operator==(Findings const&) const = default;
};

Findings readThrough(std::string const& bytes, std::uint64_t maximumItems, std::size_t threads) {
  Findings found;
  CollectedFaults faults;
  Reader reader(makeMemoryBytes(bytesOf(bytes)), maximumItems, faults);
  auto const nameOf = [&](std::size_t index) { return std::string(reader.archive()->entry(index).name); };
  reader.readItems([&](std::size_t index, bool isSound) { found.sound[nameOf(index)] = isSound; },
                   [&](std::size_t index, std::span<unsigned char const> part) {
                     found.contents[nameOf(index)].append(part.begin(), part.end());
                   },
                   threads);
  found.faults = std::move(faults.names);
  found.messages = std::move(faults.messages);
  return found;
}

Findings readThrough(std::string const& bytes, std::uint64_t maximumItems = UINT64_MAX) {
  Findings found = readThrough(bytes, maximumItems, 0);
  EXPECT_TRUE(readThrough(bytes, maximumItems, 3) == found) << "with threads";
  return found;
}

std::string flipped(std::string bytes, std::size_t at) {
  bytes.at(at) = static_cast<char>(bytes.at(at) ^ 1);
  return bytes;
}

TEST(Reader, ReportsNothingOfASoundArchive) {
  Findings const found = readThrough(smallArchive().build());
  EXPECT_EQ(found.faults, FaultNames{});
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}, {"b", true}}));
}

TEST(Reader, GivesTheContentsThatItReads) {
  Findings const found =
      readThrough(RawArchive{{storedItem("a", "alpha"), deflatedItem("b", mixed(1'000'000))}}.build());
  EXPECT_EQ(found.contents.at("a"), "alpha");
  EXPECT_EQ(found.contents.at("b"), mixed(1'000'000));
}

TEST(Reader, ReportsAMissingEndRecord) {
  EXPECT_EQ(readThrough("").faults, (FaultNames{{code::kNoEndRecord, ""}}));
  EXPECT_EQ(readThrough(std::string(1000, 'x')).faults, (FaultNames{{code::kNoEndRecord, ""}}));
}

TEST(Reader, FindsItemsByTheirHeadersWhereTheDirectoryIsGone) {
  std::string const bytes = smallArchive().build();
  Findings const found = readThrough(bytes.substr(0, bytes.find("PK\1\2")));
  EXPECT_EQ(found.faults, (FaultNames{{code::kNoEndRecord, ""}}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}, {"b", true}}));
}

TEST(Reader, FindsTheDirectoryByTheHeadersWhereTheEndRecordIsGone) {
  std::string const bytes = smallArchive().build();
  Findings const found = readThrough(bytes.substr(0, bytes.size() - 22));
  EXPECT_EQ(found.faults, (FaultNames{{code::kNoEndRecord, ""}}));
  EXPECT_EQ(found.sound.size(), 2u);
}

TEST(Reader, ReportsAnEndRecordThatCountsOtherwise) {
  std::string const bytes = patched(patched(smallArchive().build(), 22 - 8, 1, 2), 22 - 10, 1, 2);
  Findings const found = readThrough(bytes);
  EXPECT_EQ(found.faults, (FaultNames{{code::kDamagedEndRecord, ""}}));
  EXPECT_EQ(found.messages.front(), "Damaged ZIP archive: its end record counts 1 items, its directory has 2");
  EXPECT_EQ(found.sound.size(), 2u);
}

TEST(Reader, ReportsHowMuchFollowsTheArchive) {
  Findings const found = readThrough(smallArchive().build() + "behind");
  EXPECT_EQ(found.faults, (FaultNames{{code::kTrailingData, ""}}));
  EXPECT_EQ(found.messages.front(), "The archive is followed by 6 bytes of something else");
}

TEST(Reader, ReportsADirectoryThatBreaksOffAndFindsWhatItLost) {
  std::string bytes = smallArchive().build();
  bytes[bytes.rfind("PK\1\2")] = 'x';  // the entry of b
  Findings const found = readThrough(bytes);
  EXPECT_EQ(found.faults, (FaultNames{{code::kDamagedDirectory, ""}}));
  EXPECT_EQ(found.messages.front(), "Damaged ZIP archive: its directory is damaged behind its first 1 of 2 items");
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}, {"b", true}}));
}

TEST(Reader, ReadsNoMoreItemsThanAllowed) {
  Findings const found = readThrough(smallArchive().build(), 1);
  EXPECT_EQ(found.messages.front(), "Damaged ZIP archive: it has more than 1 items");
  EXPECT_EQ(found.faults.front(), (FaultName{code::kDamagedDirectory, ""}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}}));
  EXPECT_EQ(readThrough(smallArchive().build(), 2).faults, FaultNames{});
}

TEST(Reader, ReportsAnEntryThatLeadsOutOfTheFile) {
  RawArchive archive = smallArchive();
  archive.items[1].central.offset = 1'000'000;
  Findings const found = readThrough(archive.build());
  EXPECT_EQ(found.faults.front(), (FaultName{code::kDamagedEntry, "/b"}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", true}, {"b", false}}));
}

TEST(Reader, ReportsHowMuchStandsInFront) {
  for (bool const counted : {true, false}) {
    RawArchive archive = smallArchive();
    archive.prefix = "in front";
    archive.offsetsCountPrefix = counted;
    Findings const found = readThrough(archive.build());
    EXPECT_EQ(found.faults, (FaultNames{{code::kPrefixBytes, ""}}));
    EXPECT_EQ(found.messages.front(), "The archive begins behind 8 bytes of something else");
  }
}

TEST(Reader, ReportsAnItemThatRunsIntoTheNext) {
  RawArchive archive = smallArchive();
  archive.items[0].local.stored = archive.items[0].central.stored = 6;
  archive.items[0].local.size = archive.items[0].central.size = 6;
  Findings const found = readThrough(archive.build());
  EXPECT_EQ(found.faults, (FaultNames{{code::kOverlap, "/a"}, {code::kDamagedContent, "/a"}}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", false}, {"b", true}}));
}

/// Such an archive is copied in one piece: what stands between items may be what somebody removed.
TEST(Reader, CallsAnArchiveSeamlessWhereNothingStandsBetweenItsItems) {
  auto const isSeamless = [](RawArchive const& archive) {
    ThrowingFaults faults;
    Reader reader(makeMemoryBytes(bytesOf(archive.build())), UINT64_MAX, faults);
    EXPECT_FALSE(reader.archive()->isSeamless());  // nobody has looked yet
    reader.checkHeaders();
    return reader.archive()->isSeamless();
  };
  EXPECT_TRUE(isSeamless(smallArchive()));
  for (std::size_t const item : {0u, 1u}) {
    RawArchive archive = smallArchive();
    archive.items[item].behind = "gap";
    EXPECT_FALSE(isSeamless(archive)) << item;
  }
  RawItem const streamed = deflatedItem("d", mixed(1000));
  EXPECT_FALSE(isSeamless({{streamedItem(streamed, descriptorOf(streamed, 4, true)), storedItem("z", "")}}));
}

TEST(Reader, ReportsBytesThatBelongToNoItem) {
  RawArchive archive = smallArchive();
  archive.items[0].behind = "gap";
  Findings const found = readThrough(archive.build());
  EXPECT_EQ(found.faults, (FaultNames{{code::kGap, "/a"}}));
  EXPECT_EQ(found.messages.front(), "Item \"a\": it is followed by 3 bytes that belong to no item");
  EXPECT_TRUE(found.sound.at("a"));
}

TEST(Reader, ReportsALocalHeaderThatDisagrees) {
  RawArchive archive = smallArchive();
  archive.items[1].local.name = "c";
  Findings const found = readThrough(archive.build());
  EXPECT_EQ(found.faults, (FaultNames{{code::kBadLocalHeader, "/b"}}));
  EXPECT_FALSE(found.sound.at("b"));
}

TEST(Reader, ReportsADescriptorThatDisagrees) {
  RawItem const item = storedItem("a", "alpha");
  std::string const sizes = le(5, 4) + le(5, 4);
  EXPECT_EQ(readThrough(RawArchive{{streamedItem(item, "PK\7\x8" + le(item.central.crc, 4) + sizes)}}.build()).faults,
            FaultNames{});
  EXPECT_EQ(
      readThrough(RawArchive{{streamedItem(item, "PK\7\x8" + le(item.central.crc ^ 1, 4) + sizes)}}.build()).faults,
      (FaultNames{{code::kBadDescriptor, "/a"}}));
}

TEST(Reader, ReportsAMethodThatIsNotKnown) {
  RawArchive archive = smallArchive();
  archive.items[0].local.method = archive.items[0].central.method = 12;
  Findings const found = readThrough(archive.build());
  EXPECT_EQ(found.faults, (FaultNames{{code::kUnreadableItem, "/a"}}));
  EXPECT_EQ(found.sound, (std::map<std::string, bool>{{"a", false}, {"b", true}}));
}

TEST(Reader, ReportsDamagedContent) {
  std::string const bytes = smallArchive().build();
  Findings const found = readThrough(flipped(bytes, bytes.find("alpha")));
  EXPECT_EQ(found.faults, (FaultNames{{code::kDamagedContent, "/a"}}));
  EXPECT_EQ(found.messages.front(), "Item \"a\": wrong CRC");
}

TEST(Reader, ReportsAGrowthHintInEitherHeader) {
  std::string const hint("\x20\xA2\x04\x00\x28\x1C\x02\x00", 8);
  for (bool const isLocal : {true, false}) {
    RawArchive archive = smallArchive();
    (isLocal ? archive.items[0].local : archive.items[0].central).extra = hint;
    Findings const found = readThrough(archive.build());
    EXPECT_EQ(found.faults, (FaultNames{{code::kGrowthHint, "/a"}}));
    EXPECT_TRUE(found.sound.at("a"));
  }
}

TEST(Reader, ReportsSeveralFaultsInTheOrderOfTheFile) {
  RawArchive archive = smallArchive();
  archive.prefix = "x";
  archive.items[0].behind = "gap";
  std::string const bytes = archive.build() + "y";
  Findings const found = readThrough(flipped(bytes, bytes.find("alpha")));
  EXPECT_EQ(
      found.faults,
      (FaultNames{
          {code::kTrailingData, ""}, {code::kPrefixBytes, ""}, {code::kDamagedContent, "/a"}, {code::kGap, "/a"}}));
}

TEST(Reader, ReportsAFaultOfEveryTruncation) {
  std::string const bytes = smallArchive().build();
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_NE(readThrough(bytes.substr(0, size)).faults, FaultNames{}) << size;
}

TEST(Reader, AddsThePrefixToTheOffsetsOfADirectoryThatBreaksOff) {
  RawArchive archive = smallArchive();
  archive.prefix = std::string(100, 'x');
  archive.offsetsCountPrefix = false;
  archive.items[0].central.offset = static_cast<std::uint32_t>(archive.build().size() - 50);
  std::string bytes = archive.build();
  for (char const* const signature : {"PK\3\4", "PK\3\4", "PK\1\2"}) bytes[bytes.rfind(signature)] = 'x';
  EXPECT_EQ(readThrough(bytes).faults, (FaultNames{{code::kDamagedEntry, "/a"}, {code::kDamagedDirectory, ""}}));
}

TEST(Reader, OpensOneItemAgain) {
  CollectedFaults faults;
  Reader const reader(makeMemoryBytes(bytesOf(smallArchive().build())), 2, faults);
  EXPECT_EQ(faults.names, FaultNames{});
  EXPECT_EQ(readAll(*reader.archive()->openContent(1)), compressible(500));
}

TEST(Reader, OpensNoItemThatIsDamaged) {
  std::string const bytes = smallArchive().build();
  CollectedFaults faults;
  Reader const reader(makeMemoryBytes(bytesOf(flipped(bytes, bytes.find("alpha")))), 2, faults);
  EXPECT_THROW_MESSAGE(readAll(*reader.archive()->openContent(0)), InvalidItem, "Item \"a\": wrong CRC");
}

TEST(Reader, OpensNoItemThatLeadsOutOfTheFile) {
  RawArchive archive = smallArchive();
  archive.items[1].central.offset = 1'000'000;
  CollectedFaults faults;
  Reader const reader(makeMemoryBytes(bytesOf(archive.build())), 2, faults);
  EXPECT_THROW_MESSAGE(reader.archive()->openContent(1), InvalidItem, "Item \"b\": it does not fit into the file");
}

TEST(Reader, ThrowsAtTheFirstFaultOfAStrictReading) {
  ThrowingFaults faults;
  EXPECT_THROW_MESSAGE(Reader(makeMemoryBytes(bytesOf(smallArchive().build() + "behind")), 2, faults), InvalidPackage,
                       "Not a ZIP archive: its end record does not end where the file ends");
}

TEST(Reader, ChecksAllHeadersInOneGo) {
  RawItem item = storedItem("b", "beta");
  EXPECT_NO_THROW(checkHeaders(RawArchive{{storedItem("a", ""), item}}.build()));
  item.local.name = "c";
  EXPECT_THROW_MESSAGE(checkHeaders(RawArchive{{storedItem("a", ""), item}}.build()), InvalidPackage,
                       "Item \"b\": its local header disagrees with the directory");
}

TEST(Reader, ChecksAllDescriptorsInOneGo) {
  RawItem const item = deflatedItem("b", compressible(500));
  for (std::size_t const width : {4ul, 8ul}) {
    std::string descriptor = descriptorOf(item, width, true);
    EXPECT_NO_THROW(checkHeaders(RawArchive{{streamedItem(item, descriptor), storedItem("c", "")}}.build()));
    descriptor[4] = static_cast<char>(descriptor[4] ^ 1);
    EXPECT_THROW_MESSAGE(checkHeaders(RawArchive{{streamedItem(item, descriptor), storedItem("c", "")}}.build()),
                         InvalidPackage, "Item \"b\": its data descriptor disagrees with the directory");
  }
}

/// Counts what is read.
class CountedBytes final : public RandomAccessBytes {
 public:
  explicit CountedBytes(std::string bytes) : bytes_(std::move(bytes)) {}
  std::uint64_t size() const override { return bytes_.size(); }
  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    bytes_.copy(static_cast<char*>(buffer), count, static_cast<std::size_t>(offset));
    read += count;
  }
  int descriptor() const override { return -1; }

  mutable std::size_t read = 0;

 private:
  std::string bytes_;
};

TEST(Reader, ReadsLittleOfLargeItemsToCheckTheirHeaders) {
  std::vector<RawItem> items;
  for (char const* name : {"a", "b", "c", "d"}) {
    RawItem const item = storedItem(name, std::string(2u << 20, 'x'));
    items.push_back(*name == 'd' ? item : streamedItem(item, descriptorOf(item, 4, true)));
  }
  auto const bytes = std::make_shared<CountedBytes>(RawArchive{items}.build());
  ThrowingFaults faults;
  Reader reader(bytes, UINT64_MAX, faults);
  bytes->read = 0;
  reader.checkHeaders();
  EXPECT_LT(bytes->read, 3000u);
}

}  // namespace
}  // namespace opc::model::zip
