// SPDX-License-Identifier: Apache-2.0
#include "services/tree/FileSystemManifest.hpp"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/ManifestNames.hpp"
#include "services/tree/ManifestReader.hpp"
#include "xml/XmlByteBuffer.hpp"
#include "xml/XmlLimits.hpp"
#include "xml/XmlTextWriter.hpp"

namespace opc::ztservices {
namespace {

constexpr std::size_t kShownPathUnits = 256;  // of a name that is too long

std::u16string digits(int number, int base) {
  std::array<char, 16> text{};
  char* const end = std::to_chars(text.data(), text.data() + text.size(), number, base).ptr;
  return {text.data(), end};
}

std::u16string_view typeText(FileSystemNodeType type) {
  switch (type) {
    case FileSystemNodeType::File:
      return manifest::kFile;
    case FileSystemNodeType::Link:
      return manifest::kLink;
    case FileSystemNodeType::Folder:
      break;
  }
  return manifest::kFolder;
}

/// The most bytes that one code unit of an attribute takes: "&quot;".
constexpr std::size_t kLongestEscape = 6;

std::size_t escapedLength(std::u16string_view value) {
  model::XmlByteBuffer buffer;
  buffer.appendAttributeValue(value);
  return buffer.size();
}

/// A manifest that its reader refuses would make the file system unreadable.
void throwIfTooLong(std::u16string_view value, std::u16string const& name) {
  std::size_t const limit = model::XmlLimits().attributeBytes;
  if (value.size() <= limit / kLongestEscape || escapedLength(value) <= limit) return;
  throw model::InvalidPartContent("Manifest entry is too long to be read back: " +
                                  toUDEString(name.substr(0, kShownPathUnits)));
}

class Writer {
 public:
  Writer(ManifestVersion version, OutputStream& output) : isVersion1_(version == ManifestVersion::One), xml_(output) {}

  void write(FileSystemTree const& tree) {
    startRoot(tree);
    tree.forEachLeaf([this](FileSystemNode const& node) { writeEntry(node); });
    xml_.endElement();
    xml_.finish();
  }

 private:
  void startRoot(FileSystemTree const& tree) {
    for (auto const& value : {tree.getPlatform(), tree.getEncoding(), tree.getVersion()})
      throwIfTooLong(value, manifest::kEntries);
    xml_.startRoot(isVersion1_ ? manifest::kNamespaceV1 : manifest::kNamespace, manifest::kEntries);
    xml_.attribute(isVersion1_ ? manifest::kPlatformV1 : manifest::kPlatform, tree.getPlatform());
    xml_.attribute(isVersion1_ ? manifest::kEncodingV1 : manifest::kEncoding, tree.getEncoding());
    if (!isVersion1_) xml_.attribute(manifest::kVersion, tree.getVersion());
  }

  void writeEntry(FileSystemNode const& node) {
    bool const hasContent = isVersion1_ || node.type != FileSystemNodeType::Folder;
    std::u16string const name = node.fullPath();
    std::u16string_view const content = hasContent ? std::u16string_view(node.content) : std::u16string_view();
    throwIfTooLong(name, name);
    throwIfTooLong(content, name);
    xml_.startElement(manifest::kEntry);
    xml_.attribute(manifest::kName, name);
    xml_.attribute(manifest::kContent, content);
    xml_.attribute(manifest::kType, typeText(node.type));
    if (node.permissions) xml_.attribute(manifest::kPermissions, permissionsText(*node.permissions));
    std::u16string const date = node.lastModified ? convertTimeToString(*node.lastModified) : std::u16string();
    if (!date.empty()) xml_.attribute(manifest::kDate, date);
    xml_.endElement();
  }

  std::u16string permissionsText(Perms::Perms_tag permissions) const {
    int const bits = static_cast<std::uint16_t>(permissions);
    return isVersion1_ ? digits(bits + manifest::kRegularFileBit, 10) : u"0" + digits(bits, 8);
  }

  bool const isVersion1_;
  model::XmlTextWriter xml_;
};

}  // namespace

void writeManifest(FileSystemTree const& tree, ManifestVersion version, OutputStream& output) {
  try {
    Writer(version, output).write(tree);
  } catch (model::InvalidXMLDocument const& fault) {
    throw model::InvalidPartContent(fault.what(), fault.getErrorCode());
  }
}

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
