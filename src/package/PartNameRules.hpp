// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "text/Ascii.hpp"

/// The rules of ECMA-376-2, 9.1.1, on names as narrow strings: a valid name is plain ASCII.
namespace opc::model::detail {

/// One byte to each code unit, so that positions agree; what is not ASCII becomes 0x80, which no valid
/// name holds.
std::string narrowName(std::u16string_view name);
/// From ASCII.
std::u16string wideName(std::string_view name);

using ascii::lowerCased;
inline bool equalIgnoringCase(std::string_view a, std::string_view b) { return ascii::equalIgnoringCase(a, b); }
bool endsIgnoringCase(std::string_view text, std::string_view end);

/// Whether the name is `start` and further segments.
bool continues(std::string_view name, std::string_view start);

/// Grammar and percent-encoding (9.1.1.1); the names of relationships parts are valid too.
bool isValidPartName(std::string_view name);

/// "/_rels/.rels", ".../_rels/NAME.rels": a relationships part (9.3.3).
bool isRelationshipsName(std::string_view name);
/// The relationships part of a source; of the package where the source is empty.
std::string relationshipsNameOf(std::string_view source);
/// The source of a relationships part; empty for the package.
std::string sourceNameOf(std::string_view relationshipsName);

/// Behind the last dot of the last segment, in lower case; empty where there is none.
std::string extensionOf(std::string_view name);

/// What a segment, by itself, makes of the names that hold it: the length of `name` up to and including
/// its first segment that is empty, ends in a dot or, with the last segment, is reserved for relationships.
std::optional<std::size_t> lengthUpToBadSegment(std::string_view name);

/// The longest name that an item of the container may have, in bytes.
inline constexpr std::size_t kMaximumItemName = 65'535;

}  // namespace opc::model::detail
