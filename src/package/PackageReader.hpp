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
#include "package/RelationshipSet.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::model::detail {

/// A part as the container holds it.
struct ReadPart {
  std::string_view key;                      // its name without the leading slash
  MediaType const* type;                     // null where the content types cannot be read
  std::uint32_t item;                        // of a part in one item
  std::vector<std::uint32_t> const* pieces;  // null for a part in one item

  std::string name() const { return std::string("/").append(key); }
  std::span<std::uint32_t const> items() const { return pieces ? std::span(*pieces) : std::span(&item, 1); }
};

/// Classifies the items of a container as parts, relationships and other items, and fills an empty state with them.
/// Reports every breach of ECMA-376-2. With a sink that throws it is the strict reader for opening a package. With a
/// sink that returns, items whose names clash are parts too, and without content types every item with a part name is a
/// part.
class PackageReader {
 public:
  /// The state receives the items of the container. All arguments must outlive the reader.
  PackageReader(std::shared_ptr<PackageState> state, zip::Reader& container, OpenOptions const& options,
                Faults& faults);

  /// All steps below, in the order that opening needs.
  void read();

  /// False when the items are larger together than the limit. Afterwards sizes may be summed up without overflow.
  bool checkTotalSize();
  /// Reads the content types, classifies the items and checks their names for clashes.
  void identify();
  /// Reads the relationships of all sources. Skips items that the container's reader has found damaged.
  void readRelationships();

  PackageState& state() const { return *state_; }
  /// The parts in the order of NameLess, with those whose names clash. Valid while the reader lives.
  std::vector<ReadPart> parts() const;
  bool isSound(ReadPart const& part) const { return areSound(part.items()); }
  std::unique_ptr<InputStream> open(ReadPart const& part) const;
  /// Whether all of the package's own relationships are known.
  bool knowsRelationships() const { return knowsRelationships_; }
  /// A package over the state.
  std::unique_ptr<Package> package() const { return PackageState::makePackage(state_); }

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
  /// Calls `parse` to read a document of that size, if the limit for all markup allows it. False where the document
  /// could not be read.
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
  std::vector<bool> isDone_;  // by item: whether it is a piece or the content types
  ContentTypes contentTypes_;
  std::vector<std::uint32_t> contentTypesItems_;
  bool knowsTypes_ = false;
  bool knowsRelationships_ = true;
  std::vector<LooseItem> items_;
  std::vector<std::pair<std::string_view, PartRecord>> clashing_;  // parts whose names the state already has
  std::string name_;                                               // part name of the item being classified
};

}  // namespace opc::model::detail
