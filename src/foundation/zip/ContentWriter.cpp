// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "foundation/zip/Deflate.hpp"
#include "foundation/zip/Spool.hpp"
#include "foundation/zip/ZipErrors.hpp"
#include "foundation/zip/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kWholeBytes = 8u << 20;

}  // namespace

/// Content goes through three states: held back while it is at most kWholeBytes; beyond that a decision
/// taken from its beginning, stored or deflated in chunks; complete.
struct ContentWriter::Impl {
  std::shared_ptr<Spool> spool;
  Effort effort;
  std::vector<unsigned char> held{};  // not in the spool yet; in chunks preceded by `before` bytes of the last one
  std::size_t before = 0;
  std::shared_ptr<Spool> lane{};          // once the content is long
  std::optional<ChunkDeflater> chunks{};  // unless it is stored
  Content content{};
  std::exception_ptr failure{};
  bool closed = false;

  ~Impl() {
    if (lane) lane->giveBack();
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

  void hold(unsigned char const* data, std::size_t count) { held.insert(held.end(), data, data + count); }

  void take(unsigned char const* data, std::size_t count) {
    content.crc = crcOf(content.crc, data, count);
    content.size += count;
    if (!lane) {
      std::size_t const room = std::min(count, kWholeBytes - held.size());
      hold(data, room);
      if (room == count) return;
      becomeLong();
      data += room;
      count -= room;
    }
    if (chunks)
      takeChunks(data, count);
    else
      store(*lane, data, count);
  }

  void becomeLong() {
    lane = spool->borrowLane();
    content.offset = lane->size();
    std::vector<unsigned char> const beginning = std::move(held);
    held = {};
    if (effort != Effort::Store && doesShrink(beginning.data(), kProbeSize)) {
      chunks.emplace(effort);
      held.reserve(ChunkDeflater::kWindow + ChunkDeflater::kChunk);
      takeChunks(beginning.data(), beginning.size());
    } else {
      store(*lane, beginning.data(), beginning.size());
    }
  }

  /// A full chunk waits for what follows it, since the last one ends differently.
  void takeChunks(unsigned char const* data, std::size_t count) {
    while (count > 0) {
      std::size_t const room = before + ChunkDeflater::kChunk - held.size();
      if (room == 0) {
        deflateHeld(false);
        continue;
      }
      std::size_t const step = std::min(count, room);
      hold(data, step);
      data += step;
      count -= step;
    }
  }

  void deflateHeld(bool last) {
    auto const deflated = chunks->deflateChunk(held.data(), before, held.data() + before, held.size() - before, last);
    store(*lane, deflated.data, deflated.size);
    before = ChunkDeflater::kWindow;
    held.erase(held.begin(), held.end() - static_cast<std::ptrdiff_t>(before));
  }

  void store(Spool& to, void const* data, std::size_t count) {
    to.append(data, count);
    content.storedSize += count;
  }

  void complete() {
    if (!lane) {
      completeShort();
      content.spool = spool;
      return;
    }
    if (chunks) deflateHeld(true);
    content.method = chunks ? kDeflated : kStored;
    content.spool = lane;
  }

  void completeShort() {
    content.offset = spool->size();
    bool const probed = effort != Effort::Store && (held.size() <= kProbeSize || doesShrink(held.data(), kProbeSize));
    Buffer const deflated = probed ? deflateWhole(effort, held.data(), held.size()) : Buffer(0);
    content.method = deflated.size > 0 ? kDeflated : kStored;
    if (deflated.size > 0)
      store(*spool, deflated.data.get(), deflated.size);
    else
      store(*spool, held.data(), held.size());
  }
};

ContentWriter::ContentWriter(std::shared_ptr<Spool> spool, Effort effort) : impl_(new Impl{std::move(spool), effort}) {}

ContentWriter::~ContentWriter() = default;

void ContentWriter::write(void const* data, std::size_t count) {
  if (impl_->closed) throw StreamError("The stream is closed");
  impl_->guarded([&] { impl_->take(static_cast<unsigned char const*>(data), count); });
}

void ContentWriter::close() {
  if (impl_->closed) return;
  impl_->guarded([&] { impl_->complete(); });
  impl_->closed = true;
  impl_->held = {};
  impl_->chunks.reset();
  if (auto const lane = std::exchange(impl_->lane, nullptr)) lane->giveBack();
}

Content const& ContentWriter::content() const {
  if (!impl_->closed) throw InvalidState("The content is not complete");
  return impl_->content;
}

}  // namespace opc::model::zip
