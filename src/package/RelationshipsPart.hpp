// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "opc/Streams.hpp"
#include "package/RelationshipSet.hpp"
#include "xml/XmlStreamReader.hpp"

/// The XML of relationships parts (ECMA-376-2, 9.3).
namespace opc::model::detail {

/// How many relationships the parts of a package may hold together, and how many have been read.
struct RelationshipCount {
  std::uint64_t maximum;
  std::uint64_t taken = 0;
};

/// Reads the relationships of a source (empty: the package) into the set. Markup compatibility is processed
/// (9.3.4), and what it leaves out is not kept. Throws what the reader throws;
/// the faults of relationships are InvalidXMLDocument too.
void readRelationships(XmlStreamReader& reader, InputStream& input, std::string const& source, TextPool& texts,
                       RelationshipCount& count, RelationshipSet& relationships);

/// Does not close the stream.
void writeRelationships(RelationshipSet const& relationships, OutputStream& output);

/// Whether an internal relationship may have the target: a relative reference to anything but a
/// relationships part. `source` is "/" for the package.
bool isInternalTarget(std::u16string const& target, std::u16string const& source);

}  // namespace opc::model::detail
