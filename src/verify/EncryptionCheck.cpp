// SPDX-License-Identifier: Apache-2.0
#include "verify/EncryptionCheck.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "crypto/AESCiphers.hpp"
#include "crypto/CryptoInterfaces.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "text/Narrow.hpp"

namespace opc::ztservices {
namespace {

using Bytes = std::vector<unsigned char>;

/// Reads bytes that it owns.
class BytesStream final : public InputStream {
 public:
  explicit BytesStream(Bytes bytes) : bytes_(std::move(bytes)), input_(bytes_) {}
  void reset() override { input_.reset(); }
  std::size_t read(void* buffer, std::size_t count) override { return input_.read(buffer, count); }
  bool isEnd() override { return input_.isEnd(); }
  void clear() override { input_.clear(); }

 private:
  Bytes bytes_;
  ByteArrayInAdaptor input_;
};

bool isOfOurAlgorithm(CheckedPart const& part) {
  return part.type->value->getParameterValue(u"encryption") == toString(kEncryptionAlgorithm);
}

}  // namespace

EncryptionCheck::EncryptionCheck(PackageCheck const& package, Bytes const* key)
    : package_(package), isAuthentic_(package.parts().size()) {
  if (!key) return;
  key_.emplace(*key);
  message_.emplace(*key_);
  partOf_.assign(package.itemCount(), kNone);
  for (CheckedPart const& part : package.parts())
    if (isEncrypted(part) && isOfOurAlgorithm(part) && part.items().size() == 1)
      partOf_[part.item] = static_cast<std::uint32_t>(numberOf(part));
}

void EncryptionCheck::take(std::size_t item, std::span<unsigned char const> bytes) {
  if (partOf_.empty() || partOf_[item] == kNone) return;
  if (item_ != item) message_->begin();
  item_ = static_cast<std::uint32_t>(item);
  message_->append(bytes);
}

void EncryptionCheck::finish(std::size_t item, bool isSound) {
  if (item_ == item && isSound) isAuthentic_[partOf_[item]] = message_->isAuthentic();
}

void EncryptionCheck::finishPieces() {
  if (!key_) return;
  for (CheckedPart const& part : package_.parts())
    if (part.items().size() > 1 && isEncrypted(part) && isOfOurAlgorithm(part) && package_.isSound(part))
      isAuthentic_[numberOf(part)] = isAuthenticInPieces(part);
}

bool EncryptionCheck::isAuthenticInPieces(CheckedPart const& part) {
  message_->begin();
  package_.read(part, [this](std::span<unsigned char const> bytes) { message_->append(bytes); });
  return message_->isAuthentic();
}

bool EncryptionCheck::isEncrypted(CheckedPart const& part) {
  return part.type && part.type->value && isMarkedEncrypted(*part.type->value);
}

std::uint64_t EncryptionCheck::countEncrypted() const {
  return static_cast<std::uint64_t>(std::ranges::count_if(package_.parts(), isEncrypted));
}

std::uint64_t EncryptionCheck::countAuthentic() const {
  return static_cast<std::uint64_t>(std::ranges::count(isAuthentic_, true));
}

std::unique_ptr<InputStream> EncryptionCheck::open(CheckedPart const& part) const {
  constexpr std::size_t kIVBytes = foundation::crypto::detail::AESGCM::kIVBytes;
  Bytes stored, content;
  stored.reserve(narrow<std::size_t>(package_.sizeOf(part)));
  package_.read(part,
                [&](std::span<unsigned char const> bytes) { stored.insert(stored.end(), bytes.begin(), bytes.end()); });
  std::span<unsigned char const> const message(stored);
  foundation::crypto::AESDecryptor(*key_, message.first(kIVBytes)).append(message.subspan(kIVBytes), content);
  return std::make_unique<BytesStream>(std::move(content));
}

std::size_t EncryptionCheck::numberOf(CheckedPart const& part) const {
  return static_cast<std::size_t>(&part - package_.parts().data());
}

}  // namespace opc::ztservices
