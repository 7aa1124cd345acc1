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

  /// The wrapped source's content type, transformed anew at each call. Throws CouldNotTransformContentType, which names
  /// the wrapped source's content type, where the transformation fails.
  model::ContentType getContentType() override;

  /// The transformed bytes, the same stream at every call; this object owns it. If the whole stream must be transformed
  /// at once, the first call reads and transforms all of it. Otherwise nothing is read before the stream is read, and
  /// each read that finds no pending output transforms one block of as many bytes as the caller requests. A read may
  /// therefore deliver fewer bytes than requested, or none, before the end. reset() and clear() of a stream that is
  /// transformed in blocks are those of the wrapped stream and keep pending output.
  ///
  /// Where the transformation fails, CouldNotTransformContentData names the wrapped source's content type. For a whole
  /// stream this call throws it, and a later call tries again with what is then left to read. For a block the read
  /// throws it, and skips the block. Exceptions of the wrapped source pass through unchanged.
  InputStream& getInputStream() override;

  /// Whether transformData() needs the whole stream at once. The first getInputStream() calls this.
  virtual bool mustTransformEntireStream() = 0;
  /// Transforms `in`, the wrapped source's content type, into `out`, which holds a copy of `in` at the call. Returns
  /// false on failure.
  virtual bool transformContentType(model::ContentType const& in, model::ContentType& out) = 0;
  /// Puts the transformed bytes of `in` into `out`, which is empty at first and may get any size. False for failure.
  virtual bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) = 0;

 protected:
  /// For subclasses that override getInputStream(): the wrapped source, and the exception for data that cannot be
  /// transformed.
  IContentSource& getSource() const { return *source_; }
  [[noreturn]] void throwCouldNotTransformData() const;

 private:
  std::unique_ptr<IContentSource> source_;
  std::unique_ptr<Transformer> transformer_;  // reads from source_ and goes first; empty until it is needed
};

/// Converts text to UTF-8. Text that is UTF-8 already, plain ASCII included, passes byte for byte. Other text is taken
/// to be in the user's default encoding where it makes sense in it; elsewhere its character set must be evident. A
/// byte-order mark is neither added nor removed. The content type gains the parameter charset=utf-8 where it equals
/// getTextContentType(), and encoding=utf-8 where it is any other.
///
/// The whole text is held in memory. getInputStream() throws opc::UndecodableText, with the reason, for bytes whose
/// character set is not evident, and never CouldNotTransformContentData.
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
  /// The key has 32 bytes. The IV has 16, or none for a random one. An IV must never be used twice under one key.
  /// Throws for a wrong length: opc::Exception for the key, std::runtime_error for the IV.
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
  /// Throws for a wrong length, as AESEncryptionTransform does.
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
