// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "container/Archive.hpp"
#include "opc/Streams.hpp"
#include "opc/model/Package.hpp"
#include "package/ContentTypesPart.hpp"
#include "package/Interned.hpp"
#include "package/PackageReader.hpp"
#include "package/Pieces.hpp"
#include "package/RelationshipSet.hpp"
#include "package/RelationshipsPart.hpp"
#include "verify/FaultList.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {

/// A part of a package that is being verified, whatever else is wrong with the package.
struct CheckedPart {
  std::string name;                      // with its leading slash
  model::detail::MediaType const* type;  // null where it could not be told
  std::vector<std::uint32_t> items;      // one, or its pieces
};

/// What a container's items are: parts with content types, relationships, items that are no parts. Tells every
/// breach of ECMA-376-2 that PackageReader refuses, and what it tolerates.
class PackageCheck {
 public:
  /// `isSound` tells of each item whether it could be read; what could not has been told already.
  PackageCheck(model::zip::Archive const& archive, std::vector<bool> const& isSound, model::OpenOptions const& limits,
               FaultList& faults);

  /// What the items are, and whether their names and content types may stand together. Before anything else, and
  /// perhaps before the items are read to their ends.
  void identify();
  /// What the parts hold that the package itself is made of.
  void check();

  model::OpenOptions const& limits() const { return limits_; }
  std::size_t itemCount() const { return archive_.size(); }
  /// By name, without regard to ASCII case.
  std::vector<CheckedPart> const& parts() const { return parts_; }
  /// The part of exactly that name, or null.
  CheckedPart const* find(std::u16string const& name) const;
  /// The part of a name that may differ in ASCII case, or null.
  CheckedPart const* findEquivalent(std::string_view name) const;
  /// The part that an internal relationship leads to, or null.
  CheckedPart const* findTarget(model::detail::RelationshipRecord const& relationship) const;
  bool isSound(CheckedPart const& part) const;
  std::uint64_t sizeOf(CheckedPart const& part) const;
  std::uint64_t storedSizeOf(CheckedPart const& part) const;
  /// Throws InvalidItem and, for more pieces than may be held, InvalidPackage.
  std::unique_ptr<InputStream> open(std::vector<std::uint32_t> const& items) const;
  /// The content of a part piece by piece, with little memory. Throws InvalidItem.
  using ContentSink = std::function<void(std::span<unsigned char const> bytes)>;
  void read(CheckedPart const& part, ContentSink const& take) const;
  /// Parts that relationships of the package with that type lead to, the missing ones left out.
  std::vector<CheckedPart const*> targetsOf(std::u16string_view type) const;
  /// Whether the package's own relationships could be read, so that what they do not lead to is an orphan.
  bool knowsRelationships() const { return knowsRelationships_; }

 private:
  void collectPieces();
  void findContentTypes();
  void readContentTypes(std::vector<std::uint32_t> const& items);
  void classifyItems();
  void classify(std::string_view name, std::vector<std::uint32_t> items);
  void addLoose(std::string_view item, model::detail::LooseKind kind);
  model::detail::MediaType const* typeOf(std::string const& name);
  void checkType(std::string const& name, model::detail::MediaType const& type);
  void checkRelationshipsName(std::string const& name, model::detail::MediaType const* type);
  void checkNames();
  void checkDerivedNames();
  void readAllRelationships();
  void readRelationships(CheckedPart const& part);
  void checkTargets(std::string const& source, model::detail::RelationshipSet const& relationships);
  void checkTarget(std::string const& source, model::detail::RelationshipRecord const& relationship);
  void checkCoreProperties();

  model::zip::Archive const& archive_;
  std::vector<bool> const& isSound_;
  model::OpenOptions limits_;
  FaultList& faults_;
  model::XmlStreamReader reader_;
  model::detail::MediaTypePool types_;
  model::detail::TextPool texts_;
  model::detail::RelationshipCount relationshipCount_;
  model::detail::ContentTypes contentTypes_;
  bool knowsTypes_ = false;
  std::vector<bool> isDone_;  // by item: a piece, or the content types
  std::vector<model::detail::PieceCollector::Sequence> sequences_;
  struct LooseName {
    std::string name;
    model::detail::LooseKind kind;
  };
  std::vector<LooseName> looseNames_;  // of items that are no parts
  std::vector<CheckedPart> parts_;
  model::detail::RelationshipSet packageRelationships_;
  bool knowsRelationships_ = true;
};

}  // namespace opc::ztservices
