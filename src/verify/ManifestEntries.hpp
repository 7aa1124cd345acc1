// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "opc/Streams.hpp"
#include "services/tree/FileSystemNode.hpp"

namespace opc::ztservices {

/// An entry as a manifest lists it.
struct ManifestEntry {
  FileSystemNodeType type;
  std::u16string path;
  std::u16string content;  // part of a file, target of a link (in version 1: the part that holds it)
};

/// Receives a code, the path as it is written, and a description of the fault.
using EntryFaultSink = std::function<void(char const* code, std::u16string const& path, std::string const& what)>;

/// Reads a manifest of either version as a manager does, but continues behind the entries at which a manager stops.
/// Throws InvalidXMLDocument for a document that is not well formed or not valid, after everything in front of the
/// fault has been reported.
void readManifestEntries(InputStream& input, std::function<void(ManifestEntry)> const& take,
                         EntryFaultSink const& reportFault);

}  // namespace opc::ztservices
