// SPDX-License-Identifier: Apache-2.0
#include "verify/ManifestEntries.hpp"

#include <string_view>
#include <utility>

#include "services/tree/ManifestNames.hpp"
#include "services/tree/ManifestReader.hpp"
#include "services/tree/ManifestSchemas.hpp"
#include "verify/FaultCodes.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {
namespace {

std::u16string text(model::XmlAttributes const& attributes, std::u16string_view name) {
  return std::u16string(attributes.find(name).value_or(std::u16string_view()));
}

FileSystemNodeType typeOf(std::u16string const& type) {
  if (type == manifest::kFile) return FileSystemNodeType::File;
  return type == manifest::kLink ? FileSystemNodeType::Link : FileSystemNodeType::Folder;
}

class Handler final : public model::XmlContentHandler {
 public:
  Handler(std::function<void(ManifestEntry)> const& take, EntryFaultSink const& reportFault)
      : take_(take), reportFault_(reportFault) {}

  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    model::XmlAttributes const& attributes) override {
    if (localName == manifest::kEntries) return reader_.startElement(namespaceURI, localName, attributes);
    std::u16string const name = pathOf(attributes);
    bool const isThere = tree_.hasNode(name);
    try {
      reader_.startElement(namespaceURI, localName, attributes);
    } catch (Exception const& fault) {
      return reportFault_(isThere ? code::kDuplicateEntry : code::kInvalidEntry, name, fault.what());
    }
    take_({typeOf(text(attributes, manifest::kType)), name, text(attributes, manifest::kContent)});
  }

 private:
  std::u16string pathOf(model::XmlAttributes const& attributes) const {
    std::u16string const name = text(attributes, manifest::kName);
    return tree_.getVersion() == manifest::kVersion1 && !name.starts_with(u'/') ? u"/" + name : name;
  }

  std::function<void(ManifestEntry)> const& take_;
  EntryFaultSink const& reportFault_;
  FileSystemTree tree_;
  ManifestReader reader_{tree_};
};

}  // namespace

void readManifestEntries(InputStream& input, std::function<void(ManifestEntry)> const& take,
                         EntryFaultSink const& reportFault) {
  model::XmlStreamReader reader(model::loadXmlGrammars({kManifestSchemaV1, kManifestSchema}));
  Handler handler(take, reportFault);
  reader.read(input, handler);
}

}  // namespace opc::ztservices
