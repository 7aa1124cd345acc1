// SPDX-License-Identifier: Apache-2.0
#include "services/tree/FileSystemManifest.hpp"

#include "opc/model/Exceptions.hpp"
#include "services/tree/ManifestReader.hpp"
#include "services/tree/ManifestSchemas.hpp"
#include "services/tree/ManifestWriter.hpp"

namespace opc::ztservices {

FileSystemManifest::FileSystemManifest() : reader_(model::loadXmlGrammars({kManifestSchemaV1, kManifestSchema})) {}

void FileSystemManifest::read(InputStream& input, FileSystemTree& tree) {
  ManifestReader handler(tree);
  try {
    reader_.read(input, handler);
  } catch (model::InvalidXMLDocument const& fault) {
    tree.clear();
    throw model::InvalidPartContent(fault.what(), fault.getErrorCode());
  }
}

void FileSystemManifest::write(FileSystemTree const& tree, OutputStream& output) const {
  writeManifest(tree, ManifestVersion::Current, output);
}

void FileSystemManifest::writeV1(FileSystemTree const& tree, OutputStream& output) const {
  writeManifest(tree, ManifestVersion::One, output);
}

}  // namespace opc::ztservices
