// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "text/Ascii.hpp"

/// The rules of ECMA-376-2, 9.1.1, for names as narrow strings. A valid name is ASCII.
namespace opc::model::detail {

/// One byte for each code unit, so that positions agree. Other characters than ASCII become 0x80, which no valid name
/// contains.
std::string narrowName(std::u16string_view name);
/// Widens ASCII.
std::u16string wideName(std::string_view name);

using ascii::lowerCased;
inline bool equalIgnoringCase(std::string_view a, std::string_view b) { return ascii::equalIgnoringCase(a, b); }
inline bool equalIgnoringCase(std::u16string_view a, std::u16string_view b) { return ascii::equalIgnoringCase(a, b); }
bool endsIgnoringCase(std::string_view text, std::string_view end);

/// Whether the name is `start` followed by further segments.
bool continues(std::string_view name, std::string_view start);

/// Checks grammar and percent-encoding (9.1.1.1). Names of relationships parts are valid.
bool isValidPartName(std::string_view name);

/// "/_rels/.rels", ".../_rels/NAME.rels": a relationships part (9.3.3).
bool isRelationshipsName(std::string_view name);
/// The relationships part of a source; of the package where the source is empty.
std::string relationshipsNameOf(std::string_view source);
/// The source of a relationships part; empty for the package.
std::string sourceNameOf(std::string_view relationshipsName);

/// The text behind the last dot of the last segment, in lower case; empty without a dot.
std::string extensionOf(std::string_view name);

/// The length of `name` up to and including its first invalid segment: one that is empty, ends in a dot or, together
/// with the last segment, is reserved for relationships.
std::optional<std::size_t> lengthUpToBadSegment(std::string_view name);

/// The longest name that an item of the container may have, in bytes.
inline constexpr std::size_t kMaximumItemName = 65'535;

}  // namespace opc::model::detail
