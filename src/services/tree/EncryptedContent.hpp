// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/Part.hpp"
#include "opc/ztservices/ContentSources.hpp"

namespace opc::ztservices {

/// Parts that are encrypted say so in their content types.
bool isMarkedEncrypted(model::ContentType const& type);

/// Whether so many bytes take so few in the container that they cannot be encrypted: ciphertext does not shrink. What
/// declares more than twice its stored size (and a little, for an initialization vector that is counted) was made to
/// fill the memory of those who hold it whole.
bool isTooSmallForEncrypted(std::uint64_t storedSize, std::uint64_t size);

/// How many bytes decrypted() gives; the size of the part where it gives none.
std::uint64_t decryptedSize(model::Part const& part);

/// A part's content as it was before it was encrypted, or as it is where it is not encrypted. Without a decryptor
/// CouldNotDecryptContent is thrown, with the message; InvalidItem where the part is larger than what may be held
/// whole, or cannot be encrypted at all.
std::unique_ptr<IContentSource> decrypted(model::Part const& part, std::uint64_t maximumWholeBytes,
                                          std::shared_ptr<IDecryptor> const& decryptor, char const* message);

}  // namespace opc::ztservices
