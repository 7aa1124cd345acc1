// SPDX-License-Identifier: Apache-2.0
#include "commands/PartRecords.hpp"

#include <iterator>
#include <utility>

#include "cli/Json.hpp"
#include "opc/model/Exceptions.hpp"

namespace ztpkg {
namespace {

using opc::model::PartName;
using opc::model::Relationship;
using opc::model::TargetMode;

// A target that cannot be resolved is shown as it is written.
std::u16string targetOf(Relationship const& relationship, TargetForm form) {
  if (form == TargetForm::AsWritten) return relationship.getTargetText();
  try {
    return relationship.getTargetURI().toString();
  } catch (opc::model::InvalidURI const&) {
    return relationship.getTargetText();
  }
}

}  // namespace

std::u16string foldedPartName(std::u16string name) {
  for (char16_t& unit : name)
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit | 0x20);
  return name;
}

PartRecord recordOf(opc::model::Part const& part) {
  return {part.getName().toString(), part.getContentType().toString(), part.getSize(), part.getStoredSize()};
}

std::string json(PartRecord const& record) {
  JsonObject object;
  object.add("name", record.name).add("contentType", record.contentType);
  object.add("size", record.size).add("storedSize", record.storedSize);
  if (record.sha256) object.add("sha256", *record.sha256);
  return object.text();
}

std::string json(RelationshipRecord const& record) {
  JsonObject object;
  object.add("source", record.source).add("id", record.id).add("type", record.type).add("target", record.target);
  return object.add("mode", record.isExternal ? "External" : "Internal").text();
}

std::u16string text(RelationshipRecord const& record) {
  return record.source + u"  " + record.id + u"  " + record.type + u" -> " + record.target +
         (record.isExternal ? u" (external)" : u"");
}

RelationshipRecord recordOf(Relationship const& relationship, std::u16string const& source, TargetForm form) {
  return {source, relationship.getID(), relationship.getType(), targetOf(relationship, form),
          relationship.getMode() == TargetMode::External};
}

std::vector<RelationshipRecord> recordsOf(opc::model::RelationshipSource const& source, std::u16string const& name,
                                          TargetForm form) {
  std::vector<RelationshipRecord> records;
  for (Relationship const& found : source.getRelationships()) records.push_back(recordOf(found, name, form));
  return records;
}

std::vector<RelationshipRecord> recordsOf(opc::model::Package const& package, std::vector<PartName> const& parts,
                                          TargetForm form) {
  std::vector<RelationshipRecord> records = recordsOf(package, u"/", form);
  for (PartName const& name : parts)
    if (!name.isRelationshipsPart())
      std::ranges::move(recordsOf(package.getPart(name), name.toString(), form), std::back_inserter(records));
  return records;
}

}  // namespace ztpkg
