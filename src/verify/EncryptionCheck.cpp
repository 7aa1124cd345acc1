// SPDX-License-Identifier: Apache-2.0
#include "verify/EncryptionCheck.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "crypto/CryptoAdapters.hpp"
#include "crypto/CryptoInterfaces.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "text/Narrow.hpp"

namespace opc::ztservices {
namespace {

using Bytes = std::vector<unsigned char>;

/// The stored bytes of a part.
class StoredPart final : public IContentSource {
 public:
  StoredPart(model::ContentType type, std::unique_ptr<InputStream> stream)
      : type_(std::move(type)), stream_(std::move(stream)) {}
  model::ContentType getContentType() override { return type_; }
  InputStream& getInputStream() override { return *stream_; }

 private:
  model::ContentType type_;
  std::unique_ptr<InputStream> stream_;
};

/// The stream of a source that it owns.
class OwningStream final : public InputStream {
 public:
  explicit OwningStream(std::unique_ptr<IContentSource> source)
      : source_(std::move(source)), stream_(source_->getInputStream()) {}
  void reset() override { stream_.reset(); }
  std::size_t read(void* buffer, std::size_t count) override { return stream_.read(buffer, count); }
  bool isEnd() override { return stream_.isEnd(); }
  void clear() override { stream_.clear(); }

 private:
  std::unique_ptr<IContentSource> source_;
  InputStream& stream_;
};

bool isOfOurAlgorithm(CheckedPart const& part) { return isKnownEncryption(encryptionOf(*part.type->value)); }

}  // namespace

EncryptionCheck::EncryptionCheck(PackageCheck const& package, Bytes const* key)
    : package_(package), isAuthentic_(package.parts().size()) {
  if (!key) return;
  decryptor_ = std::make_shared<CryptoDecryptor>(*key);
  names_ = std::make_shared<CryptoDigestEngine>(*key);
  names_->initialize(kDigestAlgorithm);
  message_.emplace(decryptor_->getKey(kEncryptionAlgorithm));
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
  if (!decryptor_) return;
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
  auto stored = std::make_unique<StoredPart>(*part.type->value, package_.open(part));
  return std::make_unique<OwningStream>(decrypted(std::move(stored), decryptor_, part.name()));
}

UsualNames EncryptionCheck::namesLeftOut(CheckedPart const& manifest) const {
  bool const leavesOut = names_ && isEncrypted(manifest) && isMarkedCompressed(*manifest.type->value);
  return leavesOut ? contentNames(names_) : UsualNames();
}

std::size_t EncryptionCheck::numberOf(CheckedPart const& part) const {
  return static_cast<std::size_t>(&part - package_.parts().data());
}

}  // namespace opc::ztservices
