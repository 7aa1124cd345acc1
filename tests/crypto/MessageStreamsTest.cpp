// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/IVGenerators.hpp"
#include "crypto/MessageStreams.hpp"
#include "crypto/TransformSamples.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {
namespace {

using namespace crypto_test;

constexpr char kMark[] = "AES256-GCM";
constexpr std::size_t kOverhead = 32;
Bytes const kPrefix(8, 0xA5);

std::shared_ptr<IVGenerator> countedVectors() { return createIVGenerator(IVMode::Deterministic, kPrefix); }

EncryptionInPieces sealing(Bytes const& content, std::string const& mark = kMark) {
  return {sourceOf(content), std::make_shared<CryptoEncryptor>(kKey), mark, countedVectors()};
}

Bytes sealedInPieces(Bytes const& content) {
  auto transform = sealing(content);
  return readAll(transform);
}

Bytes sealedWhole(Bytes const& content) {
  EncryptionWithInlineIVTransform transform(sourceOf(content), std::make_shared<CryptoEncryptor>(kKey), kMark,
                                            countedVectors());
  return readAll(transform);
}

/// Stored bytes that a test changes while they are read.
class StoredBytes final : public IContentSource {
 public:
  explicit StoredBytes(Bytes& bytes) : stream_(bytes) {}
  ContentType getContentType() override { return ContentType(u"text/plain;encryption=AES256-GCM;iv=inline"); }
  InputStream& getInputStream() override { return stream_; }

 private:
  ByteArrayInAdaptor stream_;
};

DecryptionInPieces opening(Bytes& message, std::string const& algorithm = kMark) {
  return {std::make_unique<StoredBytes>(message), std::make_shared<CryptoDecryptor>(kKey), algorithm};
}

/// What comes out of a transform until it throws CouldNotTransformContentData, which it must.
Bytes deliveredUntilFailure(
    DecryptionInPieces& transform, std::function<void()> const& afterOpening = [] {}) {
  Bytes out;
  bool hasFailed = false;
  testing::internal::CaptureStdout();
  try {
    InputStream& stream = transform.getInputStream();
    afterOpening();
    Bytes buffer(4096);
    while (!stream.isEnd()) {
      std::size_t const count = stream.read(buffer.data(), buffer.size());
      out.insert(out.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
    }
  } catch (CouldNotTransformContentData const&) {
    hasFailed = true;
  }
  EXPECT_TRUE(hasFailed);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "An error occurred during decryption:" + std::string(kDamaged) + "\n");
  return out;
}

Bytes const& longContent() {
  static Bytes const content = sampleContent(4 * kMessagePiece + 777);
  return content;
}

Bytes const& longMessage() {
  static Bytes const message = sealedInPieces(longContent());
  return message;
}

/// 64 in a run by hand.
std::size_t randomMiB() {
  char const* const given = std::getenv("ZT_TEST_MESSAGE_MIB");
  return given ? std::stoul(given) : 3;
}

TEST(MessageStreams, SealTheSameBytesAsTheTransformOfWholeContents) {
  for (std::size_t const size :
       {std::size_t{0}, std::size_t{1}, std::size_t{15}, std::size_t{16}, std::size_t{17}, kMessagePiece - 1,
        kMessagePiece, kMessagePiece + 1, 2 * kMessagePiece, 3 * kMessagePiece + 5}) {
    Bytes const content = sampleContent(size);
    EXPECT_TRUE(sealedInPieces(content) == sealedWhole(content)) << size;
  }
}

TEST(MessageStreams, OpenMessagesOfEveryLengthAroundAPiece) {
  for (std::size_t const boundary : {kMessagePiece, 2 * kMessagePiece})
    for (std::size_t size = boundary - kOverhead - 2; size <= boundary + 2; ++size) {
      Bytes const content = sampleContent(size);
      Bytes message = sealedInPieces(content);
      auto transform = opening(message);
      EXPECT_TRUE(readAll(transform) == content) << size;
    }
}

TEST(MessageStreams, DeliverTheSameContentForReadsOfAnySize) {
  Bytes message = longMessage();
  for (std::size_t const step : {std::size_t{15}, std::size_t{4096}, kMessagePiece, 3 * kMessagePiece, SIZE_MAX / 2}) {
    auto transform = opening(message);
    InputStream& stream = transform.getInputStream();
    Bytes out(longContent().size());
    std::size_t size = 0;
    while (!stream.isEnd()) size += stream.read(out.data() + size, std::min(step, out.size() - size));
    EXPECT_EQ(size, out.size());
    EXPECT_TRUE(out == longContent()) << step;
  }
}

TEST(MessageStreams, AnEmptyContentIsAtItsEndAtOnce) {
  Bytes message = sealedInPieces({});
  EXPECT_EQ(message.size(), kOverhead);
  auto transform = opening(message);
  EXPECT_TRUE(transform.getInputStream().isEnd());
  EXPECT_TRUE(readAll(transform).empty());
}

TEST(MessageStreams, MarkTheContentTypeAsTheTransformDoes) {
  auto transform = sealing(sampleContent(3), "AES256-GCM-DEFLATE");
  EXPECT_EQ(transform.getContentType().toString(), u"text/plain;encryption=AES256-GCM-DEFLATE;iv=inline");
  Bytes message = longMessage();
  EXPECT_EQ(opening(message).getContentType().toString(), u"text/plain");
}

TEST(MessageStreams, RefuseEveryTruncationOfASmallMessage) {
  Bytes const message = sealedInPieces(sampleContent(37));
  for (std::size_t size = 0; size < message.size(); ++size) {
    Bytes truncated = front(message, size);
    auto transform = opening(truncated);
    EXPECT_TRUE(deliveredUntilFailure(transform).empty()) << size;
  }
}

TEST(MessageStreams, RefuseEveryFlippedBitOfASmallMessage) {
  Bytes message = sealedInPieces(sampleContent(37));
  for (std::size_t bit = 0; bit < 8 * message.size(); ++bit) {
    message[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    auto transform = opening(message);
    EXPECT_TRUE(deliveredUntilFailure(transform).empty()) << bit;
    message[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
  }
}

TEST(MessageStreams, RefuseRandomTruncationsAndFlippedBitsOfALongMessage) {
  Bytes const message = sealedInPieces(sampleContent(randomMiB() << 20));
  std::mt19937 random(18);
  auto const below = [&](std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(random); };
  for (int i = 0; i < (randomMiB() > 3 ? 1000 : 40); ++i) {
    Bytes changed = message;
    std::size_t const at = below(message.size());
    if (i % 4 == 0)
      changed.resize(at);
    else
      changed[at] ^= static_cast<unsigned char>(1 << below(8));
    auto transform = opening(changed);
    EXPECT_TRUE(deliveredUntilFailure(transform).empty()) << at;
  }
}

/// Bytes of the content that lie in pieces before that one.
std::size_t contentBeforePiece(std::size_t piece) { return piece == 0 ? 0 : piece * kMessagePiece - 16; }

TEST(MessageStreams, DeliverNoByteOfAPieceThatChangesBetweenTheTwoReadings) {
  for (std::size_t piece = 0; piece * kMessagePiece < longMessage().size(); ++piece)
    for (std::size_t const offset : {std::size_t{0}, std::size_t{20}, kMessagePiece - 1}) {
      Bytes message = longMessage();
      auto transform = opening(message);
      std::size_t const at = std::min(piece * kMessagePiece + offset, message.size() - 17);
      Bytes const out = deliveredUntilFailure(transform, [&] { message[at] ^= 1; });
      EXPECT_EQ(out.size(), contentBeforePiece(piece)) << piece << " " << offset;
      EXPECT_TRUE(out == front(longContent(), out.size()));
    }
}

TEST(MessageStreams, DeliverNoByteOfAPieceThatIsCutBetweenTheTwoReadings) {
  for (std::size_t piece = 0; piece * kMessagePiece < longMessage().size(); ++piece) {
    Bytes message = longMessage();
    auto transform = opening(message);
    Bytes const out = deliveredUntilFailure(transform, [&] { message.resize(piece * kMessagePiece + 100); });
    EXPECT_EQ(out.size(), contentBeforePiece(piece)) << piece;
  }
}

TEST(MessageStreams, DeliverNoByteOfAnotherMessageThatTakesThePlaceOfAnAuthenticOne) {
  Bytes message = longMessage();
  Bytes const other = sealedInPieces(behind(longContent(), 1));
  auto transform = opening(message);
  EXPECT_TRUE(
      deliveredUntilFailure(transform, [&] { std::copy(other.begin(), other.end(), message.begin()); }).empty());
}

TEST(MessageStreams, ReadsBehindAChangedPieceFailTooUntilReset) {
  Bytes message = longMessage();
  auto transform = opening(message);
  InputStream& stream = transform.getInputStream();
  message[kMessagePiece + 5] ^= 1;
  Bytes out(longContent().size());
  testing::internal::CaptureStdout();
  std::size_t const first = stream.read(out.data(), kMessagePiece);
  EXPECT_EQ(first, kMessagePiece - 16);
  EXPECT_THROW(stream.read(out.data(), 1), CouldNotTransformContentData);
  EXPECT_THROW(stream.read(out.data(), 1), CouldNotTransformContentData);
  testing::internal::GetCapturedStdout();
  message[kMessagePiece + 5] ^= 1;
  stream.clear();
  stream.reset();
  EXPECT_TRUE(readAll(transform) == longContent());
}

TEST(MessageStreams, AnOpenedContentCanBeReadAgain) {
  Bytes message = longMessage();
  auto transform = opening(message);
  EXPECT_TRUE(readAll(transform) == longContent());
  transform.getInputStream().clear();
  transform.getInputStream().reset();
  EXPECT_TRUE(readAll(transform) == longContent());
}

TEST(MessageStreams, AMessageThatIsSealedCannotBeReadAgain) {
  auto transform = sealing(sampleContent(3));
  EXPECT_THROW(transform.getInputStream().reset(), StreamError);
}

TEST(MessageStreams, NameAnUnknownAlgorithm) {
  Bytes message = longMessage();
  auto transform = opening(message, "aes256-gcm");
  testing::internal::CaptureStdout();
  EXPECT_THROW(transform.getInputStream(), CouldNotTransformContentData);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "An error occurred during decryption:Unsupported decryption type and mode.\n");
}

/// Fails after so many bytes.
class FailingSource final : public IContentSource, public InputStream {
 public:
  explicit FailingSource(std::size_t bytes) : left_(bytes) {}
  ContentType getContentType() override { return ContentType(u"text/plain"); }
  InputStream& getInputStream() override { return *this; }
  void reset() override {}
  std::size_t read(void* buffer, std::size_t count) override {
    if (left_ == 0) throw StreamError("The disk failed");
    count = std::min(count, left_);
    std::fill_n(static_cast<unsigned char*>(buffer), count, static_cast<unsigned char>(7));
    left_ -= count;
    return count;
  }
  bool isEnd() override { return false; }
  void clear() override {}

 private:
  std::size_t left_;
};

TEST(MessageStreams, PassOnWhatTheWrappedStreamThrows) {
  for (std::size_t const size : {std::size_t{10}, 2 * kMessagePiece}) {
    DecryptionInPieces decryption(std::make_unique<FailingSource>(size), std::make_shared<CryptoDecryptor>(kKey),
                                  kMark);
    EXPECT_THROW_MESSAGE(decryption.getInputStream(), StreamError, "The disk failed");
    EncryptionInPieces encryption(std::make_unique<FailingSource>(size), std::make_shared<CryptoEncryptor>(kKey), kMark,
                                  countedVectors());
    EXPECT_THROW_MESSAGE(readAll(encryption), StreamError, "The disk failed");
  }
}

TEST(MessageStreams, NothingIsSealedBehindAGap) {
  EncryptionInPieces encryption(std::make_unique<FailingSource>(10), std::make_shared<CryptoEncryptor>(kKey), kMark,
                                countedVectors());
  unsigned char byte = 0;
  EXPECT_THROW(encryption.getInputStream().read(&byte, 1), StreamError);
  EXPECT_THROW(encryption.getInputStream().read(&byte, 1), CouldNotTransformContentData);
}

TEST(MessageStreams, AContentThatCannotBeReadTakesNoVector) {
  auto const vectors = countedVectors();
  auto const encryptor = std::make_shared<CryptoEncryptor>(kKey);
  EncryptionInPieces failing(std::make_unique<FailingSource>(10), encryptor, kMark, vectors);
  EXPECT_THROW(readAll(failing), StreamError);
  EncryptionInPieces next(sourceOf(sampleContent(3)), encryptor, kMark, vectors);
  EXPECT_EQ(readAll(next), sealedInPieces(sampleContent(3)));
}

TEST(MessageStreams, SeveralThreadsOpenMessagesWithOneDecryptor) {
  auto const decryptor = std::make_shared<CryptoDecryptor>(kKey);
  std::vector<std::thread> threads;
  std::vector<int> isRight(4);
  Bytes const small = sealedInPieces(sampleContent(1000));
  for (int& right : isRight)
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) {
        Bytes message = i % 25 == 0 ? longMessage() : small;
        DecryptionInPieces transform(std::make_unique<StoredBytes>(message), decryptor, kMark);
        right += readAll(transform) == (i % 25 == 0 ? longContent() : sampleContent(1000));
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(isRight, std::vector<int>(4, 50));
}

}  // namespace
}  // namespace opc::ztservices
