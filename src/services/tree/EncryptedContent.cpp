// SPDX-License-Identifier: Apache-2.0
#include "services/tree/EncryptedContent.hpp"

#include <string>
#include <utility>

#include "crypto/InlineIVCheck.hpp"
#include "crypto/MessageStreams.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/Messages.hpp"

namespace opc::ztservices {
namespace {

constexpr char16_t kMark[] = u"encryption";
constexpr std::uint64_t kSlack = 1024;

static_assert(kLongestEncryptedContent == foundation::crypto::detail::AESGCM::kMaximalContent);

/// Checks the sizes that the container declares, before a byte of the part is read.
void throwIfNoMessage(model::Part const& part) {
  std::uint64_t const size = part.getSize(), storedSize = part.getStoredSize();
  std::u16string const name = part.getName().toString();
  if (isTooLongForEncrypted(size))
    throw model::InvalidItem(
        messages::tooLongToDecrypt(name, size, kLongestEncryptedContent + InlineIVCheck::kLeastBytes));
  if (isTooSmallForEncrypted(storedSize, size))
    throw model::InvalidItem(messages::cannotBeEncrypted(name, storedSize, size));
}

}  // namespace

bool isMarkedEncrypted(model::ContentType const& type) { return type.hasParameter(kMark); }

std::string encryptionOf(model::ContentType const& type) {
  return isMarkedEncrypted(type) ? toASCIIString(type.getParameterValue(kMark)) : std::string();
}

bool isKnownEncryption(std::string const& encryption) {
  return encryption == kEncryptionAlgorithm || encryption == kCompressedEncryption;
}

bool isTooSmallForEncrypted(std::uint64_t storedSize, std::uint64_t size) {
  return size > kSlack && (size - kSlack) / 2 > storedSize;
}

bool isTooLongForEncrypted(std::uint64_t size) { return size > kLongestEncryptedContent + InlineIVCheck::kLeastBytes; }

std::uint64_t decryptedSize(model::Part const& part) {
  constexpr std::uint64_t kOverhead = InlineIVCheck::kLeastBytes;
  std::uint64_t const size = part.getSize();
  bool const isMessage = size >= kOverhead && isKnownEncryption(encryptionOf(part.getContentType()));
  return isMessage ? size - kOverhead : size;
}

std::unique_ptr<IContentSource> decrypted(std::unique_ptr<IContentSource> source,
                                          std::shared_ptr<IDecryptor> const& decryptor, std::string const& name) {
  std::string const encryption = encryptionOf(source->getContentType());
  bool const isCompressed = encryption == kCompressedEncryption;
  auto content = std::make_unique<DecryptionInPieces>(std::move(source), decryptor,
                                                      isCompressed ? kEncryptionAlgorithm : encryption);
  if (!isCompressed) return content;
  return inflated(std::move(content), name);
}

std::unique_ptr<IContentSource> decrypted(model::Part const& part, std::shared_ptr<IDecryptor> const& decryptor,
                                          char const* message) {
  model::ContentType const type = part.getContentType();
  if (!isMarkedEncrypted(type)) return std::make_unique<PartContentSource>(part);
  if (!decryptor) throw CouldNotDecryptContent(message);
  throwIfNoMessage(part);
  return decrypted(std::make_unique<PartContentSource>(part), decryptor, toUTF8String(part.getName().toString()));
}

}  // namespace opc::ztservices
