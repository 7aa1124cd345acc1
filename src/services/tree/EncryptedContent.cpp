// SPDX-License-Identifier: Apache-2.0
#include "services/tree/EncryptedContent.hpp"

#include <string>
#include <utility>

#include "crypto/AESCiphers.hpp"
#include "crypto/CipherTransforms.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "services/tree/Messages.hpp"

namespace opc::ztservices {
namespace {

constexpr char16_t kMark[] = u"encryption";
constexpr std::uint64_t kSlack = 1024;

/// Checks the sizes that the container declares, before a byte of the part is read.
void throwIfNotHoldable(model::Part const& part, std::uint64_t maximumBytes) {
  std::uint64_t const size = part.getSize(), storedSize = part.getStoredSize();
  std::u16string const name = part.getName().toString();
  if (size > maximumBytes) throw model::InvalidItem(messages::tooLargeToHold(name, size, maximumBytes));
  if (isTooSmallForEncrypted(storedSize, size))
    throw model::InvalidItem(messages::cannotBeEncrypted(name, storedSize, size));
}

}  // namespace

bool isMarkedEncrypted(model::ContentType const& type) { return type.hasParameter(kMark); }

bool isTooSmallForEncrypted(std::uint64_t storedSize, std::uint64_t size) {
  return size > kSlack && (size - kSlack) / 2 > storedSize;
}

std::uint64_t decryptedSize(model::Part const& part) {
  using foundation::crypto::detail::AESGCM;
  constexpr std::uint64_t kOverhead = AESGCM::kIVBytes + AESGCM::kTagBytes;
  std::uint64_t const size = part.getSize();
  bool const isMessage =
      size >= kOverhead && toASCIIString(part.getContentType().getParameterValue(kMark)) == kEncryptionAlgorithm;
  return isMessage ? size - kOverhead : size;
}

std::unique_ptr<IContentSource> decrypted(model::Part const& part, std::uint64_t maximumWholeBytes,
                                          std::shared_ptr<IDecryptor> const& decryptor, char const* message) {
  model::ContentType const type = part.getContentType();
  if (!isMarkedEncrypted(type)) return std::make_unique<PartContentSource>(part);
  if (!decryptor) throw CouldNotDecryptContent(message);
  throwIfNotHoldable(part, maximumWholeBytes);
  std::string const algorithm = toASCIIString(type.getParameterValue(kMark));
  return std::make_unique<DecryptionWithInlineIVTransform>(std::make_unique<PartContentSource>(part), decryptor,
                                                           algorithm);
}

}  // namespace opc::ztservices
