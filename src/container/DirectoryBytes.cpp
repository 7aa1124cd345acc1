// SPDX-License-Identifier: Apache-2.0
#include "container/DirectoryBytes.hpp"

#include <algorithm>

#include "text/Narrow.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kFirst = 1u << 20;  // holds the directory of most packages
constexpr std::size_t kGrowth = 4;

}  // namespace

DirectoryBytes::DirectoryBytes(RandomAccessBytes const& bytes, std::uint64_t begin, std::uint64_t size)
    : bytes_(bytes), begin_(begin), size_(narrow<std::size_t>(size)) {}

unsigned char const* DirectoryBytes::get(std::size_t at, std::size_t count) {
  if (at > size_ || count > size_ - at) return nullptr;
  if (at + count > filled_ || !data_) growTo(at + count);
  return data_.get() + at;
}

void DirectoryBytes::growTo(std::size_t count) {
  std::size_t const step = std::max(kFirst, filled_ > size_ / kGrowth ? size_ : filled_ * kGrowth);
  std::size_t const target = std::min(size_, std::max(count, step));
  auto grown = std::make_unique_for_overwrite<unsigned char[]>(target);
  std::copy_n(data_.get(), filled_, grown.get());
  bytes_.readAt(begin_ + filled_, grown.get() + filled_, target - filled_);
  data_ = std::move(grown);
  filled_ = target;
}

}  // namespace opc::model::zip
