// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/model/CoreProperties.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/PartName.hpp"

namespace opc::model {

/// Operations on packages that need no state of their own. Used by the thread that uses the package.
class ZT_API PackageHelper {
 public:
  /// The part that an internal relationship of the package, or of one of its parts, leads to, if there is one. Its name
  /// may differ from the target's in ASCII case (ECMA-376-2, 9.1.1.3). Nothing for an external relationship.
  static std::optional<Part> findTarget(Package const& package, Relationship const& relationship);
  /// The same; throws PartNotFound, naming the target, where there is no such part, and InvalidURI for a target that
  /// cannot be resolved.
  static Part getTarget(Package const& package, Relationship const& relationship);
  /// Every part that an internal relationship of the package or of one of its parts leads to, once. Ordered by name.
  static std::vector<PartName> getAllTargets(Package const& package);

  /// The standard core properties of the package; all absent where it has no such part. Of several parts, which break
  /// the rules (ECMA-376-2, 11.2) and yet occur, it reads the one of the first relationship that leads to a part.
  /// Throws InvalidPartContent, naming the part and the fault, when the part breaks the rules of clause 11 or is too
  /// large to be read as one document; what reading a part throws.
  static CoreProperties getCoreProperties(Package const& package);
  /// Reads the readable properties. Instead of throwing InvalidPartContent, it appends a description of each fault, and
  /// leaves out the faulty element, or all properties if the fault concerns the whole document. Relationships of which
  /// none leads to a part are faults too.
  static CoreProperties getCoreProperties(Package const& package, std::vector<std::string>& faults);

  /// Writes the part that getCoreProperties reads. Where the package has none, it creates "/docProps/core.xml" and its
  /// relationship, which replaces relationships of that type that lead to no part. If a part has that name, the new
  /// name gets a number: core properties to which no relationship leads stay. It writes every property: to change some
  /// of them, start from the result of getCoreProperties. Throws InvalidXMLDocument for a text that XML cannot carry or
  /// getCoreProperties could not read back, before it changes anything, and what Package::createPart,
  /// createInternalRelationship and Part::getOutputStream throw.
  static void createOrUpdateCoreProperties(Package& package, CoreProperties const& properties);

  /// Deletes every package relationship of that type and the parts that these lead to, except relationships parts. A
  /// relationship that leads to no part is deleted too. Throws PackageIsReadOnly.
  static void deleteRelationshipsAndTargets(Package& package, std::u16string const& relationshipType);

 private:
  static std::optional<Part> findCoreProperties(Package const& package);
};

}  // namespace opc::model
