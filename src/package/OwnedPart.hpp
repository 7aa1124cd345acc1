// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "opc/model/Package.hpp"

namespace opc::model::detail {

/// A part that a manager keeps its data in: the name under which it is made, its content type, and the type of the
/// relationship by which the package leads to it. The views must outlive the object.
///
/// A part of that content type under that name to which no such relationship leads is an orphan, left by a program that
/// lost the relationship: its place is taken over. Any other part under the name belongs to somebody else and is never
/// changed.
struct OwnedPart {
  using WriteContent = std::function<void(OutputStream& output)>;

  std::u16string_view name;
  std::u16string_view contentType;
  std::u16string_view relationshipType;

  /// The part that the first relationship of the type leads to, whatever its name; absent without a relationship.
  /// Throws PartNotFound for a relationship that leads to no part.
  std::optional<Part> find(Package const& package) const;

  /// The part of the owned content type under the owned name, orphan or not.
  std::optional<Part> findUnderOwnName(Package const& package) const;

  /// Replaces the content of the part that find() returns; without one creates the part and its relationship. Throws
  /// PartNameClash where a foreign part or item has the name, and what `write` throws; the package then has no part
  /// without its relationship.
  void save(Package& package, std::vector<unsigned char> const& content) const;
  void save(Package& package, WriteContent const& write) const;
  /// The same; a part that is created gets this content type, which adds parameters to the owned one.
  void save(Package& package, ContentType const& type, WriteContent const& write) const;
  static void rewrite(Part const& part, WriteContent const& write);

  /// Deletes every relationship of the type, the parts to which they lead, and an orphan.
  void remove(Package& package) const;

 private:
  Part create(Package& package, ContentType const& type) const;
};

}  // namespace opc::model::detail
