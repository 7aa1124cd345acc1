// SPDX-License-Identifier: Apache-2.0
#include "services/tree/CompressedContent.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "container/Deflate.hpp"
#include "container/ItemStream.hpp"
#include "crypto/MessageStreams.hpp"
#include "opc/Streams.hpp"
#include "package/PartContents.hpp"

namespace opc::ztservices {
namespace {

namespace zip = model::zip;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t kWholeBytes = 8u << 20;
constexpr std::size_t kChunk = 1u << 20;

/// Bytes, and behind them the rest of a stream. It is read once.
class HeadAndRest final : public InputStream {
 public:
  HeadAndRest(Bytes head, InputStream& rest) : head_(std::move(head)), rest_(rest) {}

  void reset() override { throw StreamError("A content that is being encrypted cannot be read again"); }
  std::size_t read(void* buffer, std::size_t count) override {
    if (at_ == head_.size()) return rest_.read(buffer, count);
    count = std::min(count, head_.size() - at_);
    std::memcpy(buffer, head_.data() + at_, count);
    at_ += count;
    if (at_ < head_.size()) return count;
    head_ = Bytes();  // up to 8 MiB, which the rest does not need
    at_ = 0;
    return count;
  }
  bool isEnd() override { return at_ == head_.size() && rest_.isEnd(); }
  void clear() override {}

 private:
  Bytes head_;
  InputStream& rest_;
  std::size_t at_ = 0;
};

/// Deflates a stream in chunks, which together are one deflate stream.
class DeflatingStream final : public InputStream {
 public:
  DeflatingStream(std::unique_ptr<InputStream> content, zip::Effort effort)
      : content_(std::move(content)), effort_(effort) {}

  void reset() override { content_->reset(); }
  std::size_t read(void* buffer, std::size_t count) override {
    if (at_ == chunk_.size && !content_->isEnd()) nextChunk();
    count = std::min(count, chunk_.size - at_);
    if (count > 0) std::memcpy(buffer, chunk_.data.get() + at_, count);
    at_ += count;
    return count;
  }
  bool isEnd() override { return at_ == chunk_.size && content_->isEnd(); }
  void clear() override {}

 private:
  void nextChunk() {
    Bytes bytes;
    readPiece(*content_, bytes, kChunk);
    chunk_ = zip::deflateChunk(effort_, bytes.data(), bytes.size(), content_->isEnd());
    at_ = 0;
  }

  std::unique_ptr<InputStream> content_;
  zip::Effort effort_;
  zip::Buffer chunk_{0};
  std::size_t at_ = 0;
};

/// A stream made of a source, which it keeps.
class StreamOfSource final : public IContentSource {
 public:
  StreamOfSource(std::unique_ptr<IContentSource> source, std::unique_ptr<InputStream> stream)
      : source_(std::move(source)), stream_(std::move(stream)) {}

  model::ContentType getContentType() override { return source_->getContentType(); }
  InputStream& getInputStream() override { return *stream_; }

 private:
  std::unique_ptr<IContentSource> source_;
  std::unique_ptr<InputStream> stream_;  // reads from source_ and goes first
};

/// Opens the wrapped source when it is read, since that may throw.
class InflatedSource final : public IContentSource {
 public:
  InflatedSource(std::unique_ptr<IContentSource> source, std::string name)
      : source_(std::move(source)), name_(std::move(name)) {}

  model::ContentType getContentType() override { return source_->getContentType(); }
  InputStream& getInputStream() override {
    if (!stream_) stream_ = zip::openDeflated(source_->getInputStream(), name_);
    return *stream_;
  }

 private:
  std::unique_ptr<IContentSource> source_;
  std::string name_;
  std::unique_ptr<InputStream> stream_;  // reads from source_ and goes first
};

/// Nothing where it would not be smaller.
zip::Buffer deflate(Bytes const& bytes, zip::Effort effort) {
  bool const isWorthIt = bytes.size() <= zip::kProbeSize || zip::doesShrink(bytes.data(), zip::kProbeSize);
  return isWorthIt ? zip::deflateWhole(effort, bytes.data(), bytes.size()) : zip::Buffer(0);
}

}  // namespace

MaybeCompressed compressed(std::unique_ptr<IContentSource> source, model::CompressionLevel level) {
  zip::Effort const effort = model::detail::effortOf(level);
  InputStream& rest = source->getInputStream();
  Bytes head;
  readPiece(rest, head, kWholeBytes);
  std::unique_ptr<InputStream> stream;
  bool isCompressed = false;
  if (rest.isEnd()) {
    zip::Buffer deflated = deflate(head, effort);
    isCompressed = deflated.size > 0;
    if (isCompressed)
      stream = zip::makeStream(std::move(deflated));
    else
      stream = std::make_unique<HeadAndRest>(std::move(head), rest);
  } else {
    isCompressed = zip::doesShrink(head.data(), zip::kProbeSize);
    stream = std::make_unique<HeadAndRest>(std::move(head), rest);
    if (isCompressed) stream = std::make_unique<DeflatingStream>(std::move(stream), effort);
  }
  return {std::make_unique<StreamOfSource>(std::move(source), std::move(stream)), isCompressed};
}

std::unique_ptr<IContentSource> inflated(std::unique_ptr<IContentSource> source, std::string name) {
  return std::make_unique<InflatedSource>(std::move(source), std::move(name));
}

}  // namespace opc::ztservices
