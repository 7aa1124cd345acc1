// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "opc/Streams.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/Transforms.hpp"
#include "text/LargePages.hpp"

namespace opc::ztservices {

/// Reads a source through a transform. TransformSource::getInputStream() returns its stream.
class Transformer {
 public:
  virtual ~Transformer() = default;
  /// The same stream at every call. It lives as long as the transformer.
  virtual InputStream& getInputStream() = 0;

 protected:
  Transformer() = default;
  Transformer(Transformer const&) = delete;
  Transformer& operator=(Transformer const&) = delete;
};

namespace {

using Bytes = std::vector<unsigned char>;

std::string contentTypeOf(IContentSource& source) { return toASCIIString(source.getContentType().toString()); }

[[noreturn]] void throwCouldNotTransformContentType(IContentSource& source) {
  throw CouldNotTransformContentType("Failure when attempting to transform content type:" + contentTypeOf(source));
}

[[noreturn]] void throwCouldNotTransformContentData(IContentSource& source) {
  throw CouldNotTransformContentData("Failure when attempting to transform data for content type:" +
                                     contentTypeOf(source));
}

/// Collects an unknown number of bytes in pieces, each about as large as all pieces before it. Each byte is moved once,
/// at the end; one growing vector would move it at each growth.
class CollectedBytes final : public OutputStream {
 public:
  void write(void const* data, std::size_t count) override {
    if (pieces_.empty() || pieces_.back().capacity() - pieces_.back().size() < count) addPiece(count);
    ByteArrayOutAdaptor(pieces_.back()).write(data, count);
    size_ += count;
  }
  void close() override {}

  /// Returns all bytes and leaves the object empty.
  Bytes take() {
    if (pieces_.size() == 1) return std::move(pieces_.front());
    Bytes all;
    reserveToFill(all, size_);
    for (Bytes& piece : pieces_) {
      all.insert(all.end(), piece.begin(), piece.end());
      piece = Bytes();
    }
    return all;
  }

 private:
  void addPiece(std::size_t count) { reserveToFill(pieces_.emplace_back(), std::max(size_, count)); }

  std::vector<Bytes> pieces_;
  std::size_t size_ = 0;
};

/// Reads and transforms a whole stream in its constructor, and keeps the result.
class EntireStreamTransformer final : public Transformer {
 public:
  /// Borrows both; `source` is what `transform` wraps.
  EntireStreamTransformer(TransformSource& transform, IContentSource& source);

  InputStream& getInputStream() override { return *stream_; }

 private:
  Bytes readAll();

  TransformSource& transform_;
  IContentSource& source_;
  Bytes transformed_;
  std::unique_ptr<InputStream> stream_;  // over transformed_, destroyed before it
};

EntireStreamTransformer::EntireStreamTransformer(TransformSource& transform, IContentSource& source)
    : transform_(transform), source_(source) {
  if (!transform_.transformData(readAll(), transformed_)) throwCouldNotTransformContentData(source_);
  stream_ = std::make_unique<ByteArrayInAdaptor>(transformed_);
}

Bytes EntireStreamTransformer::readAll() {
  CollectedBytes collected;
  StreamHelper::copyStreamToStream(source_.getInputStream(), collected);
  collected.close();
  return collected.take();
}

/// Transforms a stream block by block while it is read. A block is as large as the read that asks for it. Its result is
/// delivered before the next block is read.
class SingleBufferTransformer final : public Transformer, public InputStream {
 public:
  /// Borrows both; `source` is what `transform` wraps.
  SingleBufferTransformer(TransformSource& transform, IContentSource& source)
      : transform_(transform), source_(source) {}

  InputStream& getInputStream() override { return *this; }

  void reset() override;
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override;
  void clear() override;

 private:
  bool hasPending() const { return delivered_ < pending_.size(); }
  void transformBlock(std::size_t count);
  std::size_t deliver(void* buffer, std::size_t count);

  TransformSource& transform_;
  IContentSource& source_;
  Bytes pending_;
  std::size_t delivered_ = 0;  // number of bytes at the front of pending_
};

void SingleBufferTransformer::reset() { source_.getInputStream().reset(); }

std::size_t SingleBufferTransformer::read(void* buffer, std::size_t count) {
  if (isEnd()) return 0;
  if (!hasPending()) transformBlock(count);
  return deliver(buffer, count);
}

bool SingleBufferTransformer::isEnd() { return !hasPending() && source_.getInputStream().isEnd(); }

void SingleBufferTransformer::clear() { source_.getInputStream().clear(); }

// pending_ is empty while the transform runs, so that the output of a failed transform is never delivered.
void SingleBufferTransformer::transformBlock(std::size_t count) {
  Bytes block(count);
  block.resize(source_.getInputStream().read(block.data(), count));
  Bytes transformed = std::exchange(pending_, {});  // reuses its memory
  transformed.clear();
  delivered_ = 0;
  if (!transform_.transformData(block, transformed)) throwCouldNotTransformContentData(source_);
  pending_ = std::move(transformed);
}

std::size_t SingleBufferTransformer::deliver(void* buffer, std::size_t count) {
  std::size_t const delivery = std::min(count, pending_.size() - delivered_);
  if (delivery > 0) std::memcpy(buffer, pending_.data() + delivered_, delivery);
  delivered_ += delivery;
  return delivery;
}

}  // namespace

TransformSource::TransformSource(std::unique_ptr<IContentSource> source) : source_(std::move(source)) {
  if (!source_) throw Exception("There is no content source to transform");
}

TransformSource::~TransformSource() = default;

model::ContentType TransformSource::getContentType() {
  model::ContentType const in = source_->getContentType();
  model::ContentType out = in;
  if (!transformContentType(in, out)) throwCouldNotTransformContentType(*source_);
  return out;
}

void TransformSource::throwCouldNotTransformData() const { throwCouldNotTransformContentData(*source_); }

InputStream& TransformSource::getInputStream() {
  if (!transformer_) {
    if (mustTransformEntireStream())
      transformer_ = std::make_unique<EntireStreamTransformer>(*this, *source_);
    else
      transformer_ = std::make_unique<SingleBufferTransformer>(*this, *source_);
  }
  return transformer_->getInputStream();
}

}  // namespace opc::ztservices
