// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "container/RandomAccessBytes.hpp"

namespace opc::model::zip {

/// A copy of the central directory that grows, several times over, only when what is there so far has been
/// asked for: whoever checks each entry before the next never holds much more than has proved sound. (A
/// sparse file may claim a directory of any size.)
class DirectoryBytes {
 public:
  DirectoryBytes(RandomAccessBytes const& bytes, std::uint64_t begin, std::uint64_t size);

  /// The bytes there, valid until the next call, or null where the directory has fewer.
  unsigned char const* get(std::size_t at, std::size_t count);
  std::size_t size() const { return size_; }
  /// The whole, once the end of it has been asked for.
  std::unique_ptr<unsigned char[]> take() { return std::move(data_); }

 private:
  void growTo(std::size_t count);

  RandomAccessBytes const& bytes_;
  std::uint64_t begin_;
  std::size_t size_;
  std::size_t filled_ = 0;
  std::unique_ptr<unsigned char[]> data_;
};

}  // namespace opc::model::zip
