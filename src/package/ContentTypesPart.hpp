// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "opc/Streams.hpp"
#include "package/PackageState.hpp"
#include "xml/XmlStreamReader.hpp"

/// The content types stream (ECMA-376-2, 10.1.2): a default for each extension, overrides by part name.
namespace opc::model::detail {

struct ContentTypes {
  struct Override {
    MediaType const* type;
    bool isUsed = false;  // a part has it
  };

  std::map<std::string, MediaType const*> defaults;  // by extension in lower case
  std::map<std::string, Override, NameLess> overrides;

  /// The type of an item with a valid part name, or null. Marks an override as used if its text is a media type.
  MediaType const* typeOf(std::string_view name);
};

/// Whether the type has parameters and is one of those that the standard defines, for relationships, core properties or
/// signatures (ECMA-376-2, 9.1.2).
bool hasForbiddenParameters(ContentType const& type);

/// Reads at most `maximum` defaults and overrides. Throws what the reader throws, and InvalidXMLDocument for faults of
/// content types.
ContentTypes readContentTypes(XmlStreamReader& reader, InputStream& input, std::uint64_t maximum, MediaTypePool& types);

/// The defaults for a save: those of the package, and for each further extension the most frequent type of its parts.
std::map<std::string, MediaType const*> defaultsFor(PackageState const& state);

/// Does not close the stream.
void writeContentTypes(PackageState const& state, std::map<std::string, MediaType const*> const& defaults,
                       OutputStream& output);

}  // namespace opc::model::detail
