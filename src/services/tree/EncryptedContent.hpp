// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/Part.hpp"
#include "opc/ztservices/ContentSources.hpp"

namespace opc::ztservices {

/// Whether the content type says that its part is encrypted.
bool isMarkedEncrypted(model::ContentType const& type);

/// What the mark says of the encryption, "AES256-GCM" for example; empty without a mark.
std::string encryptionOf(model::ContentType const& type);
/// Whether decrypted() can decrypt what is marked so.
bool isKnownEncryption(std::string const& encryption);

/// Whether a part of `size` bytes takes too few bytes in the container to be encrypted: ciphertext does not shrink. A
/// part that declares more than twice its stored size, and a little, would only cost its reader time.
bool isTooSmallForEncrypted(std::uint64_t storedSize, std::uint64_t size);

/// Whether a part of that size is longer than a message can be.
bool isTooLongForEncrypted(std::uint64_t size);

/// The number of bytes that decrypted() delivers, or of their compressed form; the size of the part where it cannot be
/// decrypted.
std::uint64_t decryptedSize(model::Part const& part);

/// The decrypted content of a source that is marked as encrypted. Its stream must allow reset(). Several threads may
/// use one decryptor. `name` is for messages.
std::unique_ptr<IContentSource> decrypted(std::unique_ptr<IContentSource> source,
                                          std::shared_ptr<IDecryptor> const& decryptor, std::string const& name);

/// The decrypted content of a part, or its content where the part is not encrypted. Throws CouldNotDecryptContent with
/// the message where the decryptor is missing, and InvalidItem where the part isTooLongForEncrypted() or
/// isTooSmallForEncrypted().
std::unique_ptr<IContentSource> decrypted(model::Part const& part, std::shared_ptr<IDecryptor> const& decryptor,
                                          char const* message);

}  // namespace opc::ztservices
