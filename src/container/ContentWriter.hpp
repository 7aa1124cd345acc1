// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

#include "container/Deflate.hpp"
#include "container/Spool.hpp"
#include "io/TaskQueue.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// Compresses one content into a spool. It deflates up to 2 MiB whole, and more in independent chunks of 1 MiB. It
/// stores the bytes uncompressed with Effort::Store, and where the first 64 KiB or the
/// whole do not shrink. A content of more than one chunk has an index. close() makes content() available. A failed
/// write is final: further writes and close() throw it again. Destroyed unclosed, it abandons the content. Throws
/// CouldNotSavePackage, and StreamError for a write after close().
///
/// With a queue, which must outlive the writer, the queue's threads compress. With the name of an item, the content
/// stands behind the item's local header, so that a package can take over the spool's file.
class ContentWriter final : public OutputStream {
 public:
  ContentWriter(std::shared_ptr<Spool> spool, Effort effort, TaskQueue* queue = nullptr, std::string_view name = {});
  ~ContentWriter() override;

  void write(void const* data, std::size_t count) override;
  void close() override;
  /// Closes without waiting: `done` receives the content when the queue delivers it, or at once without a queue. If it
  /// throws, the delivery throws and is repeated.
  void closeLater(std::function<void(Content const&)> done);
  /// After a close() that did not throw.
  Content const& content() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
