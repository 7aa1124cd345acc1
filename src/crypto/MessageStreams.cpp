// SPDX-License-Identifier: Apache-2.0
#include "crypto/MessageStreams.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "crypto/AESCiphers.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/Digests.hpp"
#include "crypto/InlineIVCheck.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::AESKey;
using foundation::crypto::Sha256;
using foundation::crypto::detail::AESGCM;
using Bytes = std::vector<unsigned char>;

/// Bytes of a piece that wait to be delivered.
class Pending {
 public:
  bool isEmpty() const { return from_ == to_; }
  void set(std::size_t from, std::size_t to) {
    from_ = from;
    to_ = to;
  }
  std::size_t deliver(Bytes const& piece, void* buffer, std::size_t count) {
    count = std::min(count, to_ - from_);
    if (count > 0) std::memcpy(buffer, piece.data() + from_, count);
    from_ += count;
    return count;
  }

 private:
  std::size_t from_ = 0;
  std::size_t to_ = 0;
};

/// The message of a content.
class SealingStream final : public InputStream {
 public:
  using Fail = std::function<void()>;

  /// `fail` throws.
  SealingStream(InputStream& content, AESKey key, IVGenerator& ivGenerator, Fail fail)
      : content_(content), key_(std::move(key)), ivGenerator_(ivGenerator), fail_(std::move(fail)) {}

  void reset() override { throw StreamError("A message that is being encrypted cannot be read again"); }
  std::size_t read(void* buffer, std::size_t count) override {
    if (pending_.isEmpty() && !isSealed_) nextPiece();
    return pending_.deliver(piece_, buffer, count);
  }
  bool isEnd() override { return isSealed_ && pending_.isEmpty(); }
  void clear() override {}

 private:
  /// The first piece begins with the vector, the last one ends with the tag. A message with a gap must not be sealed,
  /// so that reads after a failure fail too.
  void nextPiece() {
    if (std::exchange(hasFailed_, true)) return fail_();
    std::size_t const ivBytes = hasBegun_ ? 0 : AESGCM::kIVBytes;
    pending_.set(0, 0);
    piece_.resize(ivBytes);
    readPiece(content_, piece_, ivBytes + kMessagePiece);
    bool const isLast = content_.isEnd();
    if (!encryptInlineOrReport([&] { seal(ivBytes, isLast); })) fail_();
    hasFailed_ = false;
    hasBegun_ = true;
    isSealed_ = isLast;
    pending_.set(0, piece_.size());
  }

  void seal(std::size_t ivBytes, bool isLast) {
    AESGCM& cipher = key_.cipher();
    if (ivBytes > 0) {
      Bytes const iv = ivGenerator_.generate();
      cipher.beginSealing(iv);
      std::copy(iv.begin(), iv.end(), piece_.begin());
    }
    cipher.continueSealing(std::span(piece_).subspan(ivBytes));
    if (!isLast) return;
    piece_.resize(piece_.size() + AESGCM::kTagBytes);
    cipher.endSealing(std::span(piece_).last<AESGCM::kTagBytes>());
  }

  InputStream& content_;
  AESKey key_;
  IVGenerator& ivGenerator_;
  Fail fail_;
  Bytes piece_{};
  Pending pending_{};
  bool hasBegun_ = false;
  bool isSealed_ = false;
  bool hasFailed_ = false;
};

/// The content of a message that fits a piece.
class HeldContent final : public InputStream {
 public:
  explicit HeldContent(Bytes content) : content_(std::move(content)), stream_(content_) {}

  void reset() override { stream_.reset(); }
  std::size_t read(void* buffer, std::size_t count) override { return stream_.read(buffer, count); }
  bool isEnd() override { return stream_.isEnd(); }
  void clear() override { stream_.clear(); }

 private:
  Bytes content_;
  ByteArrayInAdaptor stream_;
};

void requireAuthentic(bool isAuthentic) {
  if (!isAuthentic) throw foundation::crypto::utils::CouldNotDecrypt();
}

/// What the first reading of a long message has found.
struct Authenticated {
  std::array<unsigned char, AESGCM::kIVBytes> iv{};
  std::vector<Sha256::Digest> pieces{};  // digests of the stored bytes
  std::uint64_t storedSize = 0;
  bool isAuthentic = false;
};

/// The content of a long message that has been authenticated. No digest fits a piece that was changed since.
class OpeningStream final : public InputStream {
 public:
  using Fail = std::function<void()>;

  /// `fail` throws.
  OpeningStream(InputStream& message, AESKey key, Authenticated facts, Fail fail)
      : message_(message), key_(std::move(key)), facts_(std::move(facts)), fail_(std::move(fail)) {
    reset();
  }

  void reset() override {
    pending_.set(0, 0);
    number_ = 0;
    hasFailed_ = false;
    delivered_ = 0;
    message_.clear();
    message_.reset();
    key_.cipher().beginOpening(facts_.iv);
  }
  std::size_t read(void* buffer, std::size_t count) override {
    if (count == 0 || isEnd()) return 0;
    if (pending_.isEmpty()) nextPiece();
    std::size_t const delivered = pending_.deliver(piece_, buffer, count);
    delivered_ += delivered;
    return delivered;
  }
  bool isEnd() override { return delivered_ == contentSize(); }
  void clear() override {}

 private:
  std::uint64_t contentSize() const { return facts_.storedSize - InlineIVCheck::kLeastBytes; }

  /// Until a piece is known to be unchanged, the next read fails too.
  void nextPiece() {
    if (std::exchange(hasFailed_, true)) return fail_();
    piece_.clear();
    readPiece(message_, piece_, kMessagePiece);
    if (!decryptInlineOrReport([&] { open(); })) fail_();
    hasFailed_ = false;
    ++number_;
  }

  void open() {
    digest_.update(piece_.data(), piece_.size());
    requireAuthentic(digest_.finish() == facts_.pieces.at(number_));
    std::size_t const begin = number_ == 0 ? AESGCM::kIVBytes : 0;
    auto const size = static_cast<std::size_t>(
        std::min<std::uint64_t>(piece_.size() - begin, contentSize() - delivered_));  // without the tag
    key_.cipher().continueOpening(std::span(piece_).subspan(begin, size));
    pending_.set(begin, begin + size);
  }

  InputStream& message_;
  AESKey key_;
  Authenticated facts_;
  Fail fail_;
  Sha256 digest_{};
  Bytes piece_{};
  Pending pending_{};
  std::size_t number_ = 0;       // of the next piece
  std::uint64_t delivered_ = 0;  // bytes of the content
  bool hasFailed_ = false;
};

/// Reads the rest of a message behind its first piece.
Authenticated authenticate(InputStream& message, Bytes piece, AESKey const& key) {
  Authenticated facts;
  std::copy_n(piece.begin(), facts.iv.size(), facts.iv.begin());
  InlineIVCheck check(key);
  Sha256 digest;
  check.begin();
  while (!piece.empty()) {
    check.append(piece);
    digest.update(piece.data(), piece.size());
    facts.pieces.push_back(digest.finish());
    facts.storedSize += piece.size();
    piece.clear();
    readPiece(message, piece, kMessagePiece);
  }
  facts.isAuthentic = check.isAuthentic();
  return facts;
}

Bytes openWhole(Bytes const& message, AESKey const& key) {
  std::span<unsigned char const> const bytes(message);
  std::size_t const ivBytes = std::min(bytes.size(), AESGCM::kIVBytes);
  Bytes content;
  key.cipher().open(bytes.first(ivBytes), bytes.subspan(ivBytes), content, 0);
  return content;
}

}  // namespace

void readPiece(InputStream& from, Bytes& piece, std::size_t most) {
  constexpr std::size_t kLeastRead = std::size_t{1} << 14;
  while (piece.size() < most && !from.isEnd()) {
    std::size_t size = piece.size();
    piece.resize(std::min(most, std::max(2 * size, kLeastRead)));
    while (size < piece.size() && !from.isEnd()) size += from.read(piece.data() + size, piece.size() - size);
    piece.resize(size);
  }
}

EncryptionInPieces::EncryptionInPieces(std::unique_ptr<IContentSource> source, std::shared_ptr<IEncryptor> encryptor,
                                       std::string mark, std::shared_ptr<IVGenerator> ivGenerator)
    : EncryptionWithInlineIVTransform(std::move(source), std::move(encryptor), std::move(mark),
                                      std::move(ivGenerator)) {}

EncryptionInPieces::~EncryptionInPieces() = default;

InputStream& EncryptionInPieces::getInputStream() {
  if (!stream_)
    stream_ = std::make_unique<SealingStream>(getSource().getInputStream(), encryptor().getKey(kEncryptionAlgorithm),
                                              ivGenerator(), [this] { throwCouldNotTransformData(); });
  return *stream_;
}

DecryptionInPieces::DecryptionInPieces(std::unique_ptr<IContentSource> source, std::shared_ptr<IDecryptor> decryptor,
                                       std::string algorithm)
    : DecryptionWithInlineIVTransform(std::move(source), std::move(decryptor), std::move(algorithm)) {}

DecryptionInPieces::~DecryptionInPieces() = default;

// Exceptions of the wrapped stream pass unchanged: they do not mean that the key is wrong.
InputStream& DecryptionInPieces::getInputStream() {
  if (stream_) return *stream_;
  InputStream& message = getSource().getInputStream();
  Bytes piece;
  readPiece(message, piece, kMessagePiece);
  std::optional<AESKey> key;
  auto const orFail = [this](std::function<void()> const& decrypt) {
    if (!decryptInlineOrReport(decrypt)) throwCouldNotTransformData();
  };
  orFail([&] { key = decryptor().getKey(algorithm()); });
  if (message.isEnd()) {
    orFail([&] { stream_ = std::make_unique<HeldContent>(openWhole(piece, *key)); });
    return *stream_;
  }
  Authenticated facts = authenticate(message, std::move(piece), *key);
  orFail([&] { requireAuthentic(facts.isAuthentic); });
  stream_ = std::make_unique<OpeningStream>(message, *key, std::move(facts), [this] { throwCouldNotTransformData(); });
  return *stream_;
}

}  // namespace opc::ztservices
