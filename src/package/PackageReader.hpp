// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "container/Reader.hpp"
#include "opc/model/Package.hpp"
#include "package/ContentTypesPart.hpp"
#include "package/PackageState.hpp"
#include "package/Pieces.hpp"
#include "package/RelationshipsPart.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::model::detail {

/// Whether MS-DOS attributes mark the item as a folder or a volume label. (The same bits of other systems' attributes
/// are not relied upon.)
bool isMarkedAsFolder(zip::Entry const& item);
/// Folders, by name or by such a mark, and volume labels. A mark on an item with content, or on a relationships part,
/// does not count: it would hide what other readers see.
bool isFolder(zip::Entry const& item);

/// What an item that is no part is, and so with what it may share its name.
enum class LooseKind { File, Folder, Piece };

/// Folders, which some writers list twice, and the pieces of one part; whatever comes first.
inline bool mayShareName(LooseKind a, LooseKind b) { return a == b && a != LooseKind::File; }

/// Finds out what the items of an archive are and fills an empty state with it. Throws InvalidPackage with
/// the fault alone.
class PackageReader {
 public:
  PackageReader(PackageState& state, zip::Reader& container, OpenOptions const& options);

  void read();

 private:
  void checkTotalSize() const;
  void collectPieces();
  void findContentTypes();
  void classifyItems();
  void classify(std::uint32_t index);
  void classifySequence(PieceCollector::Sequence const& sequence);
  /// The content type under which the item is a part, or null.
  MediaType const* partTypeOf(std::string_view item, bool& isUntyped);
  PartRecord& addPart(std::string_view key, MediaType const* type);
  void addLooseItem(std::uint32_t index, std::size_t nameLength, bool isUntyped);
  void keepUnusedOverrides();
  LooseKind kindOf(LooseItem const& item) const;
  void refuseEqualNames();
  void refuseDerivedNames();
  void readAllRelationships();
  void readRelationshipsOf(PartTable::iterator part);
  /// Has `parse` read a document of the package itself of that size, if that much may still be read; its
  /// faults get the name.
  template <typename Parse>
  void readMarkup(std::string const& name, std::uint64_t size, Parse const& parse);

  PackageState& state_;
  zip::Reader& container_;
  zip::Archive const& archive_;
  OpenOptions options_;
  std::uint64_t markupBytesLeft_;
  RelationshipCount relationshipCount_;
  XmlStreamReader reader_;
  std::vector<PieceCollector::Sequence> sequences_;
  std::vector<bool> isDone_;  // by item: a piece, or the content types
  ContentTypes contentTypes_;
  std::string name_;  // of the item in hand, as a part's
};

}  // namespace opc::model::detail
