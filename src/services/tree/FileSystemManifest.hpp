// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "opc/Streams.hpp"
#include "package/OwnedPart.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "text/SchemaBaseURI.hpp"
#include "xml/XmlStreamReader.hpp"

/// The parts and names of both versions of the manifest.
namespace opc::ztservices::manifest {

inline constexpr model::detail::OwnedPart kPart = {
    u"/metadata/filesystemManifest.xml", u"application/vnd.corvanta.package.filesystemManifest+xml",
    u"" ZT_SCHEMA_BASE_URI "/package/2013/relationships/filesystemManifest"};
inline constexpr model::detail::OwnedPart kPartV1 = {
    u"/metadata/filesystemManifestV1.xml", u"application/vnd.corvanta.talbex.compiler.fileManifest+xml",
    u"" ZT_SCHEMA_BASE_URI "/talbex/compiler/2011/relationships/fileManifest"};

inline constexpr char16_t kNamespace[] = u"" ZT_SCHEMA_BASE_URI "/package/2013/filesystemManifest";
inline constexpr char16_t kNamespaceV1[] = u"" ZT_SCHEMA_BASE_URI "/talbex/compiler/2011/fileManifest";

inline constexpr char16_t kEntries[] = u"fileEntries";
inline constexpr char16_t kEntry[] = u"fileEntry";

inline constexpr char16_t kPlatform[] = u"createdByPlatform";
inline constexpr char16_t kEncoding[] = u"createdByEncoding";
inline constexpr char16_t kVersion[] = u"version";
inline constexpr char16_t kPlatformV1[] = u"platform";
inline constexpr char16_t kEncodingV1[] = u"encoding";

/// The version of a document whose root has no version attribute.
inline constexpr char16_t kVersion1[] = u"1.0";
inline constexpr char16_t kCurrentVersion[] = u"2.0";

inline constexpr char16_t kName[] = u"name";
inline constexpr char16_t kContent[] = u"content";
inline constexpr char16_t kType[] = u"type";
inline constexpr char16_t kDate[] = u"date";
inline constexpr char16_t kPermissions[] = u"permissions";

/// The text of the entry of a content that was deflated before it was encrypted, with a blank and its size before that
/// where it is known.
inline constexpr char16_t kDeflated[] = u"DEFLATE";

inline constexpr char16_t kFile[] = u"File";
inline constexpr char16_t kFolder[] = u"Folder";
inline constexpr char16_t kLink[] = u"SymLink";

/// Added to every mode of version 1: the bit of a regular file, whatever the entry is.
inline constexpr int kRegularFileBit = 0100000;

}  // namespace opc::ztservices::manifest

namespace opc::ztservices {

/// The schemas of the manifest, as text, each under its file name.
extern model::XmlSchemaText const kManifestSchema;
extern model::XmlSchemaText const kManifestSchemaV1;

/// The same, loaded once for the process. They are never destroyed: the parser allocates memory to destroy them, and a
/// failure there would end the process.
std::shared_ptr<model::XmlGrammars const> const& manifestGrammars();

enum class ManifestVersion { One, Current };

/// The name that the content part of a path has unless it is taken. The manifests that are compressed leave these names
/// out: under a key they are digests, which do not compress.
using UsualNames = std::function<std::u16string(std::u16string const& path)>;

/// Writes the manifest of the tree in key order. Does not close the stream. Throws
/// model::InvalidPartContent when the tree holds what XML cannot carry or an attribute longer than the reader takes,
/// and what the stream throws.
void writeManifest(FileSystemTree const& tree, ManifestVersion version, OutputStream& output,
                   UsualNames const& leftOut = {});

/// Fills a tree from a manifest of either version as it streams by. Relies on the schemas for what an entry must have.
/// Throws model::InvalidPartContent for faults that they leave open, and the tree's own exception for a path that is
/// already present.
class ManifestReader final : public model::XmlContentHandler {
 public:
  /// `leftOut` gives the files of the current version their contents where the manifest has none.
  explicit ManifestReader(FileSystemTree& tree, UsualNames leftOut = {}) : tree_(tree), leftOut_(std::move(leftOut)) {}

  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    model::XmlAttributes const& attributes) override;
  void characters(std::u16string_view text) override;
  void endElement(std::u16string_view namespaceURI, std::u16string_view localName) override;

  /// The path of the last entry, as the tree has it: the manifest may spell it in another way.
  std::u16string const& lastPath() const { return path_; }

  /// What the text of an entry says of its content (FileSystemNode::deflatedFrom); nothing for any other text.
  static std::optional<std::uint64_t> deflatedFrom(std::u16string_view text);

 private:
  void readRoot(model::XmlAttributes const& attributes);
  void readEntry(model::XmlAttributes const& attributes);
  void add(FileSystemNode const& node);
  std::u16string readName(model::XmlAttributes const& attributes) const;
  Perms::Perms_tag readPermissions(model::XmlAttributes const& attributes) const;

  std::u16string readContent(model::XmlAttributes const& attributes, std::u16string const& path) const;

  FileSystemTree& tree_;
  UsualNames leftOut_;
  bool isVersion1_ = false;
  std::u16string path_;  // of the last entry
  bool isFile_ = false;  // whether the entry of a file of the current version is being read
  std::u16string text_;  // of its entry
};

/// Reads and writes the manifest part in both versions. Faults of content are model::InvalidPartContent, except a path
/// that the document lists twice, which is the tree's opc::Exception. One thread at a time.
class FileSystemManifest {
 public:
  /// Adds one node for each entry, in document order, to a new tree, and sets its version, platform and encoding. May
  /// read the stream twice: a document that no manager wrote goes to a parser, which loads the schemas. A document
  /// that is not well formed or not valid leaves the tree as new; after a fault of one entry the tree keeps the entries
  /// before it.
  void read(InputStream& input, FileSystemTree& tree, UsualNames const& leftOut = {});
  /// Write files, links and childless folders; reading recreates the other folders. The caller closes the stream.
  void write(FileSystemTree const& tree, OutputStream& output, UsualNames const& leftOut = {}) const;
  void writeV1(FileSystemTree const& tree, OutputStream& output) const;

 private:
  void parse(InputStream& input, FileSystemTree& tree, UsualNames const& leftOut);

  std::optional<model::XmlStreamReader> reader_;
};

}  // namespace opc::ztservices
