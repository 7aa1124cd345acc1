// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "container/Faults.hpp"
#include "container/Reader.hpp"
#include "opc/model/Package.hpp"
#include "package/ContentTypesPart.hpp"
#include "package/PackageState.hpp"
#include "package/Pieces.hpp"
#include "package/RelationshipsPart.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::model::detail {

/// A part as the container holds it.
struct ReadPart {
  std::string_view key;                      // its name without the leading slash
  MediaType const* type;                     // null where the content types cannot be read
  std::uint32_t item;                        // when it is not in pieces
  std::vector<std::uint32_t> const* pieces;  // null for a part in one item

  std::string name() const { return std::string("/").append(key); }
  std::span<std::uint32_t const> items() const { return pieces ? std::span(*pieces) : std::span(&item, 1); }
};

/// Classifies the items of a container, which become parts, relationships and items that are no parts, and fills an
/// empty state with them. Reports every breach of the rules, of which the clauses of ECMA-376-2 stand beside each. A
/// sink that throws makes it the strict reader that opening a package needs. Behind a sink that returns, items whose
/// names clash are parts all the same, and without content types every item with the name of a part is one.
class PackageReader {
 public:
  /// The state gets the items of the container. What is passed must outlive the reader.
  PackageReader(std::shared_ptr<PackageState> state, zip::Reader& container, OpenOptions const& options,
                Faults& faults);

  /// All steps below, in the order that opening needs.
  void read();

  /// False when the items are larger together than the limit. Afterwards sizes may be summed up without overflow.
  bool checkTotalSize();
  /// Finds out what the items are, and whether their names may stand together. Reads the content types.
  void identify();
  /// Reads the relationships of all sources, except from items that the container's reader has found damaged.
  void readRelationships();

  PackageState& state() const { return *state_; }
  /// The parts in the order of NameLess, those included whose names clash with others. Valid while the reader lives.
  std::vector<ReadPart> parts() const;
  bool isSound(ReadPart const& part) const { return areSound(part.items()); }
  std::unique_ptr<InputStream> open(ReadPart const& part) const;
  /// Whether all of the package's own relationships are known.
  bool knowsRelationships() const { return knowsRelationships_; }
  /// A package over the state.
  std::unique_ptr<Package> package() const { return std::unique_ptr<Package>(new Package(state_)); }

 private:
  enum class LooseKind;
  struct Classified;

  void collectPieces();
  void findContentTypes();
  void readContentTypes(std::vector<std::uint32_t> const& items);
  void classifyItems();
  void classifyItem(std::uint32_t index);
  void classifySequence(PieceCollector::Sequence const& sequence);
  Classified classify(std::string_view item);
  void checkType(MediaType const* type);
  void checkRelationshipsName(MediaType const* type);
  bool areSound(std::span<std::uint32_t const> items) const;
  PartRecord& addPart(std::string_view key, MediaType const* type);
  void addLooseItem(std::uint32_t index, std::size_t nameLength, bool isUntyped);
  void keepUnusedOverrides();
  LooseKind kindOf(LooseItem const& item) const;
  void checkEqualNames();
  void checkLooseItem(LooseItem const* before, LooseItem const& item);
  void checkDerivedNames();
  ReadPart partOf(std::string_view key, PartRecord const& record) const;
  std::unique_ptr<RelationshipSet> relationshipsIn(ReadPart const& part);
  void parseRelationships(ReadPart const& part, RelationshipSet& relationships);
  void checkTarget(std::string const& source, RelationshipRecord const& relationship);
  /// Has `parse` read a document of the package itself of that size, as long as the limit for all of them allows it.
  /// False where the document could not be read.
  bool readMarkup(char const* code, std::string const& name, std::uint64_t size, std::function<void()> const& parse);
  void refuseDamaged(std::string_view name) const;
  void refuse(char const* code, std::string_view item, std::string const& message) const;
  void tolerate(char const* code, std::string_view item, std::string const& message) const;

  std::shared_ptr<PackageState> state_;
  zip::Reader& container_;
  std::shared_ptr<zip::Archive const> archive_;
  OpenOptions options_;
  Faults& faults_;
  std::uint64_t markupBytesLeft_;
  RelationshipCount relationshipCount_;
  XmlStreamReader reader_;
  std::vector<PieceCollector::Sequence> sequences_;
  std::vector<bool> isDone_;  // by item: a piece, or the content types
  ContentTypes contentTypes_;
  std::vector<std::uint32_t> contentTypesItems_;
  bool knowsTypes_ = false;
  bool knowsRelationships_ = true;
  std::vector<LooseItem> items_;
  std::vector<std::pair<std::string_view, PartRecord>> clashing_;  // parts whose names the state has already
  std::string name_;                                               // of the item being classified, as a part's
};

}  // namespace opc::model::detail
