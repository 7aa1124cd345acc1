// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "commands/PartRecords.hpp"
#include "opc/model/Package.hpp"

/// How the parts and relationships of a package differ from those of another, whatever is in them.
namespace ztpkg {

/// One part or relationship that differs.
struct PartDifference {
  enum class Change : char { Added = 'A', Deleted = 'D', Modified = 'M' };

  Change change = Change::Added;
  std::u16string part;  ///< its name; of a relationship the source, "/" for the package
  /// As it is in the other package; a deleted one as it is in the first. Absent for a part.
  std::optional<RelationshipRecord> relationship = {};
  /// Of a modified part "content", "content-type"; of a modified relationship "type", "target", "mode".
  std::vector<char const*> what = {};

  char letter() const { return static_cast<char>(change); }
};

struct PartComparisonRules {
  /// Compares XML parts by their bytes, and targets of relationships as they are written.
  bool rawXml = false;
  /// Whether a part, or the source of relationships, belongs to the comparison.
  std::function<bool(std::u16string const& part)> isWanted;
};

/// The parts in order of their names, then the relationships in order of source and id. Relationships parts are
/// compared by what they say. Names that differ in ASCII case alone are one part, which has the name in the other
/// package here, or in `package` where it is deleted. An XML part that cannot be read as XML is compared by its bytes.
/// Throws model::InvalidItem for a part whose content is damaged.
std::vector<PartDifference> compareParts(opc::model::Package const& package, opc::model::Package const& other,
                                         PartComparisonRules const& rules);

}  // namespace ztpkg
