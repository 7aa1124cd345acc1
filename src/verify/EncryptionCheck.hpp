// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "crypto/CryptoAdapters.hpp"
#include "crypto/CryptoInterfaces.hpp"
#include "crypto/InlineIVCheck.hpp"
#include "opc/Streams.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "verify/PackageCheck.hpp"

namespace opc::ztservices {

/// Finds the parts of a package that are encrypted, and those that are authentic under a key. It works while the items
/// are read, so that nothing is held, and nothing but parts in pieces is read twice.
class EncryptionCheck {
 public:
  /// The package is identified. Without a key nothing is authentic. Throws CryptoError for one that is not of 32 bytes,
  /// which the destructor wipes.
  EncryptionCheck(PackageCheck const& package, std::vector<unsigned char> const* key);

  /// Called by zip::Reader::readItems(), item by item.
  void take(std::size_t item, std::span<unsigned char const> bytes);
  void finish(std::size_t item, bool isSound);
  /// When all items are read.
  void finishPieces();

  bool hasKey() const { return decryptor_ != nullptr; }
  static bool isEncrypted(CheckedPart const& part);
  static bool isTooShort(std::uint64_t size) { return size < InlineIVCheck::kLeastBytes; }
  bool isAuthentic(CheckedPart const& part) const { return isAuthentic_[numberOf(part)]; }
  std::uint64_t countEncrypted() const;
  std::uint64_t countAuthentic() const;
  /// The content of a part that is authentic.
  std::unique_ptr<InputStream> open(CheckedPart const& part) const;
  /// The names that such a manifest leaves out; empty for one that leaves none out.
  UsualNames namesLeftOut(CheckedPart const& manifest) const;

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  std::size_t numberOf(CheckedPart const& part) const;
  bool isAuthenticInPieces(CheckedPart const& part);

  PackageCheck const& package_;
  std::shared_ptr<IDecryptor> decryptor_;      // null without a key, as is
  std::shared_ptr<CryptoDigestEngine> names_;  // this one, which names contents
  std::optional<InlineIVCheck> message_;
  std::uint32_t item_ = kNone;         // whose bytes the message has
  std::vector<std::uint32_t> partOf_;  // of each item that is an encrypted part: its number; none without a key
  std::vector<bool> isAuthentic_;      // of each part
};

}  // namespace opc::ztservices
