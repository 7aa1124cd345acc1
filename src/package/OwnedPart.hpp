// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "opc/model/Package.hpp"

namespace opc::model::detail {

/// A part in which a manager keeps its data: the name of a new one, its content type, and the type of the package
/// relationship that leads to it. The views must outlive the object.
///
/// A part of that name and content type without such a relationship is an orphan of a program that lost the
/// relationship; it is replaced. Any other part of the name is foreign and is never changed.
struct OwnedPart {
  using WriteContent = std::function<void(OutputStream& output)>;

  std::u16string_view name;
  std::u16string_view contentType;
  std::u16string_view relationshipType;

  /// The part that the first relationship of the type leads to, whatever its name; absent without a relationship.
  /// Throws PartNotFound for a relationship that leads to no part.
  std::optional<Part> find(Package const& package) const;

  /// The part that the first relationship with a target leads to.
  std::optional<Part> findAny(Package const& package) const;
  /// Throws PartNameClash where save() would throw it.
  void requirePlace(Package const& package) const;

  /// The part of the owned content type under the owned name, orphan or not.
  std::optional<Part> findUnderOwnName(Package const& package) const;

  /// Whether the part has the owned content type. Ignores parameters: an encrypted manifest is a manifest.
  bool isTypeOf(Part const& part) const;

  /// Replaces the content of the part that findAny() returns, or creates the part and its relationship. Deletes the
  /// relationships before it that lead to no part. Throws
  /// PartNameClash where a foreign part or item has the name, and exceptions of `write`. An exception never leaves a
  /// new part.
  void save(Package& package, std::vector<unsigned char> const& content) const;
  void save(Package& package, WriteContent const& write) const;
  /// The same. A new part gets this content type, which adds parameters to the owned one.
  void save(Package& package, ContentType const& type, WriteContent const& write) const;
  static void rewrite(Part const& part, WriteContent const& write);
  /// The same for a part of another type than the one there, which `leave` removes once the content is complete: an
  /// exception of `write`, or a clash of names, leaves everything as it is.
  void replace(Package& package, ContentType const& type, WriteContent const& write,
               std::function<void()> const& leave) const;

  /// Deletes every relationship of the type, the parts that these lead to, and an orphan.
  void remove(Package& package) const;

 private:
  Part create(Package& package, ContentType const& type) const;
  PartName freeName(Package const& package) const;
  void requireOwnName(Package const& package) const;
};

}  // namespace opc::model::detail
