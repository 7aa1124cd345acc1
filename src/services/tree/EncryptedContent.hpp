// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/Part.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemNode.hpp"

namespace opc::ztservices {

/// Whether the content type says that its part is encrypted.
bool isMarkedEncrypted(model::ContentType const& type);

/// What the mark says of the encryption, "AES256-GCM" for example; empty without a mark.
std::string encryptionOf(model::ContentType const& type);
/// Whether the content was compressed before it was encrypted.
bool isMarkedCompressed(model::ContentType const& type);
/// Whether decrypted() can decrypt what is marked so.
bool isKnownEncryption(std::string const& encryption);

/// Whether a part of `size` bytes takes too few bytes in the container to be encrypted: ciphertext does not shrink. A
/// part that declares more than twice its stored size, and a little, would only cost its reader time.
bool isTooSmallForEncrypted(std::uint64_t storedSize, std::uint64_t size);

/// Throws ContentTooLongToEncrypt, which names the file, for a content that is longer than a message can hold.
void throwIfTooLongToEncrypt(std::u16string const& file, std::uint64_t size);

/// Whether a part of that size is longer than a message can be.
bool isTooLongForEncrypted(std::uint64_t size);

/// The name of the content part of a path, unless it is taken: by the path, or by its digest where there is an engine.
std::u16string contentName(std::u16string const& path, IDigestEngine* engine);
/// The same under a key.
UsualNames contentNames(std::shared_ptr<IDigestEngine> const& engine);

/// A content as its manifest names it. A manifest that is encrypted authenticates what it says.
struct NamedContent {
  model::Part part;
  std::optional<std::uint64_t> deflatedFrom;  // FileSystemNode::deflatedFrom
};

/// The number of bytes that decrypted() delivers, or of their compressed form where the manifest does not say the size;
/// the size of the part where it cannot be decrypted.
std::uint64_t decryptedSize(NamedContent const& content);

/// Throws CouldNotTransformContentData where the part is marked as one that is compressed and encrypted and the
/// manifest does not say so, or the other way round: the mark is not authentic.
void throwIfMarkedOtherwise(NamedContent const& content);

/// The decrypted content of a source that is marked as encrypted. Its stream must allow reset(). Several threads may
/// use one decryptor. `name` is for messages, `size` that of a compressed content.
std::unique_ptr<IContentSource> decrypted(std::unique_ptr<IContentSource> source,
                                          std::shared_ptr<IDecryptor> const& decryptor, std::string const& name,
                                          std::uint64_t size = kUnknownSize);

/// The decrypted content of a manifest's part, or its content where the part is not encrypted. Throws
/// CouldNotDecryptContent with the message where the decryptor is missing, and InvalidItem where the part
/// isTooLongForEncrypted() or isTooSmallForEncrypted().
std::unique_ptr<IContentSource> decrypted(model::Part const& part, std::shared_ptr<IDecryptor> const& decryptor,
                                          char const* message);

/// The same for the content of a file. Throws what throwIfMarkedOtherwise() does; the stream throws InvalidItem where
/// the content has not the size that the manifest says.
std::unique_ptr<IContentSource> decrypted(NamedContent const& content, std::shared_ptr<IDecryptor> const& decryptor);

}  // namespace opc::ztservices
