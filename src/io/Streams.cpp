// SPDX-License-Identifier: Apache-2.0
#include "opc/Streams.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <istream>
#include <limits>
#include <memory>

namespace opc {
namespace {

constexpr std::size_t kCopyBufferSize = 65'536;
constexpr auto kLargestStep = static_cast<std::size_t>(std::numeric_limits<std::streamsize>::max());

[[noreturn]] void throwReadError() { throw StreamError("Could not read from the stream"); }
[[noreturn]] void throwWriteError() { throw StreamError("Could not write to the stream"); }
[[noreturn]] void throwResetError() { throw StreamError("Could not go back to the beginning of the stream"); }

// Runs one operation of a standard stream. A stream may be set to throw ios_base::failure at its end, which is no
// failure here, or when it goes bad, which its state shows too. Other exceptions come from its buffer and pass through.
template <typename Operation>
void withoutStateExceptions(Operation operation) {
  try {
    operation();
  } catch (std::ios_base::failure const&) {
  }
}

// A stream that failed before its end has no bytes, like a file that was not opened.
bool isBroken(std::istream const& stream) { return stream.bad() || (stream.fail() && !stream.eof()); }

}  // namespace

InputStream::~InputStream() = default;
OutputStream::~OutputStream() = default;

void OutputStream::abandon() noexcept {}
FileOutputStream::~FileOutputStream() = default;

void FileOutputStream::prepare() {}
FileOutputStream::Step FileOutputStream::getFailedStep() const { return Step::Content; }
bool FileOutputStream::hasInexactTime() const { return false; }

void ByteArrayInAdaptor::reset() { position_ = 0; }

std::size_t ByteArrayInAdaptor::read(void* buffer, std::size_t count) {
  std::size_t const delivered = std::min(count, bytes_->size() - position_);
  if (delivered > 0) std::memcpy(buffer, bytes_->data() + position_, delivered);
  position_ += delivered;
  return delivered;
}

bool ByteArrayInAdaptor::isEnd() { return position_ == bytes_->size(); }

void ByteArrayInAdaptor::clear() {}

void ByteArrayOutAdaptor::write(void const* data, std::size_t count) {
  auto const* const first = static_cast<unsigned char const*>(data);
  bytes_->insert(bytes_->end(), first, first + count);
}

void ByteArrayOutAdaptor::close() {}

void StdIStreamAdaptor::reset() {
  withoutStateExceptions([this] { stream_->seekg(0); });
  if (stream_->fail()) throwResetError();
}

std::size_t StdIStreamAdaptor::read(void* buffer, std::size_t count) {
  if (count == 0) return 0;
  auto const step = static_cast<std::streamsize>(std::min(count, kLargestStep));
  withoutStateExceptions([&] { stream_->read(static_cast<char*>(buffer), step); });
  if (isBroken(*stream_)) throwReadError();
  return static_cast<std::size_t>(stream_->gcount());
}

bool StdIStreamAdaptor::isEnd() {
  withoutStateExceptions([this] { stream_->peek(); });
  if (isBroken(*stream_)) throwReadError();
  return stream_->eof();
}

void StdIStreamAdaptor::clear() {
  withoutStateExceptions([this] { stream_->clear(); });
}

void StdOStreamAdaptor::write(void const* data, std::size_t count) {
  if (closed_) throwWriteError();
  auto const* position = static_cast<char const*>(data);
  while (count > 0 && stream_->good()) {
    std::size_t const step = std::min(count, kLargestStep);
    withoutStateExceptions([&] { stream_->write(position, static_cast<std::streamsize>(step)); });
    position += step;
    count -= step;
  }
  if (!stream_->good()) throwWriteError();
}

void StdOStreamAdaptor::close() {
  if (closed_) return;
  closed_ = true;
  withoutStateExceptions([this] { stream_->flush(); });
  if (!stream_->good()) throwWriteError();
}

void StreamHelper::copyStreamToStream(InputStream& from, OutputStream& to) {
  if (auto* const inMemory = dynamic_cast<ByteArrayInAdaptor*>(&from)) return copyFromMemory(*inMemory, to);
  std::array<unsigned char, kCopyBufferSize> buffer;  // a small content takes less time than one from the heap
  while (!from.isEnd()) {
    std::size_t const count = from.read(buffer.data(), buffer.size());
    if (count > 0) to.write(buffer.data(), count);
  }
}

/// In the same steps, which stay in a processor's cache while they are written, but without a copy of each.
void StreamHelper::copyFromMemory(ByteArrayInAdaptor& from, OutputStream& to) {
  while (!from.isEnd()) {
    unsigned char const* const step = from.bytes_->data() + from.position_;
    std::size_t const count = std::min(kCopyBufferSize, from.bytes_->size() - from.position_);
    from.position_ += count;
    to.write(step, count);
  }
}

}  // namespace opc
