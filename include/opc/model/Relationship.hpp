// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/URI.hpp"

namespace opc::model {

namespace detail {
class PackageState;
struct RelationshipRecord;
}  // namespace detail

enum class TargetMode { Internal, External };

/// One relationship (ECMA-376-2, 9.3): a cheap, immutable snapshot that stays valid when the
/// relationship or its package is gone.
class ZT_API Relationship {
 public:
  std::u16string const& getID() const;
  std::u16string const& getType() const;
  TargetMode getMode() const;
  /// The target as it is written in the package.
  std::u16string const& getTargetText() const;
  /// An internal target resolved against its source, without query and fragment; an external one as
  /// written. Throws InvalidURI when an internal target cannot be resolved.
  URI getTargetURI() const;

 private:
  friend class RelationshipSource;
  explicit Relationship(std::shared_ptr<detail::RelationshipRecord const> record) : record_(std::move(record)) {}

  std::shared_ptr<detail::RelationshipRecord const> record_;
};

/// Where relationships start: a package or a part. A cheap handle; copies stand for the same source.
class ZT_API RelationshipSource {
 public:
  RelationshipSource(RelationshipSource const&) = default;
  RelationshipSource& operator=(RelationshipSource const&) = default;
  virtual ~RelationshipSource();

  /// All relationships of the source, in package order.
  std::vector<Relationship> getRelationships() const;
  std::vector<Relationship> getRelationshipsByType(std::u16string const& type) const;

  /// Adds a relationship to a part; the target is kept as given and need not exist. An empty id lets the
  /// source choose the first free one of rId1, rId2 ... Throws InvalidRelationship for an id that is no
  /// NCName or is taken, a type that is no URI, a target that is no relative reference (RFC 3986, 4.2; other
  /// than ASCII letters may stand in it) or leads to a relationships part, and for a second core-properties
  /// relationship of the package (ECMA-376-2, 11.2).
  Relationship createInternalRelationship(std::u16string const& type, URI const& target, std::u16string const& id = {});
  /// The same for a target outside the package, which is kept to the letter and never opened.
  Relationship createExternalRelationship(std::u16string const& type, std::u16string const& target,
                                          std::u16string const& id = {});
  /// Throws RelationshipNotFound.
  void deleteRelationship(std::u16string const& id);

 protected:
  RelationshipSource(std::shared_ptr<detail::PackageState> package, PartName source);

  detail::PackageState& state() const { return *package_; }
  std::shared_ptr<detail::PackageState> const& sharedState() const { return package_; }
  PartName const& source() const { return source_; }  // empty for the package itself

 private:
  std::shared_ptr<detail::PackageState> package_;
  PartName source_;
};

enum class RelationshipSelectorType { ByType, ByID };

/// Selects relationships of one source by their type or id. A value.
class ZT_API RelationshipSelector {
 public:
  RelationshipSelector(URI source, RelationshipSelectorType type, std::u16string criteria)
      : source_(std::move(source)), type_(type), criteria_(std::move(criteria)) {}

  URI const& getSourceURI() const { return source_; }
  RelationshipSelectorType getSelectorType() const { return type_; }
  std::u16string const& getSelectionCriteria() const { return criteria_; }

  friend bool operator==(RelationshipSelector const&, RelationshipSelector const&) = default;

 private:
  URI source_;
  RelationshipSelectorType type_;
  std::u16string criteria_;
};

}  // namespace opc::model
