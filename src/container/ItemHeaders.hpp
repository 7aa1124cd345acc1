// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "container/Directory.hpp"
#include "container/Spool.hpp"

/// Writes the headers of items.
namespace opc::model::zip {

/// Whether sizes of the entry need a zip64 field.
bool hasLargeSizes(Entry const& entry);

/// The directory entry of a content that the product wrote, without place and extra fields. Equal contents have equal
/// entries: the time is fixed. Throws CouldNotSavePackage for a name that is too long.
Entry newEntry(std::string_view name, Content const& content);

/// The extra field with the index of the content's chunks; empty if it has none.
std::string chunkField(Content const& content);

/// Appends the local header. `extra` are its own extra fields, which need not be those of the entry. Adds a zip64 field
/// where the entry needs one. Throws CouldNotSavePackage where the fields are too long together.
void putLocalHeader(std::vector<unsigned char>& to, Entry const& entry, std::string_view extra);

/// The same for the central header, with the extra fields of the entry.
void putCentralHeader(std::vector<unsigned char>& to, Entry const& entry);

/// How many bytes a local header takes that is written before the size of its content is known.
std::size_t openHeaderSize(std::string_view name);

/// Appends a local header of openHeaderSize() bytes: a zip64 field, or a growth hint of its size (ECMA-376-2, Annex C).
void putOpenHeader(std::vector<unsigned char>& to, Entry const& entry);

/// Whether an item has room to grow, apart from that which a package's writer leaves: in front of the content types,
/// and that of putOpenHeader().
bool hasGrowthHint(Entry const& entry, std::string_view localExtra);

/// Appends a local header that is followed by `contentSize` bytes and fills, with them, exactly `room` bytes by a
/// growth hint. False, without a change, where the room is too small or larger than a growth hint can fill.
bool putFillingHeader(std::vector<unsigned char>& to, Entry const& entry, std::size_t contentSize, std::size_t room);

}  // namespace opc::model::zip
