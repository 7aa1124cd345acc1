// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "container/ChunkIndex.hpp"
#include "container/ContentWriter.hpp"
#include "container/Deflate.hpp"
#include "container/Spool.hpp"
#include "io/TaskQueue.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// Holds new contents, each under a number, until an archive takes them over. It hides compression, threads, memory and
/// temporary files from its callers. The bytes of a content are the same for any number of threads. Of discarded
/// contents it keeps at most as many bytes as of others, or 16 MiB.
///
/// One thread at a time uses it. The next call that writes, reads or settles throws a failure of the store's threads,
/// and the one after that repeats the work, so that no content is lost. Throws CouldNotSavePackage where temporary
/// files fail.
class ContentStore {
 public:
  using Number = std::uint32_t;
  class Writer;

  /// Temporary files go into `directory` (UTF-8; empty: the system's temporary directory).
  explicit ContentStore(std::string directory = {});
  /// Drops unsettled work.
  ~ContentStore();
  ContentStore(ContentStore const&) = delete;
  ContentStore& operator=(ContentStore const&) = delete;

  /// A stream for one content. The store must outlive it.
  std::unique_ptr<Writer> write(Effort effort);
  /// Writes a content at once, without the store's threads.
  Number write(Effort effort, std::function<void(OutputStream&)> const& writeTo);

  /// The content; waits for threads that still work on it. `name` is for messages.
  std::unique_ptr<InputStream> read(Number number, std::string const& name, std::uint64_t offset = 0);
  Content content(Number number);
  /// Waits for the threads if they still work on that content.
  void await(Number number);
  /// Frees the number. Streams that read the content stay usable.
  void discard(Number number) noexcept;
  /// Waits until every content is complete.
  void settle();
  /// Waits for the work that began first. False where none is under way.
  bool settleFirst() { return queue_.deliverFirst(); }

  /// Compresses on `count` threads from now on; unless that is 0, others write files. Settles first.
  void setThreads(std::size_t count);
  bool hasThreads() const { return hasThreads_; }

  /// Forgets all contents, of which none may be under way, and continues in another directory. Input streams and
  /// Content values keep the bytes they need. Does nothing when it throws.
  void restart(std::string directory);

 private:
  enum class State : std::uint8_t { Free, UnderWay, Discarded, Complete };

  /// A Content with a spool's number instead of a pointer, since a package may hold a million of them.
  struct Slot {
    std::uint64_t offset = 0;
    std::uint64_t storedSize = 0;
    std::uint64_t size = 0;
    std::uint32_t crc = 0;
    std::uint16_t spool = 0;  // number of the spool
    bool isDeflated = false;
    State state = State::Free;
  };

  static constexpr Number kNone = UINT32_MAX;

  bool isWasteful() const;
  void reclaim() noexcept;
  void moveContents();
  Number reserve();
  void complete(Number number, Content const& content);
  void release(Number number) noexcept;
  std::uint16_t numberOf(std::shared_ptr<Spool const> const& spool);
  std::shared_ptr<Spool> makeSpool(std::string const& directory) const;

  std::string directory_;
  bool hasThreads_ = false;
  std::uint64_t live_ = 0;                                      // stored bytes of all complete contents
  std::shared_ptr<Spool> spool_;                                // receives new contents
  std::vector<std::shared_ptr<Spool const>> spools_;            // hold contents: spool_ and its lanes
  std::deque<Slot> slots_;                                      // by number of the content
  Number firstFree_ = kNone;                                    // its offset holds the next one
  std::map<Number, std::shared_ptr<ChunkIndex const>> chunks_;  // of the few long contents
  TaskQueue queue_;  // last, so that it ends before the members its tasks use
};

/// Compresses one content into the store. Destroyed before finish(), it abandons the content. A failed write is final:
/// further writes and finish() throw it again. Throws StreamError for a write after finish().
class ContentStore::Writer {
 public:
  Writer(ContentStore& store, Effort effort) : store_(store), writer_(store.spool_, effort, &store.queue_) {}

  void write(void const* data, std::size_t count) { writer_.write(data, count); }
  /// Ends the content and returns its number. Threads may still work on it.
  Number finish();

 private:
  ContentStore& store_;
  ContentWriter writer_;
};

}  // namespace opc::model::zip
