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

/// A content source that wraps another one, which it owns, and changes its bytes and its content type on the
/// way through. A subclass says how; what is read, and when, is decided here. Transforms stack. One thread.
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
  /// Puts what becomes of the bytes `in` into `out`, which comes empty and may become of any size. False for
  /// failure.
  virtual bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) = 0;

 private:
  std::unique_ptr<IContentSource> source_;
  std::unique_ptr<Transformer> transformer_;  // reads from source_ and goes first; empty until it is needed
};

/// Turns text into UTF-8. What is UTF-8 already, plain ASCII included, passes byte for byte; of anything else the
/// character set is told by the text itself, and where that fails by the user's default encoding. A byte-order
/// mark is neither added nor removed. The content type gains the parameter charset=utf-8 where it equals
/// getTextContentType(), and encoding=utf-8 where it is any other.
///
/// The whole text is held in memory. getInputStream() throws opc::UndecodableText for what is text of no known
/// character set; CouldNotTransformContentData is never thrown.
class ZT_API UDEToUTF8Transform : public TransformSource {
 public:
  using TransformSource::TransformSource;

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;
};

/// AES-256-GCM encryption of the whole content as one message, the ciphertext followed by its tag. The initialization
/// vector is not in it. The content type says so with its parameter "encryption", "AES".
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
  /// Does not throw: what goes wrong is told in one line on standard output.
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

/// Decryption of what AESEncryptionTransform made; takes the parameter "encryption" off the content type. Content
/// that was changed in any way, or another key or IV, fails as a whole.
class ZT_API AESDecryptionTransform : public TransformSource {
 public:
  /// Throws where a length is wrong, as AESEncryptionTransform does.
  AESDecryptionTransform(std::unique_ptr<IContentSource> source, std::vector<unsigned char> const& key,
                         std::vector<unsigned char> const& iv);

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  /// Does not throw: what goes wrong is told in one line on standard output.
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace opc::ztservices
