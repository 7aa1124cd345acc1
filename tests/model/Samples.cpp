// SPDX-License-Identifier: Apache-2.0
#include "model/Samples.hpp"

#include <algorithm>
#include <boost/date_time/posix_time/conversion.hpp>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "samples/Archives.hpp"
#include "text/SchemaBaseURI.hpp"

namespace zt_model {
namespace {

using opc::toString;
using opc::toUTF8String;
using opc::model::samples::Item;

constexpr char kBinary[] = "application/octet-stream";

std::string relationship(std::string const& id, std::string const& type, std::string const& target,
                         std::string const& more = {}) {
  return "<Relationship Id=\"" + id + "\" Type=\"" + type + "\" Target=\"" + target + "\" " + more + "/>";
}

std::string override(std::string const& name, std::string const& type) {
  return "<Override PartName=\"" + name + "\" ContentType=\"" + type + "\"/>";
}

std::string attribute(std::string const& name, std::string const& value) { return " " + name + "=\"" + value + "\""; }

std::string octal(opc::Perms::Perms_tag permissions) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(permissions));
  return text;
}

/// Attributes of an entry's permissions and time, where it has them.
std::string metadata(Node const& node, bool isVersion1) {
  std::string text;
  if (node.permissions != opc::Perms::NotKnown)
    text += attribute("permissions", isVersion1 ? std::to_string(node.permissions) : octal(node.permissions));
  if (!node.time.is_not_a_date_time()) text += attribute("date", toUTF8String(opc::convertTimeToString(node.time)));
  return text;
}

/// Builds the items and the model of a package side by side.
class Builder {
 public:
  explicit Builder(bool isVersion1) : isVersion1_(isVersion1) {}

  void addType(std::string const& child) { types_ += child; }
  void addItem(std::string const& name, std::string const& content) { items_.push_back({name, content}); }
  void addPart(std::string const& name, std::string const& type, std::string const& content) {
    addItem(name.substr(1), content);
    addType(override(name, type));
    sample_.model.others["part " + name] = type + "\n" + content;
  }
  void addRelationship(std::string const& id, std::string const& type, std::string const& target) {
    relationships_ += relationship(id, type, target);
  }
  /// One that every edit must keep.
  void addKeptRelationship(std::string const& id, std::string const& type, std::string const& target) {
    addRelationship(id, type, target);
    sample_.model.others["relationship / " + id] = type + " " + target;
  }
  Model& model() { return sample_.model; }

  bool isFree(std::string const& path) const { return sample_.model.isFree(toString(path)); }
  bool has(std::string const& path) const { return sample_.model.has(toString(path)); }
  /// An entry whose content, if it has any, is in the part that the node names, or in a new one.
  void addEntry(std::string const& path, Node node) {
    std::string content = path;
    if (node.kind == Kind::Link) content = isVersion1_ ? contentPart("links", node.content) : node.content;
    if (node.kind == Kind::File && node.part.empty())
      node.part = contentPart(isVersion1_ ? "files" : "fsroot", node.content);
    if (node.kind == Kind::File) content = node.part;
    char const* const type = node.kind == Kind::File ? "File" : node.kind == Kind::Link ? "SymLink" : "Folder";
    std::string const name = isVersion1_ ? path.substr(1) : path;
    entries_ += "<fileEntry" + attribute("name", name) + attribute("content", content) + attribute("type", type) +
                metadata(node, isVersion1_) + "/>";
    sample_.model.set(toString(path), std::move(node));
  }

  /// A file whose content is outside of the folder for contents. It stays where a part leads to it.
  void addElsewhere(std::string const& path, std::string const& part, std::string const& content, bool isKept) {
    addItem(part.substr(1), content);
    addType(override(part, kBinary));
    addEntry(path, {Kind::File, opc::Perms::NotKnown, {}, kBinary, content, true, part, isKept});
  }
  /// A file whose content is a part that something else leads to.
  void addShared(std::string const& path, std::string const& part, std::string const& content) {
    addItem(part.substr(1), content);
    addType(override(part, kBinary));
    addKeptRelationship("shared", "urn:notes", part);
    addEntry(path, {Kind::File, opc::Perms::NotKnown, {}, kBinary, content, true, part, true});
  }

  Sample finish() {
    addManifest();
    items_.insert(items_.begin(), {"_rels/.rels", opc::model::samples::relationships(relationships_)});
    items_.insert(items_.begin(), {"[Content_Types].xml", opc::model::samples::contentTypes(types_)});
    sample_.bytes = opc::model::samples::archiveOf(items_);
    return std::move(sample_);
  }

 private:
  std::string contentPart(std::string const& folder, std::string const& content) {
    std::string const name = folder + "/" + std::to_string(items_.size());
    addItem(name, content);
    addType(override("/" + name, kBinary));
    return "/" + name;
  }

  /// Its relationship is the first of its type.
  void addManifest() {
    std::string const name = isVersion1_ ? "old/files.xml" : "catalogue/Files.xml";
    std::string const attributes = isVersion1_
                                       ? " platform=\"wnx86\" encoding=\"ISO-8859-1\""
                                       : " createdByEncoding=\"UTF-8\" createdByPlatform=\"macx64\" version=\"2.0\"";
    std::string const space = isVersion1_ ? ZT_SCHEMA_BASE_URI "/talbex/compiler/2011/fileManifest"
                                          : ZT_SCHEMA_BASE_URI "/package/2013/filesystemManifest";
    addItem(name, "<fileEntries xmlns=\"" + space + "\"" + attributes + ">" + entries_ + "</fileEntries>");
    using Manager = opc::ztservices::FileSystemManager;
    addType(override(
        "/" + name,
        toUTF8String((isVersion1_ ? Manager::getPartContentTypeV1() : Manager::getPartContentType()).toString())));
    std::u16string const type = isVersion1_ ? Manager::getRelationshipTypeV1() : Manager::getRelationshipType();
    relationships_.insert(
        0, relationship("manifest", toUTF8String(type), isVersion1_ ? "/old/files.xml" : "CATALOGUE/files.xml"));
  }

  bool isVersion1_;
  std::string types_, relationships_, entries_;
  std::vector<Item> items_;
  Sample sample_;
};

Node randomNode(Random& random) {
  Node node{Kind::File, randomPermissions(random), randomTime(random), kBinary, random.text()};
  if (random.oneIn(3)) node = {Kind::Link, opc::Perms::NotKnown, {}, {}, randomPath(random)};
  return node;
}

void addEntries(Builder& builder, Random& random) {
  for (std::size_t count = random.below(12); count > 0; --count) {
    std::string const path = randomPath(random);
    if (builder.isFree(path)) builder.addEntry(path, randomNode(random));
  }
}

/// What other makers' manifests hold and ours does not: an entry below a file or link, one that shares its part with
/// another or with the rest of the package, and one whose part is missing.
void addOddEntries(Builder& builder, Random& random) {
  Entries const present = builder.model().entries;
  for (auto const& [path, node] : present) {
    std::string const below = toUTF8String(path) + "/" + random.of(kNames);
    if (node.kind != Kind::Folder && random.oneIn(6) && !builder.has(below))
      builder.addEntry(below, randomNode(random));
    std::string const other = randomPath(random);
    if (node.kind == Kind::File && random.oneIn(4) && builder.isFree(other)) builder.addEntry(other, node);
  }
  if (builder.isFree("/missing")) {
    Node node{Kind::File, randomPermissions(random), randomTime(random), {}, kUnreadable, false, "/files/none"};
    builder.addEntry("/missing", node);
  }
  builder.addShared("/notes", "/word/notes.bin", random.text());
  if (!builder.isFree("/elsewhere")) return;
  builder.addElsewhere("/elsewhere/own", "/other/own.bin", random.text(), false);
  builder.addElsewhere("/elsewhere/figure", "/book/figure.bin", random.text(), true);
  builder.addPart("/book/index.xml", "application/x-index+xml", "<index/>");
  builder.addItem("book/_rels/index.xml.rels",
                  opc::model::samples::relationships(relationship("f", "urn:figure", "figure.bin")));
  builder.model().others["relationship /book/index.xml f"] = "urn:figure figure.bin";
}

void addDocument(Builder& builder, Random& random) {
  builder.addPart("/word/document.xml", "application/x-document+xml", "<w>" + std::to_string(random.below(9)) + "</w>");
  builder.addPart("/word/media/image1.png", "image/png", random.text());
  builder.addItem("word/_rels/document.xml.rels",
                  opc::model::samples::relationships(
                      relationship("i1", "urn:image", "media/image1.png") +
                      relationship("x", "urn:link", "http://example.com/a%20b", "TargetMode=\"External\"") +
                      relationship("gone", "urn:gone", "nothing.xml")));
  auto& others = builder.model().others;
  others["relationship /word/document.xml i1"] = "urn:image media/image1.png";
  others["relationship /word/document.xml x"] = "urn:link http://example.com/a%20b external";
  others["relationship /word/document.xml gone"] = "urn:gone nothing.xml";
  builder.addKeptRelationship("doc", "urn:document", "word/document.xml");
}

void addPieces(Builder& builder, Random& random) {
  std::string const first = random.text(), last = random.text();
  builder.addItem("big/part.bin/[0].piece", first);
  builder.addItem("big/part.bin/[1].last.piece", last);
  builder.addType(override("/big/part.bin", kBinary));
  builder.model().others["part /big/part.bin"] = kBinary + ("\n" + first + last);
}

void addLooseItems(Builder& builder) {
  for (std::string const name : {"word/", "README", "[trash]/0000.dat", "fsroot/stray."}) {
    builder.addItem(name, name.ends_with('/') ? "" : "kept");
    builder.model().others["item " + name];
  }
}

struct PropertiesPart {
  std::string name;
  std::string content;
  std::u16string relationshipType;
};

/// What makes the properties of a package unreadable.
PropertiesPart unreadablePart(Random& random) {
  using Manager = opc::ztservices::CorePropertiesManager;
  std::string const release =
      "<ztcoreProperties xmlns=\"" ZT_SCHEMA_BASE_URI
      "/package/2012/coreProperties\"><contentType>a/b</contentType><contentTypeFriendlyName>Test"
      "</contentTypeFriendlyName><talbexRelease>R2019c</talbexRelease></ztcoreProperties>";
  std::array<PropertiesPart, 5> const parts{
      {{"/v.xml", release, Manager::getRelationshipType()},
       {"/v.xml", "no XML", Manager::getRelationshipType()},
       {"/e.xml", "<uuid>none</uuid>", Manager::getExtensionRelationshipType()},
       {"/r.xml", "none", Manager::getReleaseInfoRelationshipType()},
       {"/c.xml", "<foreign/>",
        u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties"}}};
  return random.of(parts);
}

/// The part may be missing too.
void addUnreadableProperties(Builder& builder, Random& random) {
  PropertiesPart part = unreadablePart(random);
  std::string const id = "bad", type = toUTF8String(part.relationshipType);
  bool const isMissing = part.name != "/c.xml" && random.oneIn(3);
  if (!isMissing) {
    builder.addItem(part.name.substr(1), part.content);
    builder.addType(override(part.name, "application/xml"));
  }
  builder.addRelationship(id, type, part.name);
  builder.model().others["properties"] = kUnreadable;
  builder.model().others[kUnreadable + (" " + id)] = part.name + "\n" + (isMissing ? "" : part.content);
}

void addCoreProperties(Builder& builder) {
  constexpr char kType[] = "application/vnd.openxmlformats-package.core-properties+xml";
  builder.addItem(
      "props/c.xml",
      "<cp:coreProperties xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\""
      " xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><dc:creator>Ada</dc:creator></cp:coreProperties>");
  builder.addType(override("/props/c.xml", kType));
  builder.addRelationship(
      "core", "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties", "props/C.xml");
  builder.model().others["properties"] = "|Ada||";
}

/// None, readable ones or unreadable ones.
void addProperties(Builder& builder, Random& random) {
  builder.model().others["properties"] = "|||";
  if (random.oneIn(2)) return addCoreProperties(builder);
  if (random.oneIn(2)) addUnreadableProperties(builder, random);
}

/// One more of version 1, behind that of the manifest: to the manifest itself, to another one, to a part that is none,
/// or to nothing.
void addSecondManifest(Builder& builder, Random& random) {
  using Manager = opc::ztservices::FileSystemManager;
  std::array<std::string, 4> const targets{"/old/files.xml", "/old/more.xml", "/old/notes.txt", "/old/gone.xml"};
  std::string const target = random.of(targets);
  if (target == "/old/more.xml") {
    builder.addItem("old/more.xml", "<fileEntries xmlns=\"" ZT_SCHEMA_BASE_URI
                                    "/talbex/compiler/2011/fileManifest\" platform=\"a\" encoding=\"b\"/>");
    builder.addType(override(target, toUTF8String(Manager::getPartContentTypeV1().toString())));
  }
  if (target == "/old/notes.txt") builder.addPart(target, "text/plain", random.text());
  builder.addRelationship("second", toUTF8String(Manager::getRelationshipTypeV1()), target);
}

}  // namespace

std::string randomPath(Random& random) {
  std::string path;
  for (std::size_t depth = 1 + random.below(3); depth > 0; --depth) path.append("/").append(random.of(kNames));
  return path;
}

opc::Perms::Perms_tag randomPermissions(Random& random) {
  constexpr std::array kPermissions{opc::Perms::Perms_tag(0600), opc::Perms::Perms_tag(0644),
                                    opc::Perms::Perms_tag(0755), opc::Perms::NotKnown};
  return random.of(kPermissions);
}

boost::posix_time::ptime randomTime(Random& random) {
  if (random.oneIn(4)) return {};
  return boost::posix_time::from_time_t(static_cast<std::time_t>(random.below(2'000'000'000)));
}

Sample foreignPackage(Random& random) {
  Builder builder(false);
  if (random.oneIn(2)) addDocument(builder, random);
  if (random.oneIn(2)) addPieces(builder, random);
  if (random.oneIn(2)) addLooseItems(builder);
  addProperties(builder, random);
  addEntries(builder, random);
  if (random.oneIn(2)) addOddEntries(builder, random);
  builder.addEntry("/kept", {Kind::Folder, opc::Perms::Perms_tag(0750), randomTime(random)});
  return builder.finish();
}

Sample version1Package(Random& random) {
  Builder builder(true);
  if (random.oneIn(2)) addDocument(builder, random);
  addProperties(builder, random);
  addEntries(builder, random);
  if (random.oneIn(2)) addSecondManifest(builder, random);
  return builder.finish();
}

Bytes damaged(Bytes bytes, Random& random) {
  for (std::size_t count = 1 + random.below(3); count > 0; --count)
    bytes[random.below(bytes.size())] ^= static_cast<unsigned char>(1u << random.below(8));
  return bytes;
}

}  // namespace zt_model
