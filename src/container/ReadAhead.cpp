// SPDX-License-Identifier: Apache-2.0
#include "container/ReadAhead.hpp"

#include <algorithm>

namespace opc::model::zip {
namespace {

// A wrong guess is cheap, a long row takes few steps.
constexpr std::size_t kFirstWindow = 16u << 10, kGrowth = 4, kWindow = 1u << 20;
constexpr std::uint64_t kGap = 4096;  // between pieces that still follow one another

}  // namespace

unsigned char const* ReadAhead::bytes(Source const& source, std::uint64_t offset, std::size_t count) {
  bool const known = id_ == source.id && offset >= begin_;
  std::uint64_t const at = offset - begin_;
  if (known && at <= filled_ && count <= filled_ - at) return buffer_.data.get() + at;
  bool const follows = known && at > 0 && at <= filled_ + kGap;  // at 0 it is the same piece, longer
  std::uint64_t const left = offset < source.size ? source.size - offset : 0;
  window_ = follows ? std::clamp(window_ * kGrowth, kFirstWindow, kWindow) : 0;
  read(source, offset, std::max(count, static_cast<std::size_t>(std::min<std::uint64_t>(left, window_))));
  return buffer_.data.get();
}

void ReadAhead::read(Source const& source, std::uint64_t offset, std::size_t count) {
  id_ = nullptr;
  if (buffer_.size < count) buffer_ = Buffer(count);
  source.readAt(offset, buffer_.data.get(), count);
  id_ = source.id;
  begin_ = offset;
  filled_ = count;
}

}  // namespace opc::model::zip
