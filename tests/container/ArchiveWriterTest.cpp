// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "container/ArchiveWriter.hpp"
#include "container/AtomicFile.hpp"
#include "container/ChunkIndex.hpp"
#include "container/Directory.hpp"
#include "container/ZipFormat.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

std::string copyOf(std::string const& bytes) {
  auto const archive = openBytes(bytes);
  std::vector<unsigned char> copied;
  MemorySink sink(copied);
  ArchiveWriter writer(sink);
  for (std::size_t i = 0; i < archive->size(); ++i) writer.copy(*archive, i);
  writer.finish();
  return textOf(copied);
}

/// Keeps what it is given up to a number of bytes and makes up the rest: for archives of many GiB.
class CountingSink final : public ArchiveSink {
 public:
  void write(void const* data, std::size_t count) override {
    std::string const piece(static_cast<char const*>(data), count);
    pieces_[size_] = piece;
    size_ += count;
  }
  void copyFrom(int, std::uint64_t, std::uint64_t count) override { size_ += count; }

  std::map<std::uint64_t, std::string> pieces_;
  std::uint64_t size_ = 0;
};

/// Slower than whoever writes to it, so that things are waiting for it all the time.
class SlowSink final : public ArchiveSink {
 public:
  explicit SlowSink(std::vector<unsigned char>& bytes) : sink_(bytes) {}
  void write(void const* data, std::size_t count) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    sink_.write(data, count);
  }
  void copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) override {
    sink_.copyFrom(descriptor, offset, count);
  }

 private:
  MemorySink sink_;
};

class FailingSink final : public ArchiveSink {
 public:
  explicit FailingSink(int failAt) : left_(failAt) {}
  void write(void const*, std::size_t) override { count(); }
  void copyFrom(int, std::uint64_t, std::uint64_t) override { count(); }

 private:
  void count() {
    if (--left_ == 0) throw CouldNotSavePackage("no");
  }
  int left_;
};

/// The sink's bytes where nothing was copied by the kernel, read as an archive.
class SparseBytes final : public RandomAccessBytes {
 public:
  explicit SparseBytes(CountingSink const& sink) : sink_(sink) {}
  std::uint64_t size() const override { return sink_.size_; }
  int descriptor() const override { return -1; }
  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    auto* to = static_cast<char*>(buffer);
    std::fill_n(to, count, '\0');
    for (auto const& [begin, piece] : sink_.pieces_)
      for (std::size_t i = 0; i < count; ++i)
        if (offset + i >= begin && offset + i - begin < piece.size())
          to[i] = piece[static_cast<std::size_t>(offset + i - begin)];
  }

 private:
  CountingSink const& sink_;
};

TEST(ArchiveWriter, WritesWhatIsReadBack) {
  std::vector<NamedContent> const items{{"a", compressible(1000)},
                                        {"b/c", ""},
                                        {"d", mixed(kLong)},
                                        {"e", incompressible(300'000)},
                                        {"\u00E4", "umlaut"}};
  auto const archive = openBytes(archiveOf(items));
  ASSERT_EQ(archive->size(), items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    EXPECT_EQ(archive->entry(i).name, items[i].name);
    EXPECT_TRUE(contentOf(*archive, items[i].name) == items[i].content);
  }
}

TEST(ArchiveWriter, WritesTheSameBytesForTheSameContent) {
  EXPECT_EQ(archiveOf({{"a", compressible(1000)}}), archiveOf({{"a", compressible(1000)}}));
}

TEST(ArchiveWriter, WritesExactlyTheseBytes) {
  std::string const common = le(0x00210000, 4) + le(0xD87F7E0C, 4) + le(4, 4) + le(4, 4) + le(1, 2) + le(0, 2);
  std::string const local = "PK\3\4" + le(20, 2) + le(0, 2) + le(0, 2) + common + "a" + "test";
  std::string const central = "PK\1\2" + le(0x0314, 2) + le(20, 2) + le(0, 2) + le(0, 2) + common + le(0, 6) +
                              le(0100644u << 16, 4) + le(0, 4) + "a";
  std::string const end = "PK\5\6" + le(0, 4) + le(1, 2) + le(1, 2) + le(47, 4) + le(35, 4) + le(0, 2);
  EXPECT_EQ(archiveOf({{"a", "test"}}), local + central + end);
}

TEST(ArchiveWriter, MarksNamesThatAreNotAscii) {
  auto const archive = openBytes(archiveOf({{"a", ""}, {"\u00E4", ""}}));
  EXPECT_EQ(archive->entry(0).flags, 0);
  EXPECT_EQ(archive->entry(1).flags, 1 << 11);
}

TEST(ArchiveWriter, RefusesANameThatIsTooLong) {
  std::vector<unsigned char> bytes;
  MemorySink sink(bytes);
  ArchiveWriter writer(sink);
  std::string const name(65536, 'n');
  EXPECT_THROW_MESSAGE(writer.add(name, makeContent(makeSpool(), "")), CouldNotSavePackage,
                       "Could not save package: Item \"" + name + "\": its name is too long");
}

TEST(ArchiveWriter, CopiesItemsAsTheyAre) {
  RawItem item = deflatedItem("a", compressible(1000));
  item.local.extra = le(0x5455, 2) + le(5, 2) + "\1" + le(7, 4);
  item.central.extra = le(0x5455, 2) + le(1, 2) + "x";
  item.comment = "comment";
  RawItem odd = storedItem("method", "data of an unknown method");
  odd.local.method = odd.central.method = 14;
  std::string const bytes = RawArchive{{item, odd, storedItem("long", mixed(kLong))}}.build();
  EXPECT_TRUE(copyOf(bytes) == bytes);
}

TEST(ArchiveWriter, GivesLongContentsAnIndexOfTheirChunks) {
  auto const archive = openBytes(
      archiveOf({{"short", compressible(2u << 20)}, {"deflated", mixed(kLong)}, {"stored", incompressible(kLong)}}));
  EXPECT_FALSE(findExtraField(archive->entry(0).extra, kChunksExtra));
  for (std::size_t const i : {1u, 2u}) {
    Entry const entry = archive->entry(i);
    auto const field = findExtraField(entry.extra, kChunksExtra);
    ASSERT_TRUE(field) << entry.name;
    auto const index = ChunkIndex::fromField(*field, entry.storedSize, entry.size);
    ASSERT_TRUE(index) << entry.name;
    EXPECT_EQ(index->chunkAt(entry.size - 1).begin, kLong >> 20 << 20);
  }
}

TEST(ArchiveWriter, WritesIndexesThatGiveNoWrongByteWhateverBecomesOfThem) {
  std::string const content = mixed(kLong), bytes = archiveOf({{"long", content}});
  auto const archive = openBytes(bytes);
  auto const field = findExtraField(archive->entry(0).extra, kChunksExtra);
  std::size_t const at = bytes.rfind(*field);
  ASSERT_NE(at, bytes.npos);
  int ignored = 0, refused = 0;
  for (std::size_t i = 0; i < field->size(); i += i < 16 ? 1 : 5) {
    std::string forged = bytes;
    forged[at + i] = static_cast<char>(forged[at + i] ^ 1 << i % 8);
    try {
      EXPECT_TRUE(contentOf(*openBytes(forged), "long") == content) << i;
      ++ignored;
    } catch (InvalidItem const&) {
      ++refused;
    }
  }
  EXPECT_GE(ignored, 10) << "version, size of a chunk, and a stored size";
  EXPECT_GE(refused, 4) << "the CRC of a chunk";
}

TEST(ArchiveWriter, CopiesAnArchiveOfItsOwnToTheSameBytes) {
  std::string const bytes = archiveOf({{"a", compressible(1000)}, {"b", ""}, {"c", mixed(kLong)}});
  EXPECT_TRUE(copyOf(bytes) == bytes);
}

TEST(ArchiveWriter, PutsTheValuesOfADescriptorIntoTheHeader) {
  RawItem const plain = deflatedItem("a", compressible(1000));
  std::string const descriptor =
      "PK\7\10" + le(plain.central.crc, 4) + le(plain.central.stored, 4) + le(plain.central.size, 4);
  std::string const streamed = RawArchive{{streamedItem(plain, descriptor), storedItem("b", "beta")}}.build();
  EXPECT_EQ(copyOf(streamed), (RawArchive{{plain, storedItem("b", "beta")}}.build()));
}

TEST(ArchiveWriter, LeavesAnEncryptedItemItsDescriptor) {
  RawItem item = storedItem("a", "ciphertext");
  std::string const descriptor = "PK\7\10" + le(item.central.crc, 4) + le(10, 4) + le(10, 4);
  item.local.flags = item.central.flags = 9;
  item.behind = descriptor;
  std::string const bytes = RawArchive{{item}}.build();
  EXPECT_EQ(copyOf(bytes), bytes);
}

TEST(ArchiveWriter, DropsZip64FieldsThatAreNotNeeded) {
  RawItem const plain = storedItem("a", "alpha");
  RawItem item = plain;
  item.local.stored = item.local.size = item.central.stored = item.central.size = 0xFFFFFFFF;
  item.local.extra = item.central.extra = le(1, 2) + le(16, 2) + le(5, 8) + le(5, 8);
  EXPECT_EQ(copyOf(RawArchive{{item}}.build()), RawArchive{{plain}}.build());
}

TEST(ArchiveWriter, RefusesToCopyAnItemWhoseLocalHeaderDisagrees) {
  RawItem item = storedItem("a", "alpha");
  item.local.name = "b";
  EXPECT_THROW_MESSAGE(copyOf(RawArchive{{item}}.build()), InvalidItem,
                       "Item \"a\": its local header disagrees with the directory");
}

TEST(ArchiveWriter, CopiesFromAFileIntoAFile) {
  TemporaryDirectory directory;
  std::string const bytes = archiveOf({{"a", compressible(1000)}, {"b", incompressible(700'000)}, {"c", mixed(kLong)}});
  zt_test::writeFile(directory / "from.zip", bytes);
  auto const archive = Archive::open(openFileBytes((directory / "from.zip").string()));
  AtomicFile file((directory / "to.zip").string(), {.target = AtomicFile::Target::MustNotExist});
  ArchiveWriter writer(file);
  for (std::size_t i = 0; i < archive->size(); ++i) writer.copy(*archive, i);
  writer.finish();
  file.commit();
  EXPECT_TRUE(readFile(directory / "to.zip") == bytes);
}

TEST(ArchiveWriter, AddsContentThatIsInASpoolsFile) {
  TemporaryDirectory directory;
  auto const spool = std::make_shared<Spool>(directory.path().string(), 0);
  std::string const small = compressible(100), large = incompressible(600'000), huge = mixed(kLong);
  std::vector<unsigned char> bytes;
  MemorySink sink(bytes);
  ArchiveWriter writer(sink);
  for (auto const& content : {small, large, huge, small}) writer.add("item", makeContent(spool, content));
  writer.finish();
  auto const archive = openBytes(textOf(bytes));
  EXPECT_TRUE(readAll(*archive->openContent(1)) == large);
  EXPECT_TRUE(readAll(*archive->openContent(2)) == huge);
  EXPECT_TRUE(readAll(*archive->openContent(3)) == small);
}

TEST(ArchiveWriter, WritesTheSameWithAThread) {
  TemporaryDirectory directory;
  auto const spool = std::make_shared<Spool>(directory.path().string(), 0);
  std::vector<Content> contents;
  // The last ones, which are added first, are still in memory when a large one has the spool write them out.
  for (std::size_t const size : {600'000u, 100u, 250'000u, 0u})
    contents.push_back(makeContent(spool, incompressible(size)));
  for (int i = 0; i < 60; ++i) contents.push_back(makeContent(spool, incompressible(200'000)));
  auto const write = [&](bool hasThread) {
    std::vector<unsigned char> bytes;
    SlowSink sink(bytes);
    ArchiveWriter writer(sink, hasThread);
    for (auto content = contents.rbegin(); content != contents.rend(); ++content) writer.add("item", *content);
    writer.finish();
    return bytes;
  };
  auto const withAThread = write(true);
  EXPECT_TRUE(withAThread == write(false));
}

TEST(ArchiveWriter, TellsWhatTheSinkThrewOnItsThread) {
  auto const spool = std::make_shared<Spool>("");
  Content const content = makeContent(spool, incompressible(700'000));
  for (int const failAt : {1, 2, 3, 4}) {
    FailingSink sink(failAt);
    ArchiveWriter writer(sink, true);
    EXPECT_THROW(
        {
          for (int i = 0; i < 3; ++i) writer.add("item", content);
          writer.finish();
        },
        CouldNotSavePackage);
  }
}

TEST(ArchiveWriter, WritesZip64FieldsForLargeSizesAndOffsets) {
  TemporaryDirectory directory;
  auto const spool = std::make_shared<Spool>(directory.path().string(), 0);
  Content content = makeContent(spool, incompressible(300'000));
  content.size = content.storedSize = (std::uint64_t{5} << 30) + 7;
  CountingSink sink;
  ArchiveWriter writer(sink);
  writer.add("large", content);
  writer.add("far", makeContent(spool, "x"));
  writer.finish();
  auto const archive = Archive::open(std::make_shared<SparseBytes>(sink));
  Entry const large = archive->entry(0), far = archive->entry(1);
  EXPECT_EQ(large.size, content.size);
  EXPECT_EQ(large.versionNeeded, 45);
  EXPECT_EQ(far.localHeaderOffset, 55 + content.size);
  EXPECT_EQ(far.size, 1u);
  EXPECT_EQ(contentOf(*archive, "far"), "x");
}

TEST(ArchiveWriter, WritesSizesJustBelowTheLimitWithoutZip64) {
  TemporaryDirectory directory;
  auto const spool = std::make_shared<Spool>(directory.path().string(), 0);
  for (std::uint64_t const size : {0xFFFFFFFEull, 0xFFFFFFFFull}) {
    Content content = makeContent(spool, incompressible(300'000));
    content.size = content.storedSize = size;
    CountingSink sink;
    ArchiveWriter writer(sink);
    writer.add("large", content);
    writer.finish();
    auto const archive = Archive::open(std::make_shared<SparseBytes>(sink));
    EXPECT_EQ(archive->entry(0).size, size);
    EXPECT_EQ(archive->entry(0).extra.size(), size == 0xFFFFFFFF ? 20u : 0u);
  }
}

TEST(ArchiveWriter, WritesAZip64RecordForManyItems) {
  for (std::size_t const count : {65534ul, 65535ul, 65536ul}) {
    std::vector<unsigned char> bytes;
    MemorySink sink(bytes);
    ArchiveWriter writer(sink);
    Content const content = makeContent(makeSpool(), "x");
    for (std::size_t i = 0; i < count; ++i) writer.add(std::to_string(i), content);
    writer.finish();
    auto const archive = openBytes(textOf(bytes));
    EXPECT_EQ(archive->size(), count);
    EXPECT_EQ(archive->entry(count - 1).name, std::to_string(count - 1));
    EXPECT_EQ(textOf(bytes).find("PK\6\6") != std::string::npos, count >= 65535);
  }
}

TEST(ArchiveWriter, PassesOnEveryFailureOfItsSink) {
  TemporaryDirectory directory;
  auto const spool = std::make_shared<Spool>(directory.path().string(), 0);
  Content const content = makeContent(spool, incompressible(300'000)), small = makeContent(spool, "small");
  auto const archive = openBytes(RawArchive{{storedItem("b", incompressible(2'000'000))}}.build());
  int failures = 0;
  for (int failAt = 1; failAt < 50; ++failAt) try {
      FailingSink sink(failAt);
      ArchiveWriter writer(sink);
      for (int i = 0; i < 3; ++i) writer.add("a", content);
      writer.add("s", small);
      writer.copy(*archive, 0);
      writer.finish();
      break;
    } catch (CouldNotSavePackage const&) {
      ++failures;
    }
  EXPECT_GE(failures, 9);
  EXPECT_LT(failures, 40);
}

}  // namespace
}  // namespace opc::model::zip
