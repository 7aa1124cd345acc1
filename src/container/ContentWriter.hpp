// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "container/DeflateQueue.hpp"
#include "container/Spool.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// Compresses what is written into a spool. Content is deflated whole up to 8 MiB, in primed chunks of
/// 1 MiB beyond; stored with Effort::Store, and where its first 64 KiB or the whole does not shrink. close()
/// makes content() available. A failed write is final: further writes and close() throw it again. Destroyed
/// unclosed it abandons the content. Throws CouldNotSavePackage, and StreamError for a write after close().
///
/// With a queue, which must outlive it, the deflating is left to the queue's threads.
class ContentWriter final : public OutputStream {
 public:
  ContentWriter(std::shared_ptr<Spool> spool, Effort effort, DeflateQueue* queue = nullptr);
  ~ContentWriter() override;

  void write(void const* data, std::size_t count) override;
  void close() override;
  /// Closes without waiting: `done` receives the content once the queue delivers it, or at once. What it throws
  /// it throws out of the delivery, which is then repeated.
  void closeLater(std::function<void(Content const&)> done);
  /// After a close() that did not throw.
  Content const& content() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
