// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "container/Content.hpp"
#include "container/ContentWriter.hpp"
#include "container/DeflateQueue.hpp"
#include "container/Spool.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// Holds new contents, each under a number, until an archive takes them over. Callers write, go on and read;
/// compression, threads, memory and temporary files are the store's own affair. The bytes of a content are the same for
/// any number of threads.
///
/// Used by one thread at a time. What goes wrong on the store's threads is thrown by the next call that writes, reads
/// or settles, and tried again by the one after that, so that no content is lost. Throws CouldNotSavePackage where
/// temporary files fail.
class ContentStore {
 public:
  using Number = std::uint32_t;
  class Writer;

  /// Temporary files go into `directory` (UTF-8; empty: the system's one for them).
  explicit ContentStore(std::string directory = {});
  /// Drops work that is not settled.
  ~ContentStore();
  ContentStore(ContentStore const&) = delete;
  ContentStore& operator=(ContentStore const&) = delete;

  /// A stream for one content, which the store must outlive.
  std::unique_ptr<Writer> write(Effort effort);
  /// Writes a content here and now, without the store's threads.
  Number write(Effort effort, std::function<void(OutputStream&)> const& writeTo);

  /// The content, which is waited for where threads still work on it. `name` is for messages.
  std::unique_ptr<InputStream> read(Number number, std::string const& name);
  Content content(Number number);
  /// Waits for the threads if they still work on that content.
  void await(Number number);
  /// Gives the number up; streams that read the content go on.
  void discard(Number number) noexcept;
  /// Waits until every content is complete.
  void settle();

  /// Compresses on so many threads from now on, and with any at all writes files on others. Settles first.
  void setThreads(std::size_t count);
  bool hasThreads() const { return hasThreads_; }

  /// Forgets all contents, of which none may be under way, and goes on in another directory. Streams that read, and
  /// Content values, keep what they need. Does nothing when it throws.
  void restart(std::string directory);

 private:
  enum class State : std::uint8_t { Free, UnderWay, Discarded, Complete };

  /// A content without its pointer, since a package may hold a million of them.
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

  Number reserve();
  void complete(Number number, Content const& content);
  void release(Number number) noexcept;
  std::uint16_t numberOf(std::shared_ptr<Spool const> const& spool);
  std::shared_ptr<Spool> makeSpool(std::string directory) const;

  bool hasThreads_ = false;
  std::shared_ptr<Spool> spool_;                      // receives new contents
  std::vector<std::shared_ptr<Spool const>> spools_;  // where that has come to be: the spool and its lanes
  std::deque<Slot> slots_;                            // by number
  Number firstFree_ = kNone;                          // the next one is in its offset
  DeflateQueue queue_;                                // goes before what its tasks use
};

/// Compresses one content into the store. Destroyed before finish() it abandons the content. A failed write is final:
/// further writes and finish() throw it again. Throws StreamError for a write behind finish().
class ContentStore::Writer {
 public:
  Writer(ContentStore& store, Effort effort) : store_(store), writer_(store.spool_, effort, &store.queue_) {}

  void write(void const* data, std::size_t count) { writer_.write(data, count); }
  /// Ends the content, on which threads may go on to work, and returns its number.
  Number finish();

 private:
  ContentStore& store_;
  ContentWriter writer_;
};

}  // namespace opc::model::zip
