// SPDX-License-Identifier: Apache-2.0
#include "container/Deflate.hpp"

#include <libdeflate.h>
#include <zlib.h>

#include <array>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace opc::model::zip {
namespace {

constexpr int kProbeLevel = 1;
// A smaller saving does not justify inflating at each read.
constexpr std::size_t kWorthwhilePercent = 98;

int levelOf(Effort effort) {
  switch (effort) {
    case Effort::Store:
      return 0;
    case Effort::Fast:
      return 1;
    case Effort::Small:
      return 9;
    case Effort::Default:
      break;
  }
  return 6;
}

struct FreeCompressor {
  void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};

/// Allocating a compressor costs as much as deflating a small file, so each thread keeps those that it used.
libdeflate_compressor* compressor(int level) {
  thread_local std::array<std::unique_ptr<libdeflate_compressor, FreeCompressor>, 10> kept;
  auto& place = kept.at(static_cast<std::size_t>(level));
  if (!place) place.reset(libdeflate_alloc_compressor(level));
  if (!place) throw std::bad_alloc();
  return place.get();
}

/// zlib's bound does not count the empty block that a sync flush adds.
constexpr std::size_t kFlushRoom = 64;

class ChunkStream {
 public:
  explicit ChunkStream(int level) {
    if (deflateInit2(&stream, level, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::bad_alloc();
  }
  ~ChunkStream() { deflateEnd(&stream); }
  ChunkStream(ChunkStream const&) = delete;
  ChunkStream& operator=(ChunkStream const&) = delete;

  z_stream stream{};
};

z_stream& chunkStream(int level) {
  thread_local std::array<std::unique_ptr<ChunkStream>, 10> kept;
  auto& place = kept.at(static_cast<std::size_t>(level));
  if (!place) place = std::make_unique<ChunkStream>(level);
  return place->stream;
}

constexpr std::size_t kTaskSize =
    1024;  // the memory of a task without its content, so that empty tasks are bounded too

enum class Progress { Waiting, Running, Done, Failed };

struct Queued {
  std::unique_ptr<DeflateQueue::Task> task;
  std::size_t size;
  Progress progress = Progress::Waiting;
};

}  // namespace

bool doesShrink(void const* data, std::size_t count) {
  Buffer room(count * kWorthwhilePercent / 100);
  return libdeflate_deflate_compress(compressor(kProbeLevel), data, count, room.data.get(), room.size) != 0;
}

Buffer deflateWhole(Effort effort, void const* data, std::size_t count) {
  Buffer deflated(count == 0 ? 0 : count - 1);
  deflated.size =
      libdeflate_deflate_compress(compressor(levelOf(effort)), data, count, deflated.data.get(), deflated.size);
  return deflated;
}

Buffer deflateChunk(Effort effort, void const* before, std::size_t beforeCount, void const* data, std::size_t count,
                    bool last) {
  z_stream& stream = chunkStream(levelOf(effort));
  Buffer deflated(deflateBound(&stream, static_cast<uLong>(count)) + kFlushRoom);
  deflateReset(&stream);
  if (beforeCount > 0) deflateSetDictionary(&stream, static_cast<Bytef const*>(before), static_cast<uInt>(beforeCount));
  stream.next_in = static_cast<Bytef*>(const_cast<void*>(data));  // zlib does not write to it
  stream.avail_in = static_cast<uInt>(count);
  stream.next_out = deflated.data.get();
  stream.avail_out = static_cast<uInt>(deflated.size);
  int const result = deflate(&stream, last ? Z_FINISH : Z_SYNC_FLUSH);
  if (result != (last ? Z_STREAM_END : Z_OK) || stream.avail_out == 0) throw Exception("A chunk could not be deflated");
  deflated.size -= stream.avail_out;
  return deflated;
}

DeflateQueue::Task::~Task() = default;

/// Entries stand in the order of delivery. Only the owner adds and removes them; threads take only waiting ones. A
/// deque does not move its entries meanwhile.
struct DeflateQueue::Impl {
  std::size_t budget;
  std::size_t held = 0;  // bytes of all entries; only the owner uses it
  std::mutex mutex{};
  std::condition_variable hasWork{};
  std::condition_variable hasResult{};
  std::deque<Queued> entries{};
  std::size_t taken = 0;  // number of entries that threads have taken, from the front
  bool isEnding = false;
  std::vector<std::thread> threads{};

  ~Impl() { stop(); }

  void stop() {
    {
      std::lock_guard const lock(mutex);
      isEnding = true;
    }
    hasWork.notify_all();
    for (auto& thread : threads) thread.join();
    threads.clear();
    isEnding = false;
  }

  void start(std::size_t count) try {
    threads.reserve(count);
    while (threads.size() < count) threads.emplace_back([this] { work(); });
  } catch (std::system_error const&) {
    return;  // fewer threads suffice
  }

  void work() {
    std::unique_lock lock(mutex);
    for (;;) {
      hasWork.wait(lock, [this] { return isEnding || taken < entries.size(); });
      if (isEnding) return;
      Queued& entry = entries[taken++];
      entry.progress = Progress::Running;
      lock.unlock();
      bool const done = runs(*entry.task);
      lock.lock();
      entry.progress = done ? Progress::Done : Progress::Failed;
      hasResult.notify_one();
    }
  }

  static bool runs(Task& task) noexcept try {
    task.run();
    return true;
  } catch (...) {
    return false;  // runs again on the owner's thread, which receives the exception
  }

  bool isFrontDone() {
    std::lock_guard const lock(mutex);
    return !entries.empty() && entries.front().progress == Progress::Done;
  }

  Queued& waitForFront() {
    std::unique_lock lock(mutex);
    Queued& front = entries.front();
    hasResult.wait(lock, [&] { return front.progress == Progress::Done || front.progress == Progress::Failed; });
    return front;
  }

  void deliverFront() {
    Queued& front = waitForFront();
    if (front.progress == Progress::Failed) {
      front.task->run();
      front.progress = Progress::Done;  // no thread reads it any more
    }
    front.task->deliver();
    held -= front.size;
    std::lock_guard const lock(mutex);
    --taken;
    entries.pop_front();
  }

  void push(std::unique_ptr<Task> task, std::size_t size) {
    {
      std::lock_guard const lock(mutex);
      entries.push_back({std::move(task), size});
    }
    held += size;
    hasWork.notify_one();
  }
};

DeflateQueue::DeflateQueue(std::size_t budget) : impl_(new Impl{budget}) {}

DeflateQueue::~DeflateQueue() = default;

void DeflateQueue::setThreads(std::size_t count) {
  deliverAll();
  impl_->stop();
  impl_->start(count);
}

void DeflateQueue::add(std::unique_ptr<Task> task, std::size_t size) {
  size += kTaskSize;
  while (impl_->isFrontDone()) impl_->deliverFront();
  while (impl_->held > 0 && impl_->held + size > impl_->budget) impl_->deliverFront();
  if (!impl_->threads.empty()) return impl_->push(std::move(task), size);
  task->run();
  task->deliver();
}

void DeflateQueue::deliverAll() {
  while (impl_->held > 0) impl_->deliverFront();
}

}  // namespace opc::model::zip
