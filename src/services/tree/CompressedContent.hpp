// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "container/Deflate.hpp"
#include "io/TaskQueue.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "services/tree/FileSystemNode.hpp"

/// Compression of contents that are then encrypted: a raw deflate stream (RFC 1951).
namespace opc::ztservices {

struct MaybeCompressed {
  std::unique_ptr<IContentSource> source;             ///< of the same content type
  std::shared_ptr<std::uint64_t const> deflatedFrom;  ///< null where it is not compressed, else the size of the
                                                      ///< content, once the source was read to its end
};

/// Compresses contents on threads and hands them over in the order in which they came, so that everything is the same
/// for any number of threads. One thread at a time uses it.
class CompressionQueue {
 public:
  using Take = std::function<void(MaybeCompressed)>;

  explicit CompressionQueue(model::CompressionLevel level, std::size_t threads = 0);
  CompressionQueue(CompressionQueue const&) = delete;
  CompressionQueue& operator=(CompressionQueue const&) = delete;

  /// Deflates a content if that makes it smaller. Reads up to 2 MiB of it now. A longer content is handed over now: its
  /// first 64 KiB decide, and it is read and deflated in chunks with the source that `take` receives. Throws what
  /// reading throws, and what an earlier `take` throws.
  void add(std::unique_ptr<IContentSource> source, Take take);
  /// Calls the step in its turn.
  void add(std::function<void()> step);
  /// Hands over the rest. After an exception of a `take` or a step nothing more is handed over.
  void finish();

 private:
  class Task;

  model::zip::Effort effort_;
  std::size_t threads_;
  bool hasFailed_ = false;
  TaskQueue queue_{};  // last, so that it ends before what its tasks use
};

/// Compresses one content. Throws what reading throws.
MaybeCompressed compressed(std::unique_ptr<IContentSource> source, model::CompressionLevel level,
                           std::size_t threads = 0);

/// The content of a deflated source. Its stream throws model::InvalidItem, which names `name`, where the source is not
/// a whole deflate stream, and where the content has not that size. It delivers no byte behind the size.
std::unique_ptr<IContentSource> inflated(std::unique_ptr<IContentSource> source, std::string name,
                                         std::uint64_t size = kUnknownSize);

}  // namespace opc::ztservices
