// SPDX-License-Identifier: Apache-2.0
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "container/ChunkIndex.hpp"
#include "container/ChunkedStream.hpp"
#include "container/Deflate.hpp"
#include "container/ItemStream.hpp"
#include "container/ZipFormat.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

constexpr std::size_t kOneChunk = ChunkIndex::kChunkSize;

std::uint32_t crcOfText(std::string const& text) { return crcOf(0, text.data(), text.size()); }

/// A content in chunks, as they are stored.
struct Chunked {
  std::string content;
  std::string stored;
  ChunkIndex index{};
  ItemFacts facts{};

  StoredBytes source() const {
    return [bytes = stored](std::uint64_t offset, void* to, std::size_t count) {
      std::copy_n(bytes.data() + offset, count, static_cast<char*>(to));
    };
  }
  std::unique_ptr<InputStream> open(std::uint64_t offset = 0, std::size_t threads = 0) const {
    return openChunks(facts, index, source(), offset, threads);
  }
};

Chunked inChunks(std::string content, Effort effort = Effort::Default) {
  Chunked made{std::move(content), {}};
  for (std::size_t at = 0; at < made.content.size(); at += kOneChunk) {
    std::string const chunk = made.content.substr(at, kOneChunk);
    bool const last = at + kOneChunk >= made.content.size();
    Buffer const deflated = deflateChunk(effort, chunk.data(), chunk.size(), last);
    made.stored.append(reinterpret_cast<char const*>(deflated.data.get()), deflated.size);
    made.index.add(static_cast<std::uint32_t>(deflated.size), crcOfText(chunk),
                   static_cast<std::uint32_t>(chunk.size()));
  }
  made.facts = {"/part", kDeflated, made.stored.size(), made.content.size(), crcOfText(made.content)};
  return made;
}

std::string inflatedByZlib(std::string stored, std::size_t size) {
  std::string content(size + 1, '\0');
  z_stream stream{};
  EXPECT_EQ(inflateInit2(&stream, -MAX_WBITS), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(stored.data());
  stream.avail_in = static_cast<uInt>(stored.size());
  stream.next_out = reinterpret_cast<Bytef*>(content.data());
  stream.avail_out = static_cast<uInt>(content.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0u);
  content.resize(content.size() - stream.avail_out);
  inflateEnd(&stream);
  return content;
}

std::string readAll(InputStream& stream, std::size_t step = 100'000) {
  std::string all, part(step, '\0');
  while (std::size_t const count = stream.read(part.data(), step)) all.append(part, 0, count);
  return all;
}

TEST(Chunks, AreOneDeflateStreamBehindEachOther) {
  std::string zeros(2 * kOneChunk + 7, '\0');
  for (auto const& content : {compressible(3 * kOneChunk + 5), incompressible(2 * kOneChunk + 1), mixed(4 * kOneChunk),
                              zeros, compressible(kOneChunk), compressible(10)})
    for (Effort const effort : {Effort::Store, Effort::Fast, Effort::Default, Effort::Small}) {
      Chunked const chunked = inChunks(content, effort);
      EXPECT_TRUE(inflatedByZlib(chunked.stored, content.size()) == content) << content.size();
      EXPECT_TRUE(readAll(*chunked.open()) == content) << content.size();
    }
}

// What precedes the end of a chunk decides at which bit it ends.
TEST(Chunks, EndOnAByteWhateverBitTheirLastBlockEndsAt) {
  for (std::size_t size = 1; size < 300; ++size) {
    std::string const content = mixed(size) + compressible(size % 7);
    Buffer const first = deflateChunk(Effort::Default, content.data(), content.size(), false);
    Buffer const last = deflateChunk(Effort::Default, content.data(), content.size(), true);
    std::string stored(reinterpret_cast<char const*>(first.data.get()), first.size);
    stored.append(reinterpret_cast<char const*>(last.data.get()), last.size);
    ASSERT_TRUE(inflatedByZlib(stored, 2 * content.size()) == content + content) << size;
  }
}

TEST(ChunkIndex, ComesBackFromItsField) {
  Chunked const chunked = inChunks(mixed(3 * kOneChunk + 17));
  auto const index = ChunkIndex::fromField(chunked.index.toField(), chunked.stored.size(), chunked.content.size());
  ASSERT_TRUE(index);
  EXPECT_EQ(index->toField(), chunked.index.toField());
  for (std::size_t const offset : {std::size_t{0}, kOneChunk - 1, kOneChunk, 3 * kOneChunk + 16}) {
    auto const chunk = index->chunkAt(offset), expected = chunked.index.chunkAt(offset);
    EXPECT_EQ(chunk.begin, offset / kOneChunk * kOneChunk);
    EXPECT_EQ(chunk.storedBegin, expected.storedBegin);
    EXPECT_EQ(chunk.storedSize, expected.storedSize);
    EXPECT_EQ(chunk.size, expected.size);
    EXPECT_EQ(chunk.crc, expected.crc);
  }
}

TEST(ChunkIndex, JoinsNeighboursBeforeItsFieldIsTooLong) {
  constexpr std::size_t kCount = 2 * ChunkIndex::kMostChunks + 3;
  constexpr std::uint32_t kSize = 16;
  ChunkIndex index(kSize);
  std::string content, stored;
  for (std::size_t i = 0; i < kCount; ++i) {
    std::string const chunk = incompressible(i + 1 == kCount ? 5 : kSize, static_cast<std::uint32_t>(i));
    index.add(static_cast<std::uint32_t>(chunk.size()), crcOfText(chunk), static_cast<std::uint32_t>(chunk.size()));
    content += chunk;
  }
  EXPECT_LE(index.toField().size(), 0xFFFFu - 100);
  EXPECT_EQ(index.chunkSize(), 4 * kSize);
  auto const read = ChunkIndex::fromField(index.toField(), content.size(), content.size());
  ASSERT_TRUE(read);
  for (std::uint64_t offset = 0; offset < content.size(); offset += index.chunkSize()) {
    auto const chunk = read->chunkAt(offset);
    ASSERT_EQ(chunk.crc, crcOfText(content.substr(static_cast<std::size_t>(chunk.begin), chunk.size))) << offset;
    ASSERT_EQ(chunk.storedBegin, chunk.begin);
    ASSERT_EQ(chunk.storedSize, chunk.size);
  }
}

TEST(ChunkIndex, IsNotTakenFromAFieldThatDoesNotFitTheItem) {
  Chunked const chunked = inChunks(mixed(3 * kOneChunk + 17));
  std::string const field = chunked.index.toField();
  std::uint64_t const stored = chunked.stored.size(), size = chunked.content.size();
  auto const isTaken = [&](std::string const& changed) {
    return ChunkIndex::fromField(changed, stored, size).has_value();
  };
  auto const with = [&](std::size_t at, char value) {
    std::string changed = field;
    changed[at] = value;
    return changed;
  };
  ASSERT_TRUE(isTaken(field));
  EXPECT_FALSE(isTaken(""));
  EXPECT_FALSE(isTaken(with(0, 2))) << "another version";
  EXPECT_FALSE(isTaken(with(5, '\x7F'))) << "another size of chunks";
  EXPECT_FALSE(isTaken(field.substr(0, 2) + std::string(4, '\0') + field.substr(6))) << "chunks of no bytes";
  EXPECT_FALSE(isTaken(field.substr(0, field.size() - 1)));
  EXPECT_FALSE(isTaken(field.substr(0, field.size() - 8)));
  EXPECT_FALSE(isTaken(field + field.substr(6, 8)));
  EXPECT_FALSE(isTaken(with(6, static_cast<char>(field[6] ^ 1)))) << "stored sizes that do not add up";
  EXPECT_FALSE(ChunkIndex::fromField(field, stored + 1, size));
  EXPECT_FALSE(ChunkIndex::fromField(field, stored, size + kOneChunk));
  EXPECT_FALSE(ChunkIndex::fromField(field, stored, 0));
}

/// With that many threads.
class ChunkedStream : public testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(OfAnItem, ChunkedStream, testing::Values(0, 1, 3),
                         [](auto const& threads) { return "Threads" + std::to_string(threads.param); });

TEST_P(ChunkedStream, ReadsFromAnywhere) {
  Chunked const chunked = inChunks(mixed(3 * kOneChunk + 17));
  for (std::size_t const offset : {std::size_t{0}, std::size_t{1}, kOneChunk - 1, kOneChunk, 2 * kOneChunk + 5,
                                   3 * kOneChunk + 16, chunked.content.size()})
    EXPECT_TRUE(readAll(*chunked.open(offset, GetParam())) == chunked.content.substr(offset)) << offset;
  EXPECT_TRUE(chunked.open(chunked.content.size())->isEnd());
}

TEST_P(ChunkedStream, BeginsAgainAfterReset) {
  Chunked const chunked = inChunks(compressible(2 * kOneChunk + 17));
  auto const stream = chunked.open(0, GetParam());
  EXPECT_TRUE(readAll(*stream, kOneChunk + 1) == chunked.content);
  stream->reset();
  EXPECT_FALSE(stream->isEnd());
  EXPECT_TRUE(readAll(*stream, 4096) == chunked.content);
}

TEST(ChunkedStreamAlone, ReadsOnlyTheChunksThatItNeeds) {
  Chunked const chunked = inChunks(mixed(8 * kOneChunk));
  std::size_t read = 0;
  auto const stream = openChunks(
      chunked.facts, chunked.index,
      [&, source = chunked.source()](std::uint64_t offset, void* to, std::size_t count) {
        read += count;
        source(offset, to, count);
      },
      5 * kOneChunk + 100);
  char bytes[4096];
  EXPECT_EQ(stream->read(bytes, sizeof bytes), sizeof bytes);
  EXPECT_LE(read, chunked.index.chunkAt(5 * kOneChunk).storedSize);
}

TEST_P(ChunkedStream, HandsOutNothingOfADamagedChunk) {
  Chunked chunked = inChunks(mixed(3 * kOneChunk));
  chunked.stored[static_cast<std::size_t>(chunked.index.chunkAt(kOneChunk).storedBegin) + 1000] ^= 1;
  auto const stream = chunked.open(0, GetParam());
  std::string bytes(kOneChunk, '\0');
  EXPECT_EQ(stream->read(bytes.data(), bytes.size()), bytes.size());
  EXPECT_TRUE(bytes == chunked.content.substr(0, kOneChunk));
  char next;
  EXPECT_THROW(stream->read(&next, 1), InvalidItem);
  EXPECT_THROW(stream->read(&next, 1), InvalidItem);
  EXPECT_FALSE(stream->isEnd());
  EXPECT_TRUE(readAll(*chunked.open(2 * kOneChunk, GetParam())) == chunked.content.substr(2 * kOneChunk));
}

TEST_P(ChunkedStream, HoldsTheWholeAgainstItsCrcBeforeItsLastChunk) {
  Chunked chunked = inChunks(compressible(2 * kOneChunk));
  chunked.facts.crc ^= 1;
  auto const stream = chunked.open(0, GetParam());
  std::string bytes(kOneChunk, '\0');
  EXPECT_EQ(stream->read(bytes.data(), bytes.size()), bytes.size());
  EXPECT_THROW(stream->read(bytes.data(), 1), InvalidItem);
}

TEST_P(ChunkedStream, RefusesChunksOfAForgedIndex) {
  Chunked chunked = inChunks(mixed(3 * kOneChunk));
  std::string field = chunked.index.toField();
  field[6] = static_cast<char>(field[6] + 1);    // the first chunk longer by a byte,
  field[14] = static_cast<char>(field[14] - 1);  // the second shorter
  auto const forged = ChunkIndex::fromField(field, chunked.stored.size(), chunked.content.size());
  ASSERT_TRUE(forged);
  chunked.index = *forged;
  char bytes[16];
  EXPECT_THROW(chunked.open(0, GetParam())->read(bytes, sizeof bytes), InvalidItem);
  EXPECT_THROW(chunked.open(kOneChunk, GetParam())->read(bytes, sizeof bytes), InvalidItem);
}

}  // namespace
}  // namespace opc::model::zip
