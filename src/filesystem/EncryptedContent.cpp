// SPDX-License-Identifier: Apache-2.0
#include "filesystem/EncryptedContent.hpp"

#include <utility>

#include "crypto/DecryptionWithInlineIVTransform.hpp"
#include "opc/Strings.hpp"

namespace opc::ztservices {
namespace {

constexpr char16_t kMark[] = u"encryption";

}  // namespace

bool isMarkedEncrypted(model::ContentType const& type) { return type.hasParameter(kMark); }

std::unique_ptr<IContentSource> decrypted(std::unique_ptr<IContentSource> source,
                                          std::shared_ptr<IDecryptor> const& decryptor, char const* message) {
  model::ContentType const type = source->getContentType();
  if (!isMarkedEncrypted(type)) return source;
  if (!decryptor) throw CouldNotDecryptContent(message);
  std::string const algorithm = toASCIIString(type.getParameterValue(kMark));
  return std::make_unique<DecryptionWithInlineIVTransform>(std::move(source), decryptor, algorithm);
}

}  // namespace opc::ztservices
