// SPDX-License-Identifier: Apache-2.0
#include "services/tree/EncryptedContent.hpp"

#include <string>
#include <utility>
#include <vector>

#include "container/ItemStream.hpp"
#include "container/ZipFormat.hpp"
#include "crypto/Encodings.hpp"
#include "crypto/InlineIVCheck.hpp"
#include "crypto/MessageStreams.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/URI.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/Messages.hpp"

namespace opc::ztservices {
namespace {

constexpr char16_t kMark[] = u"encryption";
constexpr char16_t kContentRoot[] = u"/fsroot";
constexpr char kUnescaped[] = "/+@";
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

/// The digest covers the code units, each with its low byte first.
std::u16string digestName(IDigestEngine& engine, std::u16string const& text) {
  std::vector<unsigned char> bytes;
  bytes.reserve(2 * text.size());
  for (char16_t const unit : text) {
    bytes.push_back(static_cast<unsigned char>(unit & 0xFF));
    bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }
  return u"/" + opc::toString(foundation::crypto::utils::hexEncode(engine.digest(bytes)));
}

/// The same bound as for contents that are not encrypted.
void throwIfTooLongToInflate(NamedContent const& content) {
  if (content.deflatedFrom.value_or(kUnknownSize) == kUnknownSize) return;
  std::string const name = toUTF8String(content.part.getName().toString());
  model::zip::checkFacts({name, model::zip::kDeflated, content.part.getSize(), *content.deflatedFrom, 0});
}

}  // namespace

bool isMarkedEncrypted(model::ContentType const& type) { return type.hasParameter(kMark); }

std::string encryptionOf(model::ContentType const& type) {
  return isMarkedEncrypted(type) ? toASCIIString(type.getParameterValue(kMark)) : std::string();
}

bool isMarkedCompressed(model::ContentType const& type) { return encryptionOf(type) == kCompressedEncryption; }

bool isKnownEncryption(std::string const& encryption) {
  return encryption == kEncryptionAlgorithm || encryption == kCompressedEncryption;
}

bool isTooSmallForEncrypted(std::uint64_t storedSize, std::uint64_t size) {
  return size > kSlack && (size - kSlack) / 2 > storedSize;
}

void throwIfTooLongToEncrypt(std::u16string const& file, std::uint64_t size) {
  if (size > kLongestEncryptedContent)
    throw ContentTooLongToEncrypt(messages::tooLongToEncrypt(file, size, kLongestEncryptedContent));
}

bool isTooLongForEncrypted(std::uint64_t size) { return size > kLongestEncryptedContent + InlineIVCheck::kLeastBytes; }

std::u16string contentName(std::u16string const& path, IDigestEngine* engine) {
  std::u16string const encoded = model::URI::encodeComponent(path, kUnescaped);
  return kContentRoot + (engine ? digestName(*engine, encoded) : encoded);
}

UsualNames contentNames(std::shared_ptr<IDigestEngine> const& engine) {
  return [engine](std::u16string const& path) { return contentName(path, engine.get()); };
}

std::uint64_t decryptedSize(NamedContent const& content) {
  constexpr std::uint64_t kOverhead = InlineIVCheck::kLeastBytes;
  std::string const encryption = encryptionOf(content.part.getContentType());
  std::uint64_t const deflatedFrom = content.deflatedFrom.value_or(kUnknownSize);
  if (encryption == kCompressedEncryption && deflatedFrom != kUnknownSize) return deflatedFrom;
  std::uint64_t const size = content.part.getSize();
  bool const isMessage = size >= kOverhead && isKnownEncryption(encryption);
  return isMessage ? size - kOverhead : size;
}

void throwIfMarkedOtherwise(NamedContent const& content) {
  if (isMarkedCompressed(content.part.getContentType()) == content.deflatedFrom.has_value()) return;
  throw CouldNotTransformContentData(messages::markedOtherwise(content.part.getName().toString()));
}

std::unique_ptr<IContentSource> decrypted(std::unique_ptr<IContentSource> source,
                                          std::shared_ptr<IDecryptor> const& decryptor, std::string const& name,
                                          std::uint64_t size) {
  std::string const encryption = encryptionOf(source->getContentType());
  bool const isCompressed = encryption == kCompressedEncryption;
  auto content = std::make_unique<DecryptionInPieces>(std::move(source), decryptor,
                                                      isCompressed ? kEncryptionAlgorithm : encryption);
  if (!isCompressed) return content;
  return inflated(std::move(content), name, size);
}

std::unique_ptr<IContentSource> decrypted(model::Part const& part, std::shared_ptr<IDecryptor> const& decryptor,
                                          char const* message) {
  model::ContentType const type = part.getContentType();
  if (!isMarkedEncrypted(type)) return std::make_unique<PartContentSource>(part);
  if (!decryptor) throw CouldNotDecryptContent(message);
  throwIfNoMessage(part);
  return decrypted(std::make_unique<PartContentSource>(part), decryptor, toUTF8String(part.getName().toString()));
}

std::unique_ptr<IContentSource> decrypted(NamedContent const& content, std::shared_ptr<IDecryptor> const& decryptor) {
  model::Part const& part = content.part;
  bool const isEncrypted = isMarkedEncrypted(part.getContentType());
  if (isEncrypted && !decryptor) throw CouldNotDecryptContent(messages::kContentIsEncrypted);
  throwIfMarkedOtherwise(content);
  if (!isEncrypted) return std::make_unique<PartContentSource>(part);
  throwIfNoMessage(part);
  throwIfTooLongToInflate(content);
  return decrypted(std::make_unique<PartContentSource>(part), decryptor, toUTF8String(part.getName().toString()),
                   content.deflatedFrom.value_or(kUnknownSize));
}

}  // namespace opc::ztservices
