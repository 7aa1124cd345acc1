// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "services/tree/FileSystemTree.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {

/// The schemas of the manifest, as text, each under its file name.
extern model::XmlSchemaText const kManifestSchema;
extern model::XmlSchemaText const kManifestSchemaV1;

/// Fills a tree from a manifest of either version as it streams by. Relies on the schemas for what an entry
/// must have; throws model::InvalidPartContent for what they leave open, and the tree's own exception for a
/// path that is present already.
class ManifestReader final : public model::XmlContentHandler {
 public:
  explicit ManifestReader(FileSystemTree& tree) : tree_(tree) {}

  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    model::XmlAttributes const& attributes) override;

 private:
  void readRoot(model::XmlAttributes const& attributes);
  void readEntry(model::XmlAttributes const& attributes);
  std::u16string readName(model::XmlAttributes const& attributes) const;
  Perms::Perms_tag readPermissions(model::XmlAttributes const& attributes) const;

  FileSystemTree& tree_;
  bool isVersion1_ = false;
};

}  // namespace opc::ztservices
