// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <ios>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "container/Archive.hpp"
#include "container/ItemStream.hpp"
#include "container/Reader.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

TEST(Archive, GivesTheEntriesAsTheyAreInTheDirectory) {
  RawItem item = storedItem("a", "alpha");
  item.central.extra = le(0x5455, 2) + le(1, 2) + "x";
  item.comment = "a comment";
  auto const archive = openBytes(RawArchive{{item, storedItem("b", "")}}.build());
  ASSERT_EQ(archive->size(), 2u);
  Entry const entry = archive->entry(0);
  EXPECT_EQ(entry.name, "a");
  EXPECT_EQ(entry.size, 5u);
  EXPECT_EQ(entry.storedSize, 5u);
  EXPECT_EQ(entry.method, 0);
  EXPECT_EQ(entry.extra, item.central.extra);
  EXPECT_EQ(entry.comment, "a comment");
  EXPECT_EQ(entry.dosTimeAndDate, 0x00210000u);
  EXPECT_EQ(archive->entry(1).localHeaderOffset, 36u);
  EXPECT_EQ(archive->limitOf(0), 36u);
}

TEST(Archive, KeepsNamesAsBytes) {
  std::string const odd("a\0b\xFF/../c", 9);
  auto const archive = openBytes(RawArchive{{storedItem(odd, "x"), storedItem("", "y")}}.build());
  EXPECT_EQ(archive->entry(0).name, odd);
  EXPECT_EQ(contentOf(*archive, odd), "x");
  EXPECT_EQ(contentOf(*archive, ""), "y");
}

TEST(Archive, ReadsItemsWhoseDirectoryIsInAnotherOrder) {
  std::string const bytes = RawArchive{{storedItem("a", "first"), storedItem("b", "second")}}.build();
  auto const begin = static_cast<std::size_t>(openBytes(bytes)->limitOf(1));
  std::size_t const half = 47;
  std::string const turned = bytes.substr(0, begin) + bytes.substr(begin + half, half) + bytes.substr(begin, half) +
                             bytes.substr(begin + 2 * half);
  auto const archive = openBytes(turned);
  EXPECT_EQ(archive->entry(0).name, "b");
  EXPECT_EQ(contentOf(*archive, "a"), "first");
  EXPECT_EQ(contentOf(*archive, "b"), "second");
  EXPECT_EQ(archive->limitOf(0), begin);
  EXPECT_EQ(archive->prefixSize(), 0u);
}

TEST(Archive, LimitsTheNumberOfItems) {
  std::string const bytes = archiveOf({{"a", ""}, {"b", ""}});
  EXPECT_EQ(openBytes(bytes, 2)->size(), 2u);
  EXPECT_THROW_MESSAGE(openBytes(bytes, 1), InvalidPackage, "Damaged ZIP archive: it has more than 1 items");
}

class Descriptors : public testing::TestWithParam<std::tuple<std::size_t, bool, std::size_t>> {};

INSTANTIATE_TEST_SUITE_P(Archive, Descriptors,
                         testing::Combine(testing::Values(4, 8), testing::Bool(), testing::Values(500, kLong)));

TEST_P(Descriptors, AreReadAndChecked) {
  auto const [width, withSignature, size] = GetParam();
  for (RawItem const& item : {storedItem("s", compressible(size)), deflatedItem("d", compressible(size))}) {
    std::string const descriptor = descriptorOf(item, width, withSignature);
    auto const archive = openBytes(RawArchive{{streamedItem(item, descriptor), storedItem("z", "")}}.build());
    EXPECT_TRUE(readAll(*archive->openContent(0)) == compressible(size));
  }
}

TEST(Archive, RefusesADescriptorThatDisagrees) {
  for (std::size_t const size : {std::size_t{500}, kLong}) {
    RawItem const item = deflatedItem("d", compressible(size));
    for (std::size_t at = 4; at < 16; ++at) {
      std::string descriptor = descriptorOf(item, 4, true);
      descriptor[at] = static_cast<char>(descriptor[at] ^ 1);
      auto const archive = openBytes(RawArchive{{streamedItem(item, descriptor)}}.build());
      EXPECT_THROW_MESSAGE(archive->openContent(0), InvalidItem,
                           "Item \"d\": its data descriptor disagrees with the directory");
    }
  }
}

TEST(Archive, RefusesADescriptorWithoutSignatureThatDisagrees) {
  for (std::size_t const size : {std::size_t{500}, kLong}) {
    RawItem const item = deflatedItem("d", compressible(size));
    for (std::size_t at = 0; at < 20; ++at) {
      std::size_t const width = at < 12 ? 4 : 8;
      std::string descriptor = descriptorOf(item, width, false);
      descriptor[at] = static_cast<char>(descriptor[at] ^ 1);
      auto const archive = openBytes(RawArchive{{streamedItem(item, descriptor)}}.build());
      EXPECT_THROW_MESSAGE(archive->openContent(0), InvalidItem,
                           "Item \"d\": its data descriptor disagrees with the directory");
    }
  }
}

TEST(Archive, RefusesAnItemWithoutADescriptorThatItNeeds) {
  RawItem const item = storedItem("a", "alpha");
  for (auto const& rest : {std::string(), std::string("PK\7\10"), descriptorOf(item, 4, false).substr(0, 11)}) {
    std::string const bytes = RawArchive{{streamedItem(item, rest)}}.build();
    EXPECT_THROW(openBytes(bytes)->openContent(0), InvalidItem) << rest.size();
    EXPECT_THROW(checkHeaders(bytes), InvalidPackage) << rest.size();
  }
  EXPECT_EQ(contentOf(*openBytes(RawArchive{{streamedItem(storedItem("a", ""), "")}}.build()), "a"), "");
}

TEST(Archive, AcceptsRightValuesBesideADescriptor) {
  RawItem item = streamedItem(storedItem("a", "alpha"), "");
  item.local.crc = item.central.crc;
  item.local.stored = item.local.size = 5;
  EXPECT_EQ(contentOf(*openBytes(RawArchive{{item}}.build()), "a"), "alpha");
  item.local.size = 4;
  EXPECT_THROW(contentOf(*openBytes(RawArchive{{item}}.build()), "a"), InvalidItem);
}

TEST(Archive, ReadsSizesFromZip64Fields) {
  RawItem item = storedItem("a", "alpha");
  item.local.stored = item.local.size = item.central.stored = item.central.size = 0xFFFFFFFF;
  item.local.extra = item.central.extra = le(1, 2) + le(16, 2) + le(5, 8) + le(5, 8);
  EXPECT_EQ(contentOf(*openBytes(RawArchive{{item}}.build()), "a"), "alpha");
}

TEST(Archive, ReadsALocalExtraFieldOfAnyLength) {
  RawItem item = deflatedItem("a", compressible(3000));
  for (std::size_t const size : {1ul, 1000ul, 1020ul, 1100ul, 65535ul}) {
    item.local.extra = std::string(size, '\0');
    EXPECT_EQ(contentOf(*openBytes(RawArchive{{item}}.build()), "a"), compressible(3000)) << size;
  }
}

TEST(Archive, ToleratesPaddingBehindExtraFields) {
  RawItem item = storedItem("a", "alpha");
  for (std::size_t const size : {1ul, 2ul, 3ul}) {
    item.central.extra = std::string(size, '\0');
    item.local.extra = std::string(size, '\xFF');  // as some writers leave it
    EXPECT_EQ(contentOf(*openBytes(RawArchive{{item}}.build()), "a"), "alpha");
  }
}

TEST(Archive, ReadsAUnicodePathThatGoesWithAnotherEncoding) {
  RawItem item = storedItem("\x84.txt", "umlaut");
  item.central.extra = le(0x7075, 2) + le(11, 2) + "\1" + le(0, 4) + "\u00E4.txt";
  EXPECT_EQ(contentOf(*openBytes(RawArchive{{item}}.build()), "\x84.txt"), "umlaut");
}

TEST(Archive, StreamsReadAtEveryStep) {
  std::string const content = compressible(5000);
  auto const archive = openBytes(archiveOf({{"a", content}}));
  for (std::size_t const step : {1ul, 2ul, 15ul, 16ul, 17ul, 4096ul})
    EXPECT_EQ(readAll(*archive->openContent(0), step), content) << step;
}

TEST(Archive, LongStreamsReadAtEveryStep) {
  std::string const content = mixed(kLong);
  auto const archive = openBytes(RawArchive{{deflatedItem("d", content), storedItem("s", content)}}.build());
  for (std::size_t const step : {std::size_t{17}, std::size_t{4096}, std::size_t{1} << 20, 2 * kLong}) {
    EXPECT_TRUE(readAll(*archive->openContent(0), step) == content) << step;
    EXPECT_TRUE(readAll(*archive->openContent(1), step) == content) << step;
  }
}

TEST(Archive, StreamsCanBeReadAgain) {
  for (std::size_t const size : {std::size_t{0}, std::size_t{1000}, kLong}) {
    auto const archive = openBytes(archiveOf({{"a", compressible(size)}}));
    auto const stream = archive->openContent(0);
    std::string const first = readAll(*stream);
    EXPECT_TRUE(stream->isEnd());
    EXPECT_EQ(stream->read(nullptr, 0), 0u);
    stream->clear();
    stream->reset();
    EXPECT_EQ(stream->isEnd(), size == 0);
    EXPECT_TRUE(readAll(*stream) == first);
  }
}

TEST(Archive, StreamsCanBeResetInTheMiddle) {
  std::string const content = mixed(kLong);
  auto const stream = openBytes(archiveOf({{"a", content}}))->openContent(0);
  std::string some(200'000, '\0');
  stream->read(some.data(), some.size());
  stream->reset();
  EXPECT_TRUE(readAll(*stream) == content);
}

TEST(Archive, StreamsKeepTheArchiveAlive) {
  auto archive = openBytes(RawArchive{{storedItem("a", mixed(kLong))}}.build());
  auto const stream = archive->openContent(0);
  archive.reset();
  EXPECT_TRUE(readAll(*stream) == mixed(kLong));
}

TEST(Archive, IsReadByManyThreadsAtOnce) {
  std::vector<NamedContent> items;
  for (std::size_t i = 0; i < 50; ++i) items.push_back({"item" + std::to_string(i), compressible(1000 * i)});
  auto const archive = openBytes(archiveOf(items));
  std::vector<std::thread> threads;
  std::vector<int> right(4);
  for (int& count : right)
    threads.emplace_back([&] {
      for (auto const& item : items) count += contentOf(*archive, item.name) == item.content;
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(right, std::vector<int>(4, 50));
}

TEST(Archive, ReadsTheSameFromAFile) {
  TemporaryDirectory directory;
  std::string const content = mixed(kLong);
  zt_test::writeFile(directory / "a.zip", archiveOf({{"a", content}, {"b", "beta"}}));
  auto const archive = Archive::open(openFileBytes((directory / "a.zip").string()));
  std::filesystem::remove(directory / "a.zip");
  EXPECT_TRUE(contentOf(*archive, "a") == content);
  EXPECT_EQ(contentOf(*archive, "b"), "beta");
}

/// The archive of a Reader that recovers what it can, from a file.
std::shared_ptr<Archive const> recovered(std::filesystem::path const& file) {
  CollectedFaults faults;
  return Reader(openFileBytes(file.string()), UINT64_MAX, faults).archive();
}

void overwrite(std::filesystem::path const& file, std::size_t at, char byte) {
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.seekp(static_cast<std::streamoff>(at));
  stream.put(byte);
}

TEST(Archive, HoldsItsDirectoryUntilAByteOfItChanges) {
  TemporaryDirectory directory;
  std::string const bytes = smallArchive().build();
  std::size_t const begin = bytes.find("PK\1\2"), end = bytes.rfind("PK\5\6");
  for (std::size_t at = begin; at < end; ++at) {
    zt_test::writeFile(directory / "a.zip", bytes);
    auto const archive = Archive::open(openFileBytes((directory / "a.zip").string()));
    EXPECT_TRUE(archive->holdsItsDirectory());
    overwrite(directory / "a.zip", at, static_cast<char>(bytes[at] ^ 1));
    EXPECT_FALSE(archive->holdsItsDirectory()) << at;
  }
}

TEST(Archive, SaysThatTheFileGotShorter) {
  TemporaryDirectory directory;
  std::string const bytes = smallArchive().build();
  for (std::size_t const size : {bytes.rfind("PK\5\6") - 1, bytes.find("PK\1\2") - 1, std::size_t{0}}) {
    zt_test::writeFile(directory / "a.zip", bytes);
    auto const archive = Archive::open(openFileBytes((directory / "a.zip").string()));
    std::filesystem::resize_file(directory / "a.zip", size);
    EXPECT_THROW(archive->holdsItsDirectory(), InvalidPackage) << size;
  }
}

/// The signature is not copied where it does not fit beside the entries.
TEST(Archive, HoldsADirectoryWithALongSignature) {
  RawArchive raw;
  for (std::size_t i = 0; i < 16; ++i) {
    raw.items.push_back(storedItem(std::to_string(i), "content"));
    raw.items.back().comment = std::string(65'000, 'c');
  }
  constexpr std::size_t kSignature = 60'000;
  raw.beforeEnd = "PK\5\5" + le(kSignature, 2) + std::string(kSignature, 's');
  std::string const bytes = raw.build();
  std::size_t const size = bytes.rfind("PK\5\6") - bytes.find("PK\1\2");
  auto const archive = openBytes(patched(bytes, 10, size, 4));
  EXPECT_EQ(archive->size(), 16U);
  EXPECT_TRUE(archive->holdsItsDirectory());
}

TEST(Archive, HoldsADirectoryThatWasFoundWithoutItsEndRecord) {
  TemporaryDirectory directory;
  std::string const bytes = smallArchive().build();
  std::size_t const begin = bytes.find("PK\1\2");
  zt_test::writeFile(directory / "a.zip", bytes.substr(0, bytes.rfind("PK\5\6")));
  auto const archive = recovered(directory / "a.zip");
  EXPECT_EQ(archive->size(), 2U);
  EXPECT_TRUE(archive->holdsItsDirectory());
  overwrite(directory / "a.zip", begin + 16, static_cast<char>(bytes[begin + 16] ^ 1));
  EXPECT_FALSE(archive->holdsItsDirectory());
}

TEST(Archive, DoesNotHoldADirectoryThatWasMadeOfLocalHeaders) {
  TemporaryDirectory directory;
  std::string const bytes = smallArchive().build();
  for (std::string const& behind : {std::string(), std::string(1'000, 'x')}) {
    zt_test::writeFile(directory / "a.zip", bytes.substr(0, bytes.find("PK\1\2")) + behind);
    auto const archive = recovered(directory / "a.zip");
    EXPECT_EQ(archive->size(), 2U);
    EXPECT_FALSE(archive->holdsItsDirectory());
  }
}

}  // namespace
}  // namespace opc::model::zip
