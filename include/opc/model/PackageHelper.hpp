// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "opc/Export.hpp"
#include "opc/model/CoreProperties.hpp"
#include "opc/model/Package.hpp"

namespace opc::model {

class ZT_API PackageHelper {
 public:
  /// The standard core properties of the package; all absent where it has no such part. Where it has
  /// several, which breaks the rules (11.2) and yet is found, they are the first relationship's that leads
  /// to a part. Throws InvalidPartContent, naming the part and the fault, when the part breaks
  /// the rules of ECMA-376-2, 11.
  static CoreProperties getCoreProperties(Package const& package);

  /// Writes the part that getCoreProperties reads; where the package has none it is created, as
  /// "/docProps/core.xml", with its relationship, which takes the place of any that lead to no part. Every
  /// property is written anew: to change some, start from what getCoreProperties returned. Throws
  /// InvalidXMLDocument for a text that XML cannot carry, before anything is changed, and what createPart
  /// and createInternalRelationship throw.
  static void createOrUpdateCoreProperties(Package& package, CoreProperties const& properties);

  /// Deletes every package relationship of that type and the parts that they target.
  static void deleteRelationshipsAndTargets(Package& package, std::u16string const& relationshipType);

 private:
  /// The part that the relationship targets, if there is one.
  static std::optional<Part> findTarget(Package const& package, Relationship const& relationship);
  static std::optional<Part> findCoreProperties(Package const& package);
  static Part createCorePropertiesPart(Package& package);
};

}  // namespace opc::model
