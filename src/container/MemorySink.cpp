// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "container/ArchiveWriter.hpp"
#include "container/ZipErrors.hpp"
#include "io/FileHandle.hpp"
#include "opc/Exception.hpp"

namespace opc::model::zip {

ArchiveSink::~ArchiveSink() = default;

void MemorySink::write(void const* data, std::size_t count) {
  auto const* const from = static_cast<unsigned char const*>(data);
  bytes_.insert(bytes_.end(), from, from + count);
}

void MemorySink::copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) {
  std::size_t const end = bytes_.size();
  bytes_.resize(end + static_cast<std::size_t>(count));
  boost::system::error_code error;
  if (readAt(descriptor, offset, bytes_.data() + end, static_cast<std::size_t>(count), error) < count)
    throw couldNotSave("memory", error ? error.value() : EIO);
}

}  // namespace opc::model::zip
