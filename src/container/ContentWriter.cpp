// SPDX-License-Identifier: Apache-2.0
#include "container/ContentWriter.hpp"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "container/ChunkIndex.hpp"
#include "container/Deflate.hpp"
#include "container/Faults.hpp"
#include "container/ItemHeaders.hpp"
#include "container/ZipFormat.hpp"
#include "opc/model/InvalidState.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kChunk = ChunkIndex::kChunkSize;
constexpr std::size_t kLongestName = 4000;  // bytes, of an item with a header

using Bytes = std::vector<unsigned char>;

/// The destination of a content; shared by its writer and the tasks that deflate it. With a name, the local header of
/// an item stands in front of the content.
struct Delivery {
  std::shared_ptr<Spool> spool;
  std::string name;
  std::shared_ptr<Spool> place{};  // while the content is written
  Content content{};
  ChunkIndex chunks{};
  std::function<void(Content const&)> done{};
  bool isAbandoned = false;
  bool isComplete = false;

  Delivery(Delivery const&) = delete;
  Delivery& operator=(Delivery const&) = delete;
  Delivery(std::shared_ptr<Spool> to, std::string_view itemName) : spool(std::move(to)), name(itemName) {}
  ~Delivery() { leave(); }

  void leave() {
    if (auto const borrowed = std::exchange(place, nullptr)) borrowed->giveBack();
  }

  void abandon() noexcept {
    isAbandoned = true;
    if (place) place->cut(begin);
    leave();
  }

  void storeWhole(std::uint16_t method, void const* data, std::size_t count) {
    enter();
    place->cut(begin);  // a header without a content, after a failure
    content.method = method;
    content.storedSize = count;
    Bytes header;
    if (hasHeader()) putLocalHeader(header, newEntry(name, content), {});
    place->append(header.data(), header.size());
    content.offset = place->append(data, count);
    content.headerSize = static_cast<std::uint16_t>(header.size());
  }

  void storeStep(void const* data, std::size_t count) {
    if (!place) reserveHeader();
    std::uint64_t const offset = place->append(data, count);
    if (content.storedSize == 0) content.offset = offset;
    content.storedSize += count;
  }

  void complete(std::uint16_t method) {
    content.method = method;
    if (chunks.hasMany()) content.chunks = std::make_shared<ChunkIndex>(std::move(chunks));
    if (isInSteps) fillHeader();
    content.spool = place;
    if (done) done(content);
    isComplete = true;
    leave();
  }

 private:
  bool isInSteps = false;
  std::uint64_t begin = 0;  // in the place, of the header

  /// The longest names, which hardly any file has, go without.
  bool hasHeader() const { return !name.empty() && name.size() <= kLongestName; }

  void enter() {
    if (place) return;
    place = Spool::borrow(spool);
    begin = place->size();
  }

  void reserveHeader() {
    enter();
    isInSteps = true;
    if (!hasHeader()) return;
    Bytes const room(openHeaderSize(name));
    place->append(room.data(), room.size());
    content.headerSize = static_cast<std::uint16_t>(room.size());
  }

  void fillHeader() const {
    if (!hasHeader()) return;
    Bytes header;
    putOpenHeader(header, newEntry(name, content));
    place->overwrite(content.offset - header.size(), header.data(), header.size());
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
      to.storeWhole(kDeflated, deflated_.data.get(), deflated_.size);
    else
      to.storeWhole(kStored, bytes_.data(), bytes_.size());
  }

  void finish(Delivery& to) override { to.complete(to.content.method); }

  Effort effort_;
  Bytes bytes_;
  Buffer deflated_{0};
};

/// A chunk of a long content. With Effort::Store it is stored.
class ChunkTask final : public StoringTask {
 public:
  ChunkTask(std::shared_ptr<Delivery> to, Effort effort, Bytes bytes, bool last)
      : StoringTask(std::move(to)), effort_(effort), bytes_(std::move(bytes)), size_(bytes_.size()), last_(last) {}

  void run() override {
    crc_ = crcOf(0, bytes_.data(), bytes_.size());
    if (isStored()) return;
    deflated_ = deflateChunk(effort_, bytes_.data(), bytes_.size(), last_);
    bytes_ = {};
  }

 private:
  bool isStored() const { return effort_ == Effort::Store; }
  std::size_t storedSize() const { return isStored() ? size_ : deflated_.size; }

  void storeResult(Delivery& to) override {
    to.storeStep(isStored() ? bytes_.data() : deflated_.data.get(), storedSize());
  }

  void finish(Delivery& to) override {
    if (!isIndexed_) to.chunks.add(storedSize(), crc_, size_);
    isIndexed_ = true;
    if (last_) to.complete(isStored() ? kStored : kDeflated);
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

/// Holds the beginning of a content. A longer one goes on in chunks, and its beginning decides whether these are stored
/// or deflated.
struct ContentWriter::Impl {
  std::shared_ptr<Delivery> delivery;
  Effort effort;  // of chunks: Store where the beginning does not shrink
  TaskQueue* queue;
  std::size_t mostHeld = effort == Effort::Store ? kProbeSize : kWholeBytes;
  Bytes held{};  // not in a task yet
  bool isLong = false;
  std::exception_ptr failure{};
  bool closed = false;

  ~Impl() {
    if (closed) return;
    delivery->abandon();
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

  /// Storing is not worth a thread, but keeps its turn behind what threads deflate.
  void perform(std::unique_ptr<StoringTask> task, std::size_t size) const {
    if (queue && !(effort == Effort::Store && queue->isEmpty())) return queue->add(std::move(task), size);
    task->run();
    task->deliver();
  }

  void hold(unsigned char const* data, std::size_t count) { held.insert(held.end(), data, data + count); }

  void take(unsigned char const* data, std::size_t count) {
    Content& content = delivery->content;
    content.crc = crcOf(content.crc, data, count);
    content.size += count;
    if (!isLong) {
      std::size_t const room = std::min(count, mostHeld - held.size());
      hold(data, room);
      if (room == count) return;
      becomeLong();
      data += room;
      count -= room;
    }
    takeChunks(data, count);
  }

  void becomeLong() {
    isLong = true;
    Bytes const beginning = std::exchange(held, {});
    if (effort != Effort::Store && !doesShrink(beginning.data(), kProbeSize)) effort = Effort::Store;
    takeChunks(beginning.data(), beginning.size());
  }

  /// A full chunk waits for further bytes, since the last chunk ends differently.
  void takeChunks(unsigned char const* data, std::size_t count) {
    while (count > 0) {
      if (held.size() == kChunk) performChunk(false);
      held.reserve(kChunk);
      std::size_t const step = std::min(count, kChunk - held.size());
      hold(data, step);
      data += step;
      count -= step;
    }
  }

  void performChunk(bool last) {
    perform(std::make_unique<ChunkTask>(delivery, effort, std::exchange(held, {}), last), kChunk);
  }

  void complete() {
    std::size_t const size = held.size();
    if (isLong)
      performChunk(true);
    else
      perform(std::make_unique<WholeTask>(delivery, effort, std::exchange(held, {})), size);
  }
};

ContentWriter::ContentWriter(std::shared_ptr<Spool> spool, Effort effort, TaskQueue* queue, std::string_view name)
    : impl_(new Impl{std::make_shared<Delivery>(std::move(spool), name), effort, queue}) {}

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
