// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Streams.hpp"
#include "services/tree/FileSystemTree.hpp"

namespace opc::ztservices {

enum class ManifestVersion { One, Current };

/// Writes the manifest of the tree, leaf by leaf in key order. Does not close the stream. Throws
/// model::InvalidPartContent when the tree holds what XML cannot carry or an attribute longer than the reader takes,
/// and what the stream throws.
void writeManifest(FileSystemTree const& tree, ManifestVersion version, OutputStream& output);

}  // namespace opc::ztservices
