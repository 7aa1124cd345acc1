// SPDX-License-Identifier: Apache-2.0
#include "container/ContentWriter.hpp"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "container/ChunkIndex.hpp"
#include "container/Deflate.hpp"
#include "container/Faults.hpp"
#include "container/ZipFormat.hpp"
#include "opc/model/InvalidState.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kChunk = ChunkIndex::kChunkSize;

using Bytes = std::vector<unsigned char>;

/// The destination of a content; shared by its writer and the tasks that deflate it.
struct Delivery {
  std::shared_ptr<Spool> spool;
  std::shared_ptr<Spool> lane{};  // set once the content is long
  Content content{};
  ChunkIndex chunks{};
  std::function<void(Content const&)> done{};
  bool isAbandoned = false;
  bool isComplete = false;

  Delivery(Delivery const&) = delete;
  Delivery& operator=(Delivery const&) = delete;
  explicit Delivery(std::shared_ptr<Spool> to) : spool(std::move(to)) {}
  ~Delivery() { giveBack(); }

  void giveBack() {
    if (auto const borrowed = std::exchange(lane, nullptr)) borrowed->giveBack();
  }

  void store(void const* data, std::size_t count) {
    std::uint64_t const offset = (lane ? lane : spool)->append(data, count);
    if (content.storedSize == 0) content.offset = offset;
    content.storedSize += count;
  }

  void complete(std::uint16_t method) {
    content.method = method;
    content.spool = lane ? lane : spool;
    if (chunks.hasMany()) content.chunks = std::make_shared<ChunkIndex>(std::move(chunks));
    if (done) done(content);
    isComplete = true;
    giveBack();
  }
};

/// Stores its result exactly once, however often deliver() is repeated, and may complete the content.
class StoringTask : public TaskQueue::Task {
 public:
  explicit StoringTask(std::shared_ptr<Delivery> to) : to_(std::move(to)) {}

  void deliver() final {
    if (to_->isAbandoned) return;
    if (!isStored_) storeResult(*to_);
    isStored_ = true;
    finish(*to_);
  }

 private:
  virtual void storeResult(Delivery& to) = 0;
  virtual void finish(Delivery& to) = 0;

  std::shared_ptr<Delivery> to_;
  bool isStored_ = false;
};

class WholeTask final : public StoringTask {
 public:
  WholeTask(std::shared_ptr<Delivery> to, Effort effort, Bytes bytes)
      : StoringTask(std::move(to)), effort_(effort), bytes_(std::move(bytes)) {}

  void run() override {
    bool const isWorthIt =
        effort_ != Effort::Store && (bytes_.size() <= kProbeSize || doesShrink(bytes_.data(), kProbeSize));
    if (isWorthIt) deflated_ = deflateWhole(effort_, bytes_.data(), bytes_.size());
    if (isDeflated()) bytes_ = {};
  }

 private:
  bool isDeflated() const { return deflated_.size > 0; }

  void storeResult(Delivery& to) override {
    if (isDeflated())
      to.store(deflated_.data.get(), deflated_.size);
    else
      to.store(bytes_.data(), bytes_.size());
  }

  void finish(Delivery& to) override { to.complete(isDeflated() ? kDeflated : kStored); }

  Effort effort_;
  Bytes bytes_;
  Buffer deflated_{0};
};

class ChunkTask final : public StoringTask {
 public:
  ChunkTask(std::shared_ptr<Delivery> to, Effort effort, Bytes bytes, bool last)
      : StoringTask(std::move(to)), effort_(effort), bytes_(std::move(bytes)), size_(bytes_.size()), last_(last) {}

  void run() override {
    crc_ = crcOf(0, bytes_.data(), bytes_.size());
    deflated_ = deflateChunk(effort_, bytes_.data(), bytes_.size(), last_);
    bytes_ = {};
  }

 private:
  void storeResult(Delivery& to) override { to.store(deflated_.data.get(), deflated_.size); }

  void finish(Delivery& to) override {
    if (!isIndexed_) to.chunks.add(deflated_.size, crc_, size_);
    isIndexed_ = true;
    if (last_) to.complete(kDeflated);
  }

  Effort effort_;
  Bytes bytes_;
  std::size_t size_;
  bool last_;
  std::uint32_t crc_ = 0;
  Buffer deflated_{0};
  bool isIndexed_ = false;
};

}  // namespace

/// Holds a content of at most kWholeBytes. Beyond that, the beginning of the content decides whether it is stored or
/// deflated in chunks.
struct ContentWriter::Impl {
  std::shared_ptr<Delivery> delivery;
  Effort effort;
  TaskQueue* queue;
  Bytes held{};  // not in a task yet
  bool inChunks = false;
  std::uint32_t chunkCrc = 0;  // of what is stored behind the last chunk of the index
  std::size_t chunkSize = 0;
  std::exception_ptr failure{};
  bool closed = false;

  ~Impl() {
    if (closed) return;
    delivery->isAbandoned = true;
    delivery->giveBack();
  }

  template <typename Action>
  void guarded(Action action) {
    if (failure) std::rethrow_exception(failure);
    try {
      action();
    } catch (...) {
      failure = std::current_exception();
      throw;
    }
  }

  void perform(std::unique_ptr<StoringTask> task, std::size_t size) const {
    if (queue && effort != Effort::Store) return queue->add(std::move(task), size);
    task->run();
    task->deliver();
  }

  void hold(unsigned char const* data, std::size_t count) { held.insert(held.end(), data, data + count); }

  void take(unsigned char const* data, std::size_t count) {
    Content& content = delivery->content;
    content.crc = crcOf(content.crc, data, count);
    content.size += count;
    if (effort == Effort::Store && !delivery->lane) becomeLong();  // nothing to decide
    if (!delivery->lane) {
      std::size_t const room = std::min(count, kWholeBytes - held.size());
      hold(data, room);
      if (room == count) return;
      becomeLong();
      data += room;
      count -= room;
    }
    if (inChunks)
      takeChunks(data, count);
    else
      storeChunks(data, count);
  }

  void becomeLong() {
    delivery->lane = delivery->spool->borrowLane();
    Bytes const beginning = std::exchange(held, {});
    inChunks = effort != Effort::Store && doesShrink(beginning.data(), kProbeSize);
    if (inChunks)
      takeChunks(beginning.data(), beginning.size());
    else
      storeChunks(beginning.data(), beginning.size());
  }

  void storeChunks(unsigned char const* data, std::size_t count) {
    delivery->store(data, count);
    while (count > 0) {
      std::size_t const step = std::min(count, kChunk - chunkSize);
      chunkCrc = crcOf(chunkCrc, data, step);
      chunkSize += step;
      data += step;
      count -= step;
      if (chunkSize == kChunk) endStoredChunk();
    }
  }

  void endStoredChunk() {
    if (chunkSize > 0) delivery->chunks.add(chunkSize, std::exchange(chunkCrc, 0), chunkSize);
    chunkSize = 0;
  }

  /// A full chunk waits for further bytes, since the last chunk ends differently.
  void takeChunks(unsigned char const* data, std::size_t count) {
    while (count > 0) {
      if (held.size() == kChunk) deflateHeld(false);
      held.reserve(kChunk);
      std::size_t const step = std::min(count, kChunk - held.size());
      hold(data, step);
      data += step;
      count -= step;
    }
  }

  void deflateHeld(bool last) {
    perform(std::make_unique<ChunkTask>(delivery, effort, std::exchange(held, {}), last), kChunk);
  }

  void complete() {
    std::size_t const size = held.size();
    if (inChunks)
      deflateHeld(true);
    else if (delivery->lane)
      completeStored();
    else
      perform(std::make_unique<WholeTask>(delivery, effort, std::exchange(held, {})), size);
  }

  void completeStored() {
    endStoredChunk();
    delivery->complete(kStored);
  }
};

ContentWriter::ContentWriter(std::shared_ptr<Spool> spool, Effort effort, TaskQueue* queue)
    : impl_(new Impl{std::make_shared<Delivery>(std::move(spool)), effort, queue}) {}

ContentWriter::~ContentWriter() = default;

void ContentWriter::write(void const* data, std::size_t count) {
  if (impl_->closed) throw StreamError("The stream is closed");
  impl_->guarded([&] { impl_->take(static_cast<unsigned char const*>(data), count); });
}

void ContentWriter::close() {
  closeLater({});
  if (!impl_->delivery->isComplete) impl_->queue->deliverAll();
}

void ContentWriter::closeLater(std::function<void(Content const&)> done) {
  if (impl_->closed) return;
  impl_->delivery->done = std::move(done);
  impl_->guarded([&] { impl_->complete(); });
  impl_->closed = true;
  impl_->held = {};
}

Content const& ContentWriter::content() const {
  if (!impl_->delivery->isComplete) throw InvalidState("The content is not complete");
  return impl_->delivery->content;
}

}  // namespace opc::model::zip
