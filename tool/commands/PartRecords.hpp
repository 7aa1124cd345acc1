// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "opc/model/Package.hpp"

/// What the commands print of parts and relationships, in one form everywhere.
namespace ztpkg {

/// Equal for equivalent part names, which differ in ASCII case alone (ECMA-376-2, 9.1.1.3).
std::u16string foldedPartName(std::u16string name);

struct PartRecord {
  std::u16string name;
  std::u16string contentType;
  std::uint64_t size = 0;
  std::uint64_t storedSize = 0;
  std::optional<std::string> sha256 = {};
};
PartRecord recordOf(opc::model::Part const& part);
std::string json(PartRecord const& record);

/// An internal target is resolved to a part name where that is possible.
struct RelationshipRecord {
  std::u16string source;
  std::u16string id;
  std::u16string type;
  std::u16string target;
  bool isExternal = false;
};
std::string json(RelationshipRecord const& record);
/// On one line, without its end; not escaped.
std::u16string text(RelationshipRecord const& record);

/// How the target of a record is written.
enum class TargetForm { Resolved, AsWritten };

RelationshipRecord recordOf(opc::model::Relationship const& relationship, std::u16string const& source,
                            TargetForm form = TargetForm::Resolved);
std::vector<RelationshipRecord> recordsOf(opc::model::RelationshipSource const& source, std::u16string const& name,
                                          TargetForm form = TargetForm::Resolved);
/// Those of the package, then those of the parts, which are all or some of its parts.
std::vector<RelationshipRecord> recordsOf(opc::model::Package const& package,
                                          std::vector<opc::model::PartName> const& parts,
                                          TargetForm form = TargetForm::Resolved);

}  // namespace ztpkg
