// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

#include "container/ItemStream.hpp"

/// Compression of contents, and the threads that compress.
namespace opc::model::zip {

/// How hard to deflate, if at all.
enum class Effort { Store, Fast, Default, Small };

/// How many bytes of a content the probe reads.
inline constexpr std::size_t kProbeSize = 64u << 10;

/// Whether deflating these bytes saves space. A quick look at the beginning of media, archives and ciphertext answers
/// no.
bool doesShrink(void const* data, std::size_t count);

/// Deflates everything at once. The result is empty when it would not be smaller than the content.
Buffer deflateWhole(Effort effort, void const* data, std::size_t count);

inline constexpr std::size_t kDeflateChunk = 1u << 20;
inline constexpr std::size_t kDeflateWindow = 32u << 10;

/// Deflates one chunk of a content, of kDeflateChunk bytes unless it is the `last`. A chunk depends only on its own
/// bytes and on up to kDeflateWindow bytes `before` it. So memory is bounded, several chunks can be deflated at a time,
/// and the result depends on nothing but the content.
Buffer deflateChunk(Effort effort, void const* before, std::size_t beforeCount, void const* data, std::size_t count,
                    bool last);

/// Runs deflating tasks on threads of its own while its owner continues. The owner uses the queue from one thread at a
/// time. Tasks run in any order, but the queue delivers them on the owner's thread in the order of add(). So a delivery
/// needs no locks, and the results are the same for any number of threads. The sizes of undelivered tasks add up to at
/// most kBudget bytes; add() waits for room.
class DeflateQueue {
 public:
  class Task {
   public:
    virtual ~Task();
    /// The work; touches only the task. If it throws, it is repeated on the owner's thread before the delivery, so that
    /// the owner receives the exception.
    virtual void run() = 0;
    /// Hands over the result. If it throws, the next call that delivers repeats it.
    virtual void deliver() = 0;
  };

  /// Begins without threads.
  explicit DeflateQueue(std::size_t budget = kBudget);
  /// Drops undelivered contents.
  ~DeflateQueue();
  DeflateQueue(DeflateQueue const&) = delete;
  DeflateQueue& operator=(DeflateQueue const&) = delete;

  /// Delivers everything and continues with that many threads, or as many as the system allows. Without threads, add()
  /// runs and delivers the task itself.
  void setThreads(std::size_t count);
  /// Also delivers finished tasks. Throws what a delivery throws, and then does not take the new task.
  void add(std::unique_ptr<Task> task, std::size_t size);
  void deliverAll();

  static constexpr std::size_t kBudget = 64u << 20;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
