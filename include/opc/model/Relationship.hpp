// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Text.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/URI.hpp"

namespace opc::model {

// Of the library alone.
class PackageState;
struct RelationshipRecord;

/// Whether a relationship leads to a part of its package or to a resource outside it (ECMA-376-2, 9.3).
enum class TargetMode { Internal, External };

/// One relationship (ECMA-376-2, 9.3): a cheap, immutable snapshot. It stays valid when the relationship or its package
/// is gone, and different threads may read it.
class ZT_API Relationship {
 public:
  /// The id, which is unique among the relationships of its source; ids are compared exactly.
  std::u16string const& getID() const;
  /// A URI that names the role of the target.
  std::u16string const& getType() const;
  TargetMode getMode() const;
  /// The target as it is written in the package.
  std::u16string const& getTargetText() const;
  /// An internal target resolved against its source, without query and fragment (URI::resolvedAgainst): the name of a
  /// part, which need not exist and may differ from the part's in ASCII case (PackageHelper::findTarget). An external
  /// target as written. Throws InvalidURI when an internal target cannot be resolved.
  URI getTargetURI() const;

  /// Whether id, type, mode, target and the name of the source are equal.
  friend ZT_API bool operator==(Relationship const& a, Relationship const& b);

 private:
  friend class PackageHelper;
  friend class RelationshipSource;
  explicit Relationship(std::shared_ptr<RelationshipRecord const> record) : record_(std::move(record)) {}

  std::shared_ptr<RelationshipRecord const> record_;
};

/// Where relationships start: a package or a part (ECMA-376-2, 9.3). A cheap handle; copies stand for the same
/// source. Used by one thread at a time together with its package.
///
/// Every operation throws PartNotFound where the source is a part that does not exist. Operations that change something
/// throw PackageIsReadOnly, and InvalidState when the package is gone; after an exception the relationships are as
/// before. Changes reach the file when the package is saved.
class ZT_API RelationshipSource {
 public:
  RelationshipSource(RelationshipSource const&) = default;
  virtual ~RelationshipSource();

  /// All relationships of the source, or those whose type is exactly the given one, in the order in which the package
  /// holds them; new ones come last.
  std::vector<Relationship> getRelationships() const;
  std::vector<Relationship> getRelationshipsByType(std::u16string const& type) const;
  /// The relationship with that id, if there is one. O(log n) in the number of relationships of the source.
  std::optional<Relationship> findRelationship(std::u16string const& id) const;

  /// Adds a relationship to a part and returns it. The target is kept as given and need not exist. For an empty id the
  /// source chooses the first free one of rId1, rId2 ... Throws InvalidRelationship for an id that is no NCName or is
  /// taken, a type that is no URI (with a scheme; it may hold characters beyond ASCII), a target that is no relative
  /// reference (RFC 3986, 4.2; it may hold characters beyond ASCII) or leads to a relationships part, a source that is
  /// a relationships part, and a second core-properties relationship of the package (ECMA-376-2, 11.2). Throws
  /// PartNameClash where a part stands in the place of the source's relationships part.
  Relationship createInternalRelationship(std::u16string const& type, URI const& target, std::u16string const& id = {});
  /// The same for a target outside the package: a text that XML can carry, which is kept to the letter and never
  /// opened.
  Relationship createExternalRelationship(std::u16string const& type, std::u16string const& target,
                                          std::u16string const& id = {});
  /// Deletes the relationship, not its target. Throws RelationshipNotFound, which names the id and the source.
  void deleteRelationship(std::u16string const& id);

  /// The same for UTF-8 (opc/Text.hpp); the target of an internal relationship is then a text too.
  std::vector<Relationship> getRelationshipsByType(Utf8Text auto const& type) const {
    return getRelationshipsByType(toUTF16(type));
  }
  std::optional<Relationship> findRelationship(Utf8Text auto const& id) const { return findRelationship(toUTF16(id)); }
  Relationship createInternalRelationship(AnyText auto const& type, AnyText auto const& target) {
    return createInternalRelationship(toUTF16(type), URI(toUTF16(target)));
  }
  Relationship createExternalRelationship(Utf8Text auto const& type, AnyText auto const& target) {
    return createExternalRelationship(toUTF16(type), toUTF16(target));
  }
  void deleteRelationship(Utf8Text auto const& id) { deleteRelationship(toUTF16(id)); }

 protected:
  RelationshipSource(std::shared_ptr<PackageState> package, PartName source);
  // For derived handles: assigned through its base, a package would become another one.
  RelationshipSource& operator=(RelationshipSource const&) = default;

  PackageState& state() const { return *package_; }
  std::shared_ptr<PackageState> const& sharedState() const { return package_; }
  PartName const& source() const { return source_; }  // empty for the package itself

 private:
  std::shared_ptr<PackageState> package_;
  PartName source_;
};

/// The property of a relationship that a RelationshipSelector compares.
enum class RelationshipSelectorType { ByType, ByID };

/// Selects relationships of one source by their type or id. A value that refers to no package: it states the selection
/// and neither checks nor looks up anything.
class ZT_API RelationshipSelector {
 public:
  RelationshipSelector(URI source, RelationshipSelectorType type, std::u16string criteria)
      : source_(std::move(source)), type_(type), criteria_(std::move(criteria)) {}

  /// The name of the source part; "/" for the package.
  URI const& getSourceURI() const { return source_; }
  RelationshipSelectorType getSelectorType() const { return type_; }
  /// The type or id that a relationship must have exactly.
  std::u16string const& getSelectionCriteria() const { return criteria_; }

  friend bool operator==(RelationshipSelector const&, RelationshipSelector const&) = default;

 private:
  URI source_;
  RelationshipSelectorType type_;
  std::u16string criteria_;
};

}  // namespace opc::model

template <>
struct std::hash<opc::model::Relationship> {
  std::size_t operator()(opc::model::Relationship const& relationship) const noexcept {
    return std::hash<std::u16string>()(relationship.getID());
  }
};
