// SPDX-License-Identifier: Apache-2.0
#include "services/tree/CompressedContent.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <deque>
#include <optional>
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

constexpr std::size_t kChunk = 1u << 20;

/// Bytes, and behind them the rest of a stream, if there is one. It is read once.
class HeadAndRest final : public InputStream {
 public:
  HeadAndRest(Bytes head, InputStream* rest) : head_(std::move(head)), rest_(rest) {}

  void reset() override { throw StreamError("A content that is being encrypted cannot be read again"); }
  std::size_t read(void* buffer, std::size_t count) override {
    if (at_ == head_.size()) return rest_ ? rest_->read(buffer, count) : 0;
    count = std::min(count, head_.size() - at_);
    if (count == 0) return 0;
    std::memcpy(buffer, head_.data() + at_, count);
    at_ += count;
    if (at_ < head_.size()) return count;
    head_ = Bytes();  // up to 2 MiB, which the rest does not need
    at_ = 0;
    return count;
  }
  bool isEnd() override { return at_ == head_.size() && (!rest_ || rest_->isEnd()); }
  void clear() override {}

 private:
  Bytes head_;
  InputStream* rest_;
  std::size_t at_ = 0;
};

/// Counts what passes.
class CountingStream final : public InputStream {
 public:
  CountingStream(std::unique_ptr<InputStream> stream, std::shared_ptr<std::uint64_t> count)
      : stream_(std::move(stream)), count_(std::move(count)) {}

  void reset() override { stream_->reset(); }
  std::size_t read(void* buffer, std::size_t count) override {
    std::size_t const delivered = stream_->read(buffer, count);
    *count_ += delivered;
    return delivered;
  }
  bool isEnd() override { return stream_->isEnd(); }
  void clear() override { stream_->clear(); }

 private:
  std::unique_ptr<InputStream> stream_;
  std::shared_ptr<std::uint64_t> count_;
};

/// Deflates a stream in chunks on threads. Together the chunks are one deflate stream. It is read once.
class DeflatingStream final : public InputStream {
 public:
  DeflatingStream(std::unique_ptr<InputStream> content, zip::Effort effort, std::size_t threads)
      : content_(std::move(content)), effort_(effort), queue_((2 * threads + 1) * kChunk) {
    queue_.setThreads(threads);
  }

  void reset() override { content_->reset(); }
  std::size_t read(void* buffer, std::size_t count) override {
    if (at_ == chunk_.size && !isEnd()) nextChunk();
    count = std::min(count, chunk_.size - at_);
    if (count > 0) std::memcpy(buffer, chunk_.data.get() + at_, count);
    at_ += count;
    return count;
  }
  bool isEnd() override { return at_ == chunk_.size && taken_ == begun_ && content_->isEnd(); }
  void clear() override {}

 private:
  class Chunk final : public TaskQueue::Task {
   public:
    Chunk(std::deque<zip::Buffer>& ready, zip::Effort effort, Bytes bytes, bool last)
        : ready_(ready), effort_(effort), bytes_(std::move(bytes)), last_(last) {}

    void run() override { deflated_ = zip::deflateChunk(effort_, bytes_.data(), bytes_.size(), last_); }
    void deliver() override { ready_.push_back(std::move(deflated_)); }

   private:
    std::deque<zip::Buffer>& ready_;
    zip::Effort effort_;
    Bytes bytes_;
    bool last_;
    zip::Buffer deflated_{0};
  };

  void nextChunk() {
    while (ready_.empty() && !content_->isEnd()) {
      Bytes bytes;
      readPiece(*content_, bytes, kChunk);
      queue_.add(std::make_unique<Chunk>(ready_, effort_, std::move(bytes), content_->isEnd()), kChunk);
      ++begun_;
    }
    if (ready_.empty()) queue_.deliverFirst();
    chunk_ = std::move(ready_.front());
    ready_.pop_front();
    at_ = 0;
    ++taken_;
  }

  std::unique_ptr<InputStream> content_;
  zip::Effort effort_;
  zip::Buffer chunk_{0};
  std::size_t at_ = 0;
  std::uint64_t begun_ = 0;
  std::uint64_t taken_ = 0;
  std::deque<zip::Buffer> ready_{};
  TaskQueue queue_;  // last, so that it ends before what its tasks use
};

/// A stream of a content type, perhaps made of a source, which it keeps.
class StreamOfSource final : public IContentSource {
 public:
  StreamOfSource(model::ContentType type, std::unique_ptr<IContentSource> source, std::unique_ptr<InputStream> stream)
      : type_(std::move(type)), source_(std::move(source)), stream_(std::move(stream)) {}

  model::ContentType getContentType() override { return type_; }
  InputStream& getInputStream() override { return *stream_; }

 private:
  model::ContentType type_;
  std::unique_ptr<IContentSource> source_;
  std::unique_ptr<InputStream> stream_;  // reads from source_ and goes first
};

/// Opens the wrapped source when it is read, since that may throw.
class InflatedSource final : public IContentSource {
 public:
  InflatedSource(std::unique_ptr<IContentSource> source, std::string name, std::uint64_t size)
      : source_(std::move(source)), name_(std::move(name)), size_(size) {}

  model::ContentType getContentType() override { return source_->getContentType(); }
  InputStream& getInputStream() override {
    if (!stream_) stream_ = open(source_->getInputStream());
    return *stream_;
  }

 private:
  std::unique_ptr<InputStream> open(InputStream& deflated) const {
    if (size_ == kUnknownSize) return zip::openDeflated(deflated, name_);
    return zip::openDeflated(deflated, name_, size_);
  }

  std::unique_ptr<IContentSource> source_;
  std::string name_;
  std::uint64_t size_;
  std::unique_ptr<InputStream> stream_;  // reads from source_ and goes first
};

/// Nothing where it would not be smaller.
zip::Buffer deflate(Bytes const& bytes, zip::Effort effort) {
  bool const isWorthIt = bytes.size() <= zip::kProbeSize || zip::doesShrink(bytes.data(), zip::kProbeSize);
  return isWorthIt ? zip::deflateWhole(effort, bytes.data(), bytes.size()) : zip::Buffer(0);
}

/// A content whose beginning was read.
struct Begun {
  model::ContentType type;
  std::unique_ptr<IContentSource> source;  // null unless there is more: it may hold a file open
  Bytes head;
  std::size_t size;  // of the head
};

Begun begin(std::unique_ptr<IContentSource> source) {
  InputStream& stream = source->getInputStream();
  Bytes head;
  readPiece(stream, head, zip::kWholeBytes);
  std::size_t const size = head.size();
  model::ContentType type = source->getContentType();
  if (stream.isEnd()) source.reset();
  return {std::move(type), std::move(source), std::move(head), size};
}

/// An empty result means that it stays as it is.
MaybeCompressed madeOf(Begun begun, zip::Buffer deflated) {
  bool const isCompressed = deflated.size > 0;
  InputStream* const rest = begun.source ? &begun.source->getInputStream() : nullptr;
  std::unique_ptr<InputStream> stream;
  if (isCompressed)
    stream = zip::makeStream(std::move(deflated));
  else
    stream = std::make_unique<HeadAndRest>(std::move(begun.head), rest);
  return {std::make_unique<StreamOfSource>(std::move(begun.type), std::move(begun.source), std::move(stream)),
          isCompressed ? std::make_shared<std::uint64_t>(begun.size) : nullptr};
}

MaybeCompressed compressedLong(Begun begun, zip::Effort effort, std::size_t threads) {
  if (!zip::doesShrink(begun.head.data(), zip::kProbeSize)) return madeOf(std::move(begun), zip::Buffer(0));
  auto count = std::make_shared<std::uint64_t>(0);
  std::unique_ptr<InputStream> stream =
      std::make_unique<HeadAndRest>(std::move(begun.head), &begun.source->getInputStream());
  stream = std::make_unique<CountingStream>(std::move(stream), count);
  stream = std::make_unique<DeflatingStream>(std::move(stream), effort, threads);
  return {std::make_unique<StreamOfSource>(std::move(begun.type), std::move(begun.source), std::move(stream)),
          std::move(count)};
}

}  // namespace

/// A whole content, or a step without one. What it hands over, it hands over once, however often deliver() is repeated.
class CompressionQueue::Task final : public TaskQueue::Task {
 public:
  Task(CompressionQueue& queue, std::optional<Begun> begun, Take take)
      : queue_(queue), begun_(std::move(begun)), take_(std::move(take)) {}

  void run() override {
    if (begun_) deflated_ = deflate(begun_->head, queue_.effort_);
    if (deflated_.size > 0) begun_->head = Bytes();
  }

  void deliver() override {
    if (std::exchange(queue_.hasFailed_, true)) return;
    MaybeCompressed made = begun_ ? madeOf(std::move(*begun_), std::move(deflated_)) : MaybeCompressed();
    take_(std::move(made));
    queue_.hasFailed_ = false;
  }

 private:
  CompressionQueue& queue_;
  std::optional<Begun> begun_;
  Take take_;
  zip::Buffer deflated_{0};
};

CompressionQueue::CompressionQueue(model::CompressionLevel level, std::size_t threads)
    : effort_(model::detail::effortOf(level)), threads_(threads) {
  queue_.setThreads(threads);
}

void CompressionQueue::add(std::unique_ptr<IContentSource> source, Take take) {
  Begun begun = begin(std::move(source));
  if (begun.source) {
    finish();
    return take(compressedLong(std::move(begun), effort_, threads_));
  }
  std::size_t const size = begun.size;
  queue_.add(std::make_unique<Task>(*this, std::move(begun), std::move(take)), size);
}

void CompressionQueue::add(std::function<void()> step) {
  queue_.add(std::make_unique<Task>(*this, std::nullopt, [step = std::move(step)](MaybeCompressed) { step(); }), 0);
}

void CompressionQueue::finish() { queue_.deliverAll(); }

MaybeCompressed compressed(std::unique_ptr<IContentSource> source, model::CompressionLevel level, std::size_t threads) {
  zip::Effort const effort = model::detail::effortOf(level);
  Begun begun = begin(std::move(source));
  if (begun.source) return compressedLong(std::move(begun), effort, threads);
  zip::Buffer deflated = deflate(begun.head, effort);
  return madeOf(std::move(begun), std::move(deflated));
}

std::unique_ptr<IContentSource> inflated(std::unique_ptr<IContentSource> source, std::string name, std::uint64_t size) {
  return std::make_unique<InflatedSource>(std::move(source), std::move(name), size);
}

}  // namespace opc::ztservices
