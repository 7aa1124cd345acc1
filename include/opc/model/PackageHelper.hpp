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
  /// The standard core properties of the package; all absent where it has no such part, the first part's
  /// where it has several. Throws InvalidPartContent, naming the part and the fault, when the part breaks
  /// the rules of ECMA-376-2, 11.
  static CoreProperties getCoreProperties(Package const& package);

  /// Writes the part (created with its relationship, as "/docProps/core.xml", where the package has none).
  static void createOrUpdateCoreProperties(Package& package, CoreProperties const& properties);

  /// Deletes every package relationship of that type and the parts that they target.
  static void deleteRelationshipsAndTargets(Package& package, std::u16string const& relationshipType);

 private:
  /// The part that the relationship targets, if there is one.
  static std::optional<Part> findTarget(Package const& package, Relationship const& relationship);
  static std::optional<Part> findCoreProperties(Package const& package);
};

}  // namespace opc::model
