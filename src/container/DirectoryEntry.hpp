// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "container/Archive.hpp"
#include "container/DirectoryBytes.hpp"
#include "container/Inflate.hpp"

/// The entries of the central directory, as they are read by those who refuse faults and by those who list them.
namespace opc::model::zip {

/// Length of the entry that stands there, 0 where no whole one does.
std::size_t entrySizeAt(DirectoryBytes& directory, std::size_t at);

/// Whether the rest of the directory is its digital signature, which readers pass over (ECMA-376-2, Annex C).
bool isDirectorySignature(DirectoryBytes& directory, std::size_t at);

/// Views into the bytes of a whole entry; the offset is as written. False when a zip64 field that the entry refers
/// to is not there.
bool decodeEntry(unsigned char const* p, Entry& entry, std::uint32_t& disk);

/// The entry by itself, and against the `room` that the archive's offsets span. Throws InvalidPackage.
void checkEntry(unsigned char const* p, std::uint64_t room);

/// The bytes that the item takes at least; its local extra field is not known yet.
std::uint64_t minimumSize(Entry const& entry);

ItemFacts factsOf(Entry const& entry);

/// Throws InvalidItem for an item that is encrypted, patched or renamed.
void checkReadable(Entry const& entry);

}  // namespace opc::model::zip
