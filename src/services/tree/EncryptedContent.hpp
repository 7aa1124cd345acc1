// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/Part.hpp"
#include "opc/ztservices/ContentSources.hpp"

namespace opc::ztservices {

/// Whether the content type says that its part is encrypted.
bool isMarkedEncrypted(model::ContentType const& type);

/// Whether a part of `size` bytes takes too few bytes in the container to be encrypted: ciphertext does not shrink. A
/// part that declares more than twice its stored size, and a little, would only fill the memory of a reader that holds
/// it whole.
bool isTooSmallForEncrypted(std::uint64_t storedSize, std::uint64_t size);

/// The number of bytes that decrypted() delivers; the size of the part where it cannot be decrypted.
std::uint64_t decryptedSize(model::Part const& part);

/// The decrypted content of a part, or its content where the part is not encrypted. Throws CouldNotDecryptContent with
/// the message where the decryptor is missing, and InvalidItem where the part is larger than `maximumWholeBytes` or
/// isTooSmallForEncrypted().
std::unique_ptr<IContentSource> decrypted(model::Part const& part, std::uint64_t maximumWholeBytes,
                                          std::shared_ptr<IDecryptor> const& decryptor, char const* message);

}  // namespace opc::ztservices
