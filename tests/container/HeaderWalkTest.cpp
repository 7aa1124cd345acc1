// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "container/LocalHeader.hpp"
#include "container/ZipTestSupport.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

FoundItems walked(std::string const& bytes, std::uint64_t maximumItems = UINT64_MAX) {
  return walkHeaders(*makeMemoryBytes(bytesOf(bytes)), maximumItems);
}

std::string withoutDirectory(RawArchive const& archive) {
  std::string const bytes = archive.build();
  return bytes.substr(0, bytes.find("PK\1\2"));
}

/// The archive again, with the directory that the walk made: it counts as sound when it reads as it should.
std::string contentAfterWalk(RawArchive const& archive, std::string const& name) {
  std::string bytes = withoutDirectory(archive);
  FoundItems const found = walked(bytes);
  std::string const begin = le(bytes.size(), 4);
  bytes += textOf(found.directory);
  bytes +=
      "PK\5\6" + le(0, 4) + le(found.count, 2) + le(found.count, 2) + le(found.directory.size(), 4) + begin + le(0, 2);
  return contentOf(*openBytes(bytes), name);
}

TEST(HeaderWalk, FindsNothingWhereThereIsNoHeader) {
  for (std::string const& bytes : {std::string(), std::string("PK"), std::string(100, 'P')}) {
    FoundItems const found = walked(bytes);
    EXPECT_EQ(found.count, 0u);
    EXPECT_TRUE(found.directory.empty());
    EXPECT_FALSE(found.endsAtDirectory);
  }
}

TEST(HeaderWalk, GoesToTheDirectory) {
  std::string const bytes = smallArchive().build();
  FoundItems const found = walked(bytes);
  EXPECT_EQ(found.count, 2u);
  EXPECT_EQ(found.begin, 0u);
  EXPECT_EQ(found.end, bytes.find("PK\1\2"));
  EXPECT_TRUE(found.endsAtDirectory);
}

TEST(HeaderWalk, GoesToTheEndOfAFileWithoutADirectory) {
  std::string const bytes = withoutDirectory(smallArchive());
  FoundItems const found = walked(bytes);
  EXPECT_EQ(found.count, 2u);
  EXPECT_EQ(found.end, bytes.size());
  EXPECT_FALSE(found.endsAtDirectory);
}

TEST(HeaderWalk, BeginsBehindWhatStandsInFront) {
  RawArchive archive = smallArchive();
  archive.prefix = "in front";
  FoundItems const found = walked(archive.build());
  EXPECT_EQ(found.begin, 8u);
  EXPECT_EQ(found.count, 2u);
}

TEST(HeaderWalk, EndsWhereNoHeaderFollows) {
  RawArchive archive = smallArchive();
  archive.items[0].behind = "gap";
  FoundItems const found = walked(archive.build());
  EXPECT_EQ(found.count, 1u);
  EXPECT_FALSE(found.endsAtDirectory);
}

TEST(HeaderWalk, FindsTheHeaderBehindStoredDataWhoseNameHasAWrongLength) {
  std::string bytes = smallArchive().build();
  bytes[26] = static_cast<char>(bytes[26] + 5);  // reaches into the next header
  EXPECT_EQ(walkHeaders(*makeMemoryBytes(bytesOf(bytes)), UINT64_MAX, HeaderWalk::Thorough).count, 2u);
}

TEST(HeaderWalk, EndsAfterSoManyItems) {
  EXPECT_EQ(walked(smallArchive().build(), 1).count, 1u);
  EXPECT_EQ(walked(smallArchive().build(), 0).count, 0u);
}

TEST(HeaderWalk, MakesADirectoryThatLeadsToTheItems) {
  EXPECT_EQ(contentAfterWalk(smallArchive(), "a"), "alpha");
  EXPECT_EQ(contentAfterWalk(smallArchive(), "b"), compressible(500));
}

TEST(HeaderWalk, TakesSizesFromTheDescriptor) {
  RawItem const item = storedItem("a", "alpha");
  std::string const descriptor = "PK\7\x8" + le(item.central.crc, 4) + le(5, 4) + le(5, 4);
  RawArchive const archive{{streamedItem(item, descriptor), storedItem("z", "last")}};
  EXPECT_EQ(contentAfterWalk(archive, "a"), "alpha");
  EXPECT_EQ(contentAfterWalk(archive, "z"), "last");
}

TEST(HeaderWalk, TellsADescriptorFromContentThatLooksLikeOne) {
  std::string const content = "PK\7\x8" + le(1, 4) + le(77, 4) + le(77, 4);
  RawItem const item = storedItem("a", content);
  std::string const sizes = le(content.size(), 4) + le(content.size(), 4);
  RawArchive const archive{{streamedItem(item, "PK\7\x8" + le(item.central.crc, 4) + sizes)}};
  EXPECT_EQ(contentAfterWalk(archive, "a"), content);
}

TEST(HeaderWalk, EndsAtAnItemWhoseDescriptorIsMissing) {
  EXPECT_EQ(walked(RawArchive{{storedItem("z", "first"), streamedItem(storedItem("a", "alpha"), "")}}.build()).count,
            1u);
}

TEST(HeaderWalk, TakesWhatIsLeftOfTheLastItem) {
  std::string const bytes = RawArchive{{storedItem("a", "alpha")}}.build();
  FoundItems const found = walked(bytes.substr(0, 33));  // two bytes of the content
  EXPECT_EQ(found.count, 1u);
  EXPECT_EQ(found.end, 33u);
}

}  // namespace
}  // namespace opc::model::zip
