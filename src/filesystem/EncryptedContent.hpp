// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/ztservices/ContentSources.hpp"

namespace opc::ztservices {

/// Parts that are encrypted say so in their content types.
bool isMarkedEncrypted(model::ContentType const& type);

/// The content as it was before it was encrypted; the source itself where it is not encrypted. Without a decryptor
/// CouldNotDecryptContent is thrown, with the message.
std::unique_ptr<IContentSource> decrypted(std::unique_ptr<IContentSource> source,
                                          std::shared_ptr<IDecryptor> const& decryptor, char const* message);

}  // namespace opc::ztservices
