// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "crypto/CipherTransforms.hpp"
#include "opc/Streams.hpp"

/// The inline transforms for contents of any size. The bytes are the same; memory holds one piece of a message. Their
/// ciphers are their own, so that several threads can each use a transform of one encryptor or decryptor.
namespace opc::ztservices {

/// Messages of up to this size are held whole; of longer ones, pieces of this size are held.
inline constexpr std::size_t kMessagePiece = std::size_t{1} << 20;

/// Appends bytes of the stream until `piece` has `most` or the stream ends. The room grows with the content, since most
/// contents are small.
void readPiece(InputStream& from, std::vector<unsigned char>& piece, std::size_t most);

/// Encrypts while its stream is read. The first read draws the vector, after the first piece of the content has been
/// read. The stream cannot be reset, because a changed content must not be encrypted under the same vector.
class EncryptionInPieces final : public EncryptionWithInlineIVTransform {
 public:
  /// `mark` is the value of the parameter "encryption". The cipher is AES-256-GCM whatever the mark says.
  EncryptionInPieces(std::unique_ptr<IContentSource> source, std::shared_ptr<IEncryptor> encryptor, std::string mark,
                     std::shared_ptr<IVGenerator> ivGenerator);
  ~EncryptionInPieces() override;

  InputStream& getInputStream() override;

 private:
  std::unique_ptr<InputStream> stream_;  // reads from the wrapped source; empty until it is needed
};

/// Decrypts while its stream is read. A message that is longer than a piece is read twice: the first getInputStream()
/// authenticates all of it and keeps a digest of each piece; its stream reads it again, and compares each piece with
/// its digest before it delivers a byte of it. So no byte is delivered that was not authenticated, even if the stored
/// bytes change in between; a read then throws CouldNotTransformContentData. The wrapped stream must allow reset().
class DecryptionInPieces final : public DecryptionWithInlineIVTransform {
 public:
  DecryptionInPieces(std::unique_ptr<IContentSource> source, std::shared_ptr<IDecryptor> decryptor,
                     std::string algorithm);
  ~DecryptionInPieces() override;

  InputStream& getInputStream() override;

 private:
  std::unique_ptr<InputStream> stream_;  // reads from the wrapped source; empty until a message is authentic
};

}  // namespace opc::ztservices
