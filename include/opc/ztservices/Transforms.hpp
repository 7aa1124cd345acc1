// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Streams.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {

class Transformer;

/// A content source that wraps and owns another one and changes its bytes and its content type. A subclass defines the
/// change; this class decides what is read, and when. Transforms can wrap transforms. One thread at a time.
class ZT_API TransformSource : public IContentSource {
 public:
  /// Throws opc::Exception for a null source.
  explicit TransformSource(std::unique_ptr<IContentSource> source);
  ~TransformSource() override;

  /// The wrapped source's content type as transformed, worked out at each call. Throws
  /// CouldNotTransformContentType, which names the wrapped source's content type.
  model::ContentType getContentType() override;

  /// The transformed bytes; the same stream at every call. Where the whole stream has to be transformed at
  /// once, the first call reads and transforms all of it; otherwise nothing is read before the stream is, and
  /// each read that finds nothing pending transforms one block of as many bytes as it was asked for. So a read
  /// may deliver fewer bytes than asked for, and none, before the end. reset() and clear() of a stream that is
  /// transformed in blocks are those of the wrapped stream and leave pending output as it is.
  ///
  /// CouldNotTransformContentData, which names the wrapped source's content type, is thrown by this call for
  /// a whole stream, and a later call tries again with what is then left to read; by the read for a block,
  /// which is skipped. What the wrapped source throws comes through unchanged.
  InputStream& getInputStream() override;

  /// Whether transformData() has to see the whole stream at once. Asked by the first getInputStream().
  virtual bool mustTransformEntireStream() = 0;
  /// `out` comes as a copy of `in`, the wrapped source's content type. False for failure.
  virtual bool transformContentType(model::ContentType const& in, model::ContentType& out) = 0;
  /// Puts the transformed bytes of `in` into `out`, which is empty at first and may get any size. False for failure.
  virtual bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) = 0;

 private:
  std::unique_ptr<IContentSource> source_;
  std::unique_ptr<Transformer> transformer_;  // reads from source_ and goes first; empty until it is needed
};

/// Converts text to UTF-8. Text that is UTF-8 already, plain ASCII included, passes byte for byte; the character set of
/// other text is detected, or else assumed to be the user's default encoding. A byte-order
/// mark is neither added nor removed. The content type gains the parameter charset=utf-8 where it equals
/// getTextContentType(), and encoding=utf-8 where it is any other.
///
/// The whole text is held in memory. getInputStream() throws opc::UndecodableText for bytes that are text of no known
/// character set, and never CouldNotTransformContentData.
class ZT_API UDEToUTF8Transform : public TransformSource {
 public:
  using TransformSource::TransformSource;

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;
};

/// Encrypts the whole content with AES-256-GCM (NIST SP 800-38D) as one message: the ciphertext, then its tag. The
/// initialization vector (IV) is not part of the message. The content type gains the parameter encryption=AES.
class ZT_API AESEncryptionTransform : public TransformSource {
 public:
  /// The key has 32 bytes; the IV has 16, or none for a random one. An IV must never serve twice under one key.
  /// Throws where a length is wrong (opc::Exception for the key, std::runtime_error for the IV).
  AESEncryptionTransform(std::unique_ptr<IContentSource> source, std::vector<unsigned char> const& key,
                         std::vector<unsigned char> const& iv);
  AESEncryptionTransform(std::unique_ptr<IContentSource> source, std::vector<unsigned char> const& key);

  /// The IV in use, given or random.
  std::vector<unsigned char> getInitializationVector() const;

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  /// Does not throw; prints a failure as one line on standard output.
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

/// Decrypts the messages of AESEncryptionTransform and removes the parameter "encryption" from the content type. A
/// wrong key or IV, or content that was modified in any way, fails as a whole: no byte of it is delivered.
class ZT_API AESDecryptionTransform : public TransformSource {
 public:
  /// Throws where a length is wrong, as AESEncryptionTransform does.
  AESDecryptionTransform(std::unique_ptr<IContentSource> source, std::vector<unsigned char> const& key,
                         std::vector<unsigned char> const& iv);

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  /// Does not throw; prints a failure as one line on standard output.
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace opc::ztservices
