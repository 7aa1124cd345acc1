// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "foundation/zip/Archive.hpp"

namespace opc::model::zip {

/// A local header that agrees with its directory entry.
struct LocalHeader {
  std::size_t size;        // with name and extra field
  std::string_view extra;  // a view into the bytes given
  bool hasDescriptor;
};

/// Length of the local header that begins with these kLocalSize bytes, its name and extra field included.
/// Throws InvalidItem where there is none.
std::size_t localHeaderSize(Entry const& entry, unsigned char const* begin);

/// Compares a whole local header with the directory: name, method, encryption, and CRC and sizes unless
/// they stand in a data descriptor. `size` is what localHeaderSize() said of it, kLocalSize or more. Throws
/// InvalidItem.
LocalHeader checkLocalHeader(Entry const& entry, unsigned char const* begin, std::size_t size);

/// Compares a data descriptor with the directory, where it can be recognised in the bytes behind the
/// item's data: by its signature, which writers may leave out. Throws InvalidItem.
void checkDescriptor(Entry const& entry, unsigned char const* behindData, std::size_t available);

}  // namespace opc::model::zip
