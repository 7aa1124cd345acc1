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
  /// The part that an internal relationship of the package leads to, if there is one; its name may differ from
  /// the target's in ASCII case (ECMA-376-2, 9.1.1.2).
  static std::optional<Part> findTarget(Package const& package, Relationship const& relationship);
  /// The same; throws PartNotFound, naming the target, where there is none, and InvalidURI for a target that is
  /// no URI.
  static Part getTarget(Package const& package, Relationship const& relationship);

  /// The standard core properties of the package; all absent where it has no such part. Where it has
  /// several, which breaks the rules (11.2) and yet is found, they are the first relationship's that leads
  /// to a part. Throws InvalidPartContent, naming the part and the fault, when the part breaks
  /// the rules of ECMA-376-2, 11.
  static CoreProperties getCoreProperties(Package const& package);

  /// Writes the part that getCoreProperties reads; where the package has none it is created, as
  /// "/docProps/core.xml", with its relationship, which takes the place of any that lead to no part. A part of
  /// that name and of the core properties' content type to which no relationship leads is replaced; where any
  /// other part has the name, the new part's name gets a number. Every
  /// property is written anew: to change some, start from what getCoreProperties returned. Throws
  /// InvalidXMLDocument for a text that XML cannot carry, before anything is changed, and what createPart
  /// and createInternalRelationship throw.
  static void createOrUpdateCoreProperties(Package& package, CoreProperties const& properties);

  /// Deletes every package relationship of that type and the parts that they target.
  static void deleteRelationshipsAndTargets(Package& package, std::u16string const& relationshipType);

 private:
  static std::optional<Part> findCoreProperties(Package const& package);
};

}  // namespace opc::model
