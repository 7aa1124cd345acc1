// SPDX-License-Identifier: Apache-2.0
#include "services/tree/FileSystemManifest.hpp"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/PlainManifestReader.hpp"
#include "text/SchemaBaseURI.hpp"
#include "xml/XmlByteBuffer.hpp"
#include "xml/XmlLimits.hpp"
#include "xml/XmlTextWriter.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;

constexpr std::uint16_t kReadWriteExecute = 0777;
constexpr std::size_t kLongestText = 64;  // of an entry; no manager writes a longer one
constexpr std::uint64_t kLongestDeflated = std::uint64_t{1} << 62;

std::u16string text(model::XmlAttributes const& attributes, std::u16string_view name) {
  return std::u16string(attributes.find(name).value_or(std::u16string_view()));
}

/// The number at the beginning of the text; ignores everything behind its digits.
std::uint16_t leadingNumber(std::string const& digits, int base) {
  std::uint16_t number = 0;
  if (std::from_chars(digits.data(), digits.data() + digits.size(), number, base).ec != std::errc())
    throw model::InvalidPartContent("Permissions are not valid value");
  return number;
}

ptime readTime(model::XmlAttributes const& attributes) {
  std::u16string const date = text(attributes, manifest::kDate);
  if (date.empty()) return boost::posix_time::not_a_date_time;
  ptime const time = convertStringToTime(date);
  if (time.is_not_a_date_time()) throw model::InvalidPartContent("Last modified date/time is not valid");
  return time;
}

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

/// The maximum number of bytes for one code unit of an attribute: "&quot;".
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
  Writer(ManifestVersion version, OutputStream& output, UsualNames const& leftOut)
      : isVersion1_(version == ManifestVersion::One), leftOut_(leftOut), xml_(output) {}

  void write(FileSystemTree const& tree) {
    startRoot(tree);
    tree.forEachListed([this](FileSystemNode const& node) { writeEntry(node); });
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
    std::u16string const name = node.fullPath();
    bool const hasContent = isVersion1_ || (node.type != FileSystemNodeType::Folder && !isLeftOut(node, name));
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
    if (node.deflatedFrom && !isVersion1_) xml_.text(deflatedText(*node.deflatedFrom));
    xml_.endElement();
  }

  bool isLeftOut(FileSystemNode const& node, std::u16string const& path) const {
    return leftOut_ && node.type == FileSystemNodeType::File && node.content == leftOut_(path);
  }

  static std::u16string deflatedText(std::uint64_t size) {
    std::u16string const mark = manifest::kDeflated;
    return size == kUnknownSize ? mark : mark + u" " + toString(std::to_string(size));
  }

  std::u16string permissionsText(Perms::Perms_tag permissions) const {
    int const bits = static_cast<std::uint16_t>(permissions);
    return isVersion1_ ? digits(bits + manifest::kRegularFileBit, 10) : u"0" + digits(bits, 8);
  }

  bool const isVersion1_;
  UsualNames const& leftOut_;
  model::XmlTextWriter xml_;
};

}  // namespace

model::XmlSchemaText const kManifestSchema = {"filesystemManifest.xsd", R"(<?xml version="1.0" encoding="UTF-8"?>
<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
            xmlns=")" ZT_SCHEMA_BASE_URI R"(/package/2013/filesystemManifest"
            targetNamespace=")" ZT_SCHEMA_BASE_URI R"(/package/2013/filesystemManifest"
            elementFormDefault="qualified" attributeFormDefault="unqualified" blockDefault="#all">
  <xsd:element name="fileEntries">
    <xsd:complexType>
      <xsd:sequence>
        <xsd:element name="fileEntry" type="FileEntry" minOccurs="0" maxOccurs="unbounded"/>
      </xsd:sequence>
      <xsd:attribute name="createdByEncoding" type="xsd:string" use="required"/>
      <xsd:attribute name="createdByPlatform" type="xsd:string" use="required"/>
      <xsd:attribute name="version" type="xsd:decimal" use="required"/>
    </xsd:complexType>
  </xsd:element>
  <xsd:complexType name="FileEntry">
    <xsd:simpleContent>
      <xsd:extension base="xsd:string">
        <xsd:attribute name="name" type="xsd:string" use="required"/>
        <xsd:attribute name="content" type="xsd:string" use="required"/>
        <xsd:attribute name="type" type="EntryType" use="required"/>
        <xsd:attribute name="date" type="xsd:dateTime"/>
        <xsd:attribute name="permissions" type="xsd:string"/>
      </xsd:extension>
    </xsd:simpleContent>
  </xsd:complexType>
  <xsd:simpleType name="EntryType">
    <xsd:restriction base="xsd:string">
      <xsd:enumeration value="SymLink"/>
      <xsd:enumeration value="File"/>
      <xsd:enumeration value="Folder"/>
    </xsd:restriction>
  </xsd:simpleType>
</xsd:schema>
)"};

model::XmlSchemaText const kManifestSchemaV1 = {"fileManifest.xsd", R"(<?xml version="1.0" encoding="UTF-8"?>
<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
            xmlns=")" ZT_SCHEMA_BASE_URI R"(/talbex/compiler/2011/fileManifest"
            targetNamespace=")" ZT_SCHEMA_BASE_URI R"(/talbex/compiler/2011/fileManifest"
            elementFormDefault="qualified" attributeFormDefault="unqualified" blockDefault="#all">
  <xsd:element name="fileEntries">
    <xsd:complexType>
      <xsd:sequence>
        <xsd:element name="fileEntry" type="FileEntry" minOccurs="0" maxOccurs="unbounded"/>
      </xsd:sequence>
      <xsd:attribute name="platform" type="xsd:string" use="required"/>
      <xsd:attribute name="encoding" type="xsd:string" use="required"/>
    </xsd:complexType>
  </xsd:element>
  <xsd:complexType name="FileEntry">
    <xsd:simpleContent>
      <xsd:extension base="xsd:string">
        <xsd:attribute name="name" type="xsd:string" use="required"/>
        <xsd:attribute name="content" type="xsd:anyURI" use="required"/>
        <xsd:attribute name="type" type="EntryType" use="required"/>
        <xsd:attribute name="date" type="xsd:dateTime"/>
        <xsd:attribute name="permissions" type="xsd:string"/>
      </xsd:extension>
    </xsd:simpleContent>
  </xsd:complexType>
  <xsd:simpleType name="EntryType">
    <xsd:restriction base="xsd:string">
      <xsd:enumeration value="SymLink"/>
      <xsd:enumeration value="File"/>
      <xsd:enumeration value="Folder"/>
    </xsd:restriction>
  </xsd:simpleType>
</xsd:schema>
)"};

void ManifestReader::startElement(std::u16string_view, std::u16string_view localName,
                                  model::XmlAttributes const& attributes) {
  if (localName == manifest::kEntries)
    readRoot(attributes);
  else
    readEntry(attributes);
}

void ManifestReader::characters(std::u16string_view text) {
  if (isFile_ && text_.size() <= kLongestText) text_.append(text.substr(0, kLongestText + 1));
}

void ManifestReader::endElement(std::u16string_view, std::u16string_view) {
  if (!text_.empty())
    if (auto const size = deflatedFrom(text_)) tree_.setDeflatedFrom(path_, size);
  isFile_ = false;
  text_.clear();
}

std::optional<std::uint64_t> ManifestReader::deflatedFrom(std::u16string_view text) {
  constexpr std::u16string_view kMark = manifest::kDeflated;
  if (text == kMark) return kUnknownSize;
  if (!text.starts_with(kMark) || text.size() > kLongestText || text[kMark.size()] != u' ') return std::nullopt;
  std::string const digits = toASCIIString(std::u16string(text.substr(kMark.size() + 1)));
  char const* const end = digits.data() + digits.size();
  std::uint64_t size = 0;
  auto const [stop, error] = std::from_chars(digits.data(), end, size);
  bool const isSize = error == std::errc() && stop == end && size <= kLongestDeflated;
  return isSize ? std::optional(size) : std::nullopt;
}

void ManifestReader::readRoot(model::XmlAttributes const& attributes) {
  tree_.setVersion(std::u16string(attributes.find(manifest::kVersion).value_or(manifest::kVersion1)));
  isVersion1_ = tree_.getVersion() == manifest::kVersion1;
  tree_.setPlatform(text(attributes, isVersion1_ ? manifest::kPlatformV1 : manifest::kPlatform));
  tree_.setEncoding(text(attributes, isVersion1_ ? manifest::kEncodingV1 : manifest::kEncoding));
}

void ManifestReader::readEntry(model::XmlAttributes const& attributes) {
  std::u16string const name = readName(attributes);
  std::u16string const type = text(attributes, manifest::kType);
  Perms::Perms_tag const permissions = readPermissions(attributes);
  ptime const time = readTime(attributes);
  isFile_ = false;
  text_.clear();
  if (type == manifest::kFile)
    add(makeFileNode(name, readContent(attributes, name), permissions, time));
  else if (type == manifest::kFolder)
    add(makeFolderNode(name, permissions, time));
  else if (type == manifest::kLink)
    add(makeLinkNode(name, text(attributes, manifest::kContent), permissions, time));
  isFile_ = type == manifest::kFile && !isVersion1_;
}

void ManifestReader::add(FileSystemNode const& node) {
  path_ = node.fullPath();
  tree_.addNode(node);
}

std::u16string ManifestReader::readName(model::XmlAttributes const& attributes) const {
  std::u16string const name = text(attributes, manifest::kName);
  return isVersion1_ && !name.starts_with(u'/') ? u"/" + name : name;
}

std::u16string ManifestReader::readContent(model::XmlAttributes const& attributes, std::u16string const& path) const {
  std::u16string content = text(attributes, manifest::kContent);
  return content.empty() && leftOut_ && !isVersion1_ ? leftOut_(path) : content;
}

Perms::Perms_tag ManifestReader::readPermissions(model::XmlAttributes const& attributes) const {
  std::string const digits = toASCIIString(text(attributes, manifest::kPermissions));
  if (digits.empty()) return kUnknownPermissions;
  bool const hasLeadingZero = digits.front() == '0';
  if (isVersion1_ && hasLeadingZero) throw model::InvalidPartContent("Permissions are not a valid decimal value");
  if (!isVersion1_ && !hasLeadingZero) throw model::InvalidPartContent("Permissions are not a valid octal value");
  return Perms::Perms_tag{leadingNumber(digits, isVersion1_ ? 10 : 8) & std::uint32_t{kReadWriteExecute}};
}

void writeManifest(FileSystemTree const& tree, ManifestVersion version, OutputStream& output,
                   UsualNames const& leftOut) {
  try {
    Writer(version, output, leftOut).write(tree);
  } catch (model::InvalidXMLDocument const& fault) {
    throw model::InvalidPartContent(fault.what(), fault.getErrorCode());
  }
}

std::shared_ptr<model::XmlGrammars const> const& manifestGrammars() {
  static auto const* const loaded =
      new std::shared_ptr<model::XmlGrammars const>(model::loadXmlGrammars({kManifestSchemaV1, kManifestSchema}));
  return *loaded;
}

void FileSystemManifest::read(InputStream& input, FileSystemTree& tree, UsualNames const& leftOut) {
  ManifestReader plain(tree, leftOut);
  if (PlainManifestReader(input).read(plain)) return;
  tree.clear();
  input.clear();
  input.reset();
  parse(input, tree, leftOut);
}

void FileSystemManifest::parse(InputStream& input, FileSystemTree& tree, UsualNames const& leftOut) {
  if (!reader_) reader_.emplace(manifestGrammars());
  ManifestReader handler(tree, leftOut);
  try {
    reader_->read(input, handler);
  } catch (model::InvalidXMLDocument const& fault) {
    tree.clear();
    throw model::InvalidPartContent(fault.what(), fault.getErrorCode());
  }
}

void FileSystemManifest::write(FileSystemTree const& tree, OutputStream& output, UsualNames const& leftOut) const {
  writeManifest(tree, ManifestVersion::Current, output, leftOut);
}

void FileSystemManifest::writeV1(FileSystemTree const& tree, OutputStream& output) const {
  writeManifest(tree, ManifestVersion::One, output);
}

}  // namespace opc::ztservices
