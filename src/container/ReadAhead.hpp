// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "container/Inflate.hpp"
#include "container/ItemStream.hpp"

namespace opc::model::zip {

/// Saves system calls when many small pieces are read: as long as they follow one another they come out of
/// one read, the larger the longer the row is; a piece elsewhere is read alone.
class ReadAhead {
 public:
  struct Source {
    void const* id;
    std::uint64_t size;
    StoredBytes readAt;
  };

  /// The bytes, valid until the next call.
  unsigned char const* bytes(Source const& source, std::uint64_t offset, std::size_t count);

 private:
  void read(Source const& source, std::uint64_t offset, std::size_t count);

  void const* id_ = nullptr;
  std::uint64_t begin_ = 0;
  std::size_t filled_ = 0;
  std::size_t window_ = 0;  // of the last read; 0 for one alone
  Buffer buffer_{0};
};

}  // namespace opc::model::zip
