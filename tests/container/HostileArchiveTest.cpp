// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "container/Archive.hpp"
#include "container/LocalHeader.hpp"
#include "container/ZipFormat.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

std::string oneItem(RawItem item, std::function<void(RawItem&)> const& change) {
  change(item);
  return RawArchive{{item}}.build();
}

void expectItemFault(std::string const& bytes, std::string const& what) {
  auto const archive = openBytes(bytes);
  EXPECT_THROW_MESSAGE(readAll(*archive->openContent(0)), InvalidItem, "Item \"a\": " + what);
}

void expectRefused(std::string const& bytes, std::string const& what) {
  EXPECT_THROW_MESSAGE(openBytes(bytes), InvalidPackage, "Damaged ZIP archive: " + what);
}

void bothHeaders(RawItem& item, std::function<void(RawHeader&)> const& change) {
  change(item.local);
  change(item.central);
}

TEST(HostileArchive, EveryTruncationIsRefused) {
  std::string const bytes = archiveOf({{"a", compressible(300)}, {"b", ""}, {"c", incompressible(20)}});
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_THROW(openBytes(bytes.substr(0, size)), InvalidPackage) << size;
}

TEST(HostileArchive, EveryTruncationAtTheFrontIsRefused) {
  std::string const bytes = archiveOf({{"a", compressible(300)}, {"b", ""}});
  for (std::size_t size = 1; size < bytes.size(); ++size)
    EXPECT_THROW(openBytes(bytes.substr(size)), InvalidPackage) << size;
}

TEST(HostileArchive, EveryChangedBitIsRefusedOrHarmless) {
  std::vector<NamedContent> const items{{"a", compressible(300)}, {"b", ""}, {"c", incompressible(20)}};
  std::string const good = archiveOf(items);
  for (std::size_t at = 0; at < good.size() * 8; ++at) {
    std::string bad = good;
    bad[at / 8] = static_cast<char>(bad[at / 8] ^ (1 << at % 8));
    try {
      auto const archive = openBytes(bad);
      ASSERT_EQ(archive->size(), items.size());
      for (std::size_t i = 0; i < items.size(); ++i)
        EXPECT_EQ(readAll(*archive->openContent(i)), items[i].content) << at;
    } catch (InvalidPackage const&) {
    } catch (InvalidItem const&) {
    }
  }
}

TEST(HostileArchive, EveryByteValueInTheDirectoryIsRefusedOrHarmless) {
  std::string const good = archiveOf({{"a", compressible(300)}});
  auto const begin = static_cast<std::size_t>(openBytes(good)->limitOf(0));
  for (std::size_t at = begin; at < good.size(); ++at)
    for (int value = 0; value < 256; ++value) {
      std::string bad = good;
      bad[at] = static_cast<char>(value);
      try {
        auto const archive = openBytes(bad);
        ASSERT_EQ(archive->size(), 1u);
        EXPECT_EQ(readAll(*archive->openContent(0)), compressible(300)) << at << ' ' << value;
      } catch (InvalidPackage const&) {
      } catch (InvalidItem const&) {
      }
    }
}

TEST(HostileArchive, OverlappingItemsAreRefused) {
  RawItem second = storedItem("b", "beta");
  second.central.offset = 0xFFFFFFFFu - 40;
  second.central.offset = static_cast<std::uint32_t>(-1);
  expectRefused(RawArchive{{storedItem("a", "alpha"), second}}.build(),
                "Item \"a\": its data run into what follows it");
}

TEST(HostileArchive, ItemsThatShareTheirDataAreRefused) {
  RawItem second = storedItem("a", "alpha");
  second.central.offset = static_cast<std::uint32_t>(-36);
  expectRefused(RawArchive{{storedItem("a", "alpha"), second}}.build(),
                "Item \"a\": its data run into what follows it");
}

TEST(HostileArchive, AnItemThatRunsIntoTheDirectoryIsRefused) {
  expectRefused(oneItem(storedItem("a", "alpha"),
                        [](RawItem& i) { bothHeaders(i, [](RawHeader& h) { h.stored = h.size = 6; }); }),
                "Item \"a\": it does not fit into the file");
}

TEST(HostileArchive, AnExtraFieldCannotPushDataIntoTheNextItem) {
  RawItem item = storedItem("a", "alpha");
  std::string bytes = RawArchive{{item, storedItem("b", "beta")}}.build();
  bytes[28] = 3;  // the length of the first local extra field
  EXPECT_THROW_MESSAGE(openBytes(bytes)->openContent(0), InvalidItem, "Item \"a\": its data run into what follows it");
}

TEST(HostileArchive, OffsetsThatOverflowAreRefused) {
  for (std::uint64_t const offset : {UINT64_MAX, UINT64_MAX - 30, std::uint64_t{1} << 63, std::uint64_t{0xFFFFFFFF}})
    expectRefused(oneItem(storedItem("a", "alpha"),
                          [&](RawItem& i) {
                            i.central.offset = 0xFFFFFFFF;
                            i.central.extra = le(1, 2) + le(8, 2) + le(offset, 8);
                          }),
                  "Item \"a\": it does not fit into the file");
}

TEST(HostileArchive, SizesThatOverflowAreRefused) {
  for (std::uint64_t const size : {UINT64_MAX, UINT64_MAX - 31, std::uint64_t{1} << 63})
    expectRefused(oneItem(storedItem("a", "alpha"),
                          [&](RawItem& i) {
                            i.central.stored = 0xFFFFFFFF;
                            i.central.extra = le(1, 2) + le(8, 2) + le(size, 8);
                          }),
                  "Item \"a\": it does not fit into the file");
}

TEST(HostileArchive, AMissingZip64FieldIsRefused) {
  expectRefused(oneItem(storedItem("a", "alpha"), [](RawItem& i) { i.central.size = 0xFFFFFFFF; }),
                "Item \"a\": its zip64 field is too short");
  expectRefused(oneItem(storedItem("a", "alpha"),
                        [](RawItem& i) {
                          i.central.size = i.central.stored = 0xFFFFFFFF;
                          i.central.extra = le(1, 2) + le(8, 2) + le(5, 8);
                        }),
                "Item \"a\": its zip64 field is too short");
}

TEST(HostileArchive, AnExtraFieldLongerThanItsPlaceIsRefused) {
  expectRefused(oneItem(storedItem("a", "alpha"), [](RawItem& i) { i.central.extra = le(0x5455, 2) + le(0xFFFF, 2); }),
                "Item \"a\": an extra field is longer than its place");
}

TEST(HostileArchive, PaddingOfADirectoryEntryMustBeZeros) {
  for (std::size_t const size : {1ul, 2ul, 3ul})
    expectRefused(oneItem(storedItem("a", "alpha"), [&](RawItem& i) { i.central.extra = std::string(size, '\xFF'); }),
                  "Item \"a\": something behind its extra fields");
}

TEST(HostileArchive, ALocalExtraFieldLongerThanItsPlaceIsAnItemFault) {
  expectItemFault(oneItem(storedItem("a", "alpha"), [](RawItem& i) { i.local.extra = le(0x5455, 2) + le(1, 2); }),
                  "an extra field is longer than its place");
}

TEST(HostileArchive, AnItemOnAnotherDiskIsRefused) {
  expectRefused(oneItem(storedItem("a", "alpha"), [](RawItem& i) { i.central.disk = 1; }),
                "Item \"a\": it is on another disk");
}

TEST(HostileArchive, AWrongSignatureInTheDirectoryIsRefused) {
  std::string bytes = archiveOf({{"a", "x"}});
  bytes[static_cast<std::size_t>(openBytes(bytes)->limitOf(0))] = 'X';
  expectRefused(bytes, "its directory is not where or what its end record says");
}

TEST(HostileArchive, LocalHeadersMustAgree) {
  std::vector<std::function<void(RawHeader&)>> const changes{
      [](RawHeader& h) { h.name = "b"; },       [](RawHeader& h) { h.name = "ab"; }, [](RawHeader& h) { h.name = ""; },
      [](RawHeader& h) { h.method = 8; },       [](RawHeader& h) { h.flags = 1; },   [](RawHeader& h) { h.crc ^= 1; },
      [](RawHeader& h) { h.stored += 1; },      [](RawHeader& h) { h.size += 1; },   [](RawHeader& h) { h.crc = 0; },
      [](RawHeader& h) { h.size = 0xFFFFFFFF; }};
  for (auto const& change : changes) {
    RawItem other = storedItem("z", std::string(100, 'z'));  // room for a longer name
    RawItem item = storedItem("a", "alpha");
    item.behind = "a gap, since a shorter name would pull the next item up";
    change(item.local);
    expectItemFault(RawArchive{{item, other}}.build(), "its local header disagrees with the directory");
  }
}

TEST(HostileArchive, AMissingLocalHeaderIsAnItemFault) {
  std::string bytes = archiveOf({{"a", "x"}});
  bytes[3] = 'X';
  expectItemFault(bytes, "no local header where the directory says");
}

TEST(HostileArchive, UnknownMethodsAreItemFaults) {
  for (unsigned const method : {1u, 9u, 12u, 93u, 99u, 0xFFFFu})
    expectItemFault(oneItem(storedItem("a", "alpha"),
                            [&](RawItem& i) {
                              bothHeaders(i, [&](RawHeader& h) { h.method = static_cast<std::uint16_t>(method); });
                            }),
                    "unknown compression method " + std::to_string(method));
}

TEST(HostileArchive, EncryptionIsAnItemFault) {
  for (unsigned const flag : {1u, 1u << 6, 1u << 13})
    expectItemFault(
        oneItem(storedItem("a", "alpha"),
                [&](RawItem& i) { bothHeaders(i, [&](RawHeader& h) { h.flags = static_cast<std::uint16_t>(flag); }); }),
        "encrypted");
}

TEST(HostileArchive, ARenamingUnicodePathIsAnItemFault) {
  std::string const extra = le(0x7075, 2) + le(9, 2) + "\1" + le(0, 4) + "../b";
  expectItemFault(oneItem(storedItem("a", "alpha"), [&](RawItem& i) { i.central.extra = extra; }),
                  "its Unicode path field gives it another name");
  expectItemFault(oneItem(storedItem("a", "alpha"), [&](RawItem& i) { i.local.extra = extra; }),
                  "its Unicode path field gives it another name");
}

TEST(HostileArchive, AWrongCrcIsAnItemFault) {
  for (RawItem const& item : {storedItem("a", "alpha"), storedItem("a", ""), deflatedItem("a", compressible(900)),
                              storedItem("a", mixed(kLong)), deflatedItem("a", mixed(kLong))})
    expectItemFault(oneItem(item, [](RawItem& i) { bothHeaders(i, [](RawHeader& h) { h.crc ^= 0x10; }); }),
                    "wrong CRC");
}

TEST(HostileArchive, UpToEightMebibytesAreVerifiedBeforeTheFirstByteAndMoreBeforeTheLast) {
  auto const wrongCrc = [](std::size_t size) {
    return openBytes(oneItem(deflatedItem("a", compressible(size)),
                             [](RawItem& i) { bothHeaders(i, [](RawHeader& h) { h.crc ^= 1; }); }));
  };
  EXPECT_THROW_MESSAGE(wrongCrc(Archive::kVerifiedWholeBytes)->openContent(0), InvalidItem, "Item \"a\": wrong CRC");
  auto const stream = wrongCrc(Archive::kVerifiedWholeBytes + 1)->openContent(0);
  std::string bytes(Archive::kVerifiedWholeBytes, '\0');
  EXPECT_EQ(stream->read(bytes.data(), bytes.size()), bytes.size());
  EXPECT_FALSE(stream->isEnd());
  EXPECT_THROW_MESSAGE(stream->read(bytes.data(), 1), InvalidItem, "Item \"a\": wrong CRC");
  EXPECT_FALSE(stream->isEnd());
}

TEST(HostileArchive, LyingSizesAreItemFaults) {
  for (std::size_t const size : {std::size_t{900}, kLong})
    for (std::uint32_t const lie : {static_cast<std::uint32_t>(-1), 1u})
      expectItemFault(oneItem(deflatedItem("a", compressible(size)),
                              [&](RawItem& i) { bothHeaders(i, [&](RawHeader& h) { h.size += lie; }); }),
                      "wrong length");
}

TEST(HostileArchive, StoredSizesMustBeEqual) {
  expectItemFault(
      oneItem(storedItem("a", "alpha"), [](RawItem& i) { bothHeaders(i, [](RawHeader& h) { h.size = 4; }); }),
      "wrong length");
}

TEST(HostileArchive, BytesBehindTheCompressedDataAreItemFaults) {
  for (std::size_t const size : {std::size_t{900}, kLong})
    expectItemFault(oneItem(deflatedItem("a", compressible(size)),
                            [](RawItem& i) {
                              i.data += "x";
                              bothHeaders(i, [](RawHeader& h) { ++h.stored; });
                            }),
                    "bytes left over behind its compressed data");
}

TEST(HostileArchive, DamagedAndCutDataAreItemFaults) {
  for (std::size_t const size : {std::size_t{900}, kLong}) {
    expectItemFault(oneItem(deflatedItem("a", compressible(size)), [](RawItem& i) { i.data[0] = '\xFF'; }),
                    "damaged compressed data");
    auto const cut = openBytes(oneItem(deflatedItem("a", compressible(size)), [](RawItem& i) {
      i.data.pop_back();
      bothHeaders(i, [](RawHeader& h) { --h.stored; });
    }));
    EXPECT_THROW(readAll(*cut->openContent(0)), InvalidItem);
  }
}

TEST(HostileArchive, MuchMoreDataThanDeclaredIsStillVerifiedWhole) {
  // Ten million bytes of empty blocks in front of ten bytes of content.
  std::string data;
  for (int i = 0; i < 2'000'000; ++i) data += std::string("\0\0\0\xFF\xFF", 5);
  data += "\1\5" + std::string(1, '\0') + "\xFA\xFF" + "alpha";
  RawItem item = storedItem("a", "alpha");
  item.data = data;
  bothHeaders(item, [&](RawHeader& h) {
    h.method = 8;
    h.stored = static_cast<std::uint32_t>(data.size());
  });
  EXPECT_EQ(contentOf(*openBytes(RawArchive{{item}}.build()), "a"), "alpha");
  expectItemFault(oneItem(item, [](RawItem& i) { bothHeaders(i, [](RawHeader& h) { h.crc ^= 1; }); }), "wrong CRC");
  expectItemFault(oneItem(item, [](RawItem& i) { bothHeaders(i, [](RawHeader& h) { h.crc = h.size = 0; }); }),
                  "bytes left over behind its compressed data");
}

TEST(HostileArchive, ABombThatDeclaresLittleIsStoppedThere) {
  RawItem const item = deflatedItem("a", std::string(64u << 20, '\0'));
  auto const begin = std::chrono::steady_clock::now();
  expectItemFault(oneItem(item, [](RawItem& i) { bothHeaders(i, [](RawHeader& h) { h.size = 100; }); }),
                  "wrong length");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
}

TEST(HostileArchive, NoMoreThanTheDeclaredBytesAreHandedOut) {
  RawItem item = deflatedItem("a", mixed(kLong + 5000));
  bothHeaders(item, [](RawHeader& h) { h.size = kLong; });
  auto const stream = openBytes(RawArchive{{item}}.build())->openContent(0);
  std::string buffer(4096, '\0');
  std::size_t total = 0;
  EXPECT_THROW(while (!stream->isEnd()) total += stream->read(buffer.data(), buffer.size()), InvalidItem);
  EXPECT_LT(total, kLong);
  EXPECT_THROW(stream->read(buffer.data(), 1), InvalidItem);
  EXPECT_FALSE(stream->isEnd());
  stream->reset();
  EXPECT_EQ(stream->read(buffer.data(), 4096), 4096u);
}

TEST(HostileArchive, AnImpossibleSizeAllocatesNothing) {
  RawItem const item = deflatedItem("a", compressible(1000));
  for (std::uint64_t const size : {std::uint64_t{8} << 20, std::uint64_t{1} << 40, UINT64_MAX >> 1})
    expectItemFault(oneItem(item,
                            [&](RawItem& i) {
                              bothHeaders(i, [&](RawHeader& h) {
                                h.size = 0xFFFFFFFF;
                                h.stored = 0xFFFFFFFF;
                                h.extra = le(1, 2) + le(16, 2) + le(size, 8) + le(i.data.size(), 8);
                              });
                            }),
                    "wrong length");
}

TEST(HostileArchive, NamesAreEscapedInMessages) {
  auto const messageOf = [](std::string const& name) {
    RawItem item = storedItem(name, "alpha");
    item.local.method = item.central.method = 1;
    try {
      openBytes(RawArchive{{item}}.build())->openContent(0);
    } catch (InvalidItem const& thrown) {
      return std::string(thrown.what());
    }
    return std::string();
  };
  EXPECT_EQ(messageOf("a\nb"), "Item \"a\\nb\": unknown compression method 1");
  EXPECT_EQ(messageOf("a\x1B[31m\xFF"), "Item \"a\\x1B[31m\\xFF\": unknown compression method 1");
}

TEST(HostileArchive, NoNameIsReadBehindALocalHeaderThatGrew) {
  RawItem const item = storedItem(std::string(1000, 'n'), "alpha");
  std::string const bytes = RawArchive{{item}}.build();
  auto const archive = openBytes(bytes);
  Entry const entry = archive->entry(0);
  std::vector<unsigned char> const header(bytes.begin(), bytes.begin() + 31);  // what an earlier read said
  EXPECT_THROW_MESSAGE(checkLocalHeader(entry, header.data(), header.size()), InvalidItem,
                       "Item \"" + item.local.name + "\": its local header disagrees with the directory");
}

/// Bytes that say of the first local header's extra field, when first read, that it is longer.
class ChangingBytes final : public RandomAccessBytes {
 public:
  explicit ChangingBytes(std::string bytes) : bytes_(std::move(bytes)) {}
  std::uint64_t size() const override { return bytes_.size(); }
  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    std::string now = bytes_;
    if (offset == 0 && count >= kLocalSize && reads_++ == 0) now.replace(28, 2, le(40'000, 2));
    now.copy(static_cast<char*>(buffer), count, static_cast<std::size_t>(offset));
  }
  int descriptor() const override { return -1; }

 private:
  std::string bytes_;
  mutable int reads_ = 0;
};

TEST(HostileArchive, AFileThatChangesBetweenTwoReadsIsRefused) {
  RawItem item = storedItem("a", "alpha");
  item.behind = std::string(100'000, ' ');  // room for the longer field
  auto const archive = Archive::open(std::make_shared<ChangingBytes>(RawArchive{{item}}.build()));
  EXPECT_THROW_MESSAGE(archive->openContent(0), InvalidItem,
                       "Item \"a\": its local header disagrees with the directory");
}

TEST(HostileArchive, SizesSaidToBeInAMissingZip64FieldAreRefused) {
  RawItem item = streamedItem(storedItem("a", "alpha"), "");
  item.local.stored = item.local.size = 0xFFFFFFFF;
  expectItemFault(RawArchive{{item}}.build(), "its local header disagrees with the directory");
}

/// Claims a directory of 3 GiB for one item.
class HugeDirectory final : public RandomAccessBytes {
 public:
  static constexpr std::uint64_t kDirectory = std::uint64_t{3} << 30;
  std::uint64_t size() const override { return kDirectory + end_.size(); }
  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    ASSERT_LE(count, 1u << 20) << "it reads what nobody needs";
    std::string bytes(count, '\0');
    if (offset + count > kDirectory)
      for (std::size_t i = 0; i < count; ++i)
        if (offset + i >= kDirectory) bytes[i] = end_[static_cast<std::size_t>(offset + i - kDirectory)];
    bytes.copy(static_cast<char*>(buffer), count);
  }
  int descriptor() const override { return -1; }

 private:
  std::string end_ = "PK\5\6" + std::string(4, '\0') + le(1, 2) + le(1, 2) + le(kDirectory, 4) + le(0, 4) + le(0, 2);
};

TEST(HostileArchive, ADirectoryTooLongForItsItemsIsNotAllocated) {
  EXPECT_THROW_MESSAGE(Archive::open(std::make_shared<HugeDirectory>()), InvalidPackage,
                       "Damaged ZIP archive: its directory is not where or what its end record says");
}

}  // namespace
}  // namespace opc::model::zip
