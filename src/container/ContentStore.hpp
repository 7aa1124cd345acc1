// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "container/ChunkIndex.hpp"
#include "container/ContentWriter.hpp"
#include "container/Deflate.hpp"
#include "container/Spool.hpp"
#include "io/FileHandle.hpp"
#include "io/TaskQueue.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// Holds new contents, each under a number, until an archive takes them over. It hides compression, threads, memory and
/// temporary files from its callers. For a new package it lays them out as items, in the order of writing and behind
/// room for a first one, so that its file can become the package. The bytes of a content are the same for any number of
/// threads. Of discarded contents it keeps at most as many bytes as of others, or 16 MiB.
///
/// One thread at a time uses it. The next call that writes, reads or settles throws a failure of the store's threads,
/// and the one after that repeats the work, so that no content is lost. Throws CouldNotSavePackage where temporary
/// files fail.
class ContentStore {
 public:
  using Number = std::uint32_t;
  class Writer;
  enum class Purpose : std::uint8_t { NewPackage, Changes };

  /// Temporary files go into `directory` (UTF-8; empty: the system's temporary directory).
  explicit ContentStore(std::string directory = {}, Purpose purpose = Purpose::Changes);
  /// Drops unsettled work.
  ~ContentStore();
  ContentStore(ContentStore const&) = delete;
  ContentStore& operator=(ContentStore const&) = delete;

  /// A stream for one content: that of the item `name` in a new package. The store must outlive it.
  std::unique_ptr<Writer> write(Effort effort, std::string_view name = {});
  /// Writes a content at once, without the store's threads, behind everything before.
  Number write(Effort effort, std::function<void(OutputStream&)> const& writeTo, std::string_view name = {});
  /// A content without a number, which the store does not keep.
  Content writeApart(Effort effort, std::function<void(OutputStream&)> const& writeTo) const;
  /// The content, whose header names another item, is to be that of an item of another name.
  void rename(Number number) noexcept;

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

  /// Whether it is for a new package, too large for memory, and has dropped nothing. Does not depend on threads.
  bool isInFile() const { return purpose_ == Purpose::NewPackage && isInOrder_ && spool_->isInFile(); }
  /// The file of a new package, so that the package can take it over. The store does not write to it any more. The
  /// caller has found that it holds the contents and nothing else, in `holder`. The handle is not open where isInFile()
  /// is false or the store has another spool.
  FileHandle shareFile(std::shared_ptr<Spool const> const& holder);
  /// How many bytes are free in front of all contents of a new package.
  static constexpr std::size_t kRoom = 16u << 10;

  /// Forgets all contents, of which none may be under way, and continues with changes, in another directory. Input
  /// streams and Content values keep the bytes they need. Does nothing when it throws.
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
    std::uint16_t headerSize : 13 = 0;
    bool isDeflated : 1 = false;
    State state : 2 = State::Free;

    /// With its header.
    std::uint64_t begin() const { return offset - headerSize; }
    std::uint64_t bytes() const { return storedSize + headerSize; }
  };

  static constexpr Number kNone = UINT32_MAX;
  static constexpr std::uint16_t kLongestHeader = 0x1FFF;  // that a slot can hold

  bool isWasteful() const;
  void reclaim() noexcept;
  void moveContents();
  Number reserve();
  void complete(Number number, Content const& content);
  void release(Number number) noexcept;
  std::uint16_t numberOf(std::shared_ptr<Spool const> const& spool);
  std::string_view headerName(std::string_view name) const;
  std::shared_ptr<Spool> makeSpool(std::string const& directory, Purpose purpose) const;

  std::string directory_;
  Purpose purpose_;
  bool hasThreads_ = false;
  bool isInOrder_ = true;                                       // no content was dropped, none can have been moved
  std::uint64_t live_ = 0;                                      // bytes of all complete contents, headers included
  std::uint64_t dead_ = 0;                                      // other bytes that the spools hold for nobody
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
  Writer(ContentStore& store, Effort effort, std::string_view name)
      : store_(store), writer_(store.spool_, effort, &store.queue_, name) {}

  ~Writer();
  Writer(Writer const&) = delete;
  Writer& operator=(Writer const&) = delete;

  void write(void const* data, std::size_t count) { writer_.write(data, count); }
  /// Ends the content and returns its number. Threads may still work on it.
  Number finish();

 private:
  ContentStore& store_;
  ContentWriter writer_;
  bool isFinished_ = false;
};

}  // namespace opc::model::zip
