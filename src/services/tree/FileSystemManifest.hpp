// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "opc/Streams.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {

enum class ManifestVersion { One, Current };

/// Writes the manifest of the tree, leaf by leaf in key order. Does not close the stream. Throws
/// model::InvalidPartContent when the tree holds what XML cannot carry or an attribute longer than the reader takes,
/// and what the stream throws.
void writeManifest(FileSystemTree const& tree, ManifestVersion version, OutputStream& output);

/// Reads and writes the manifest part, in its current version and in version 1. Both schemas are loaded
/// once, when the object is made (InvalidXMLSchema). All faults of content are model::InvalidPartContent,
/// but for a path that the document lists twice, which is the tree's opc::Exception. One thread at a time.
class FileSystemManifest {
 public:
  FileSystemManifest();

  /// Adds one node for each entry, in document order, and sets the tree's version, platform and encoding.
  /// Entries go into the tree as they are read; a document that turns out not to be well formed or not
  /// valid leaves the tree as new, and after a fault of one entry the tree keeps those before it.
  void read(InputStream& input, FileSystemTree& tree);
  /// Files, links and childless folders; reading brings the other folders back. The caller closes the
  /// stream. What the stream throws passes through.
  void write(FileSystemTree const& tree, OutputStream& output) const;
  void writeV1(FileSystemTree const& tree, OutputStream& output) const;

 private:
  model::XmlStreamReader reader_;
};

}  // namespace opc::ztservices
