// SPDX-License-Identifier: Apache-2.0
#include "commands/PartComparison.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

#include "cli/Process.hpp"
#include "opc/model/XmlExceptions.hpp"
#include "opc/ztservices/Verification.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;
using Change = PartDifference::Change;

/// "xml" or "...+xml", in any case.
bool isXml(Part const& part) {
  constexpr std::u16string_view kXml = u"xml";
  std::u16string const subtype = part.getContentType().getSubType();
  if (subtype.size() < kXml.size()) return false;
  std::size_t const begin = subtype.size() - kXml.size();
  bool const isSuffix = std::ranges::equal(subtype.substr(begin), kXml, {}, [](char16_t unit) { return unit | 0x20; });
  return isSuffix && (begin == 0 || subtype[begin - 1] == u'+');
}

bool haveSameContent(Part const& ours, Part const& theirs, bool rawXml) {
  if (ours.getSize() == theirs.getSize() && opc::ztservices::digestPart(ours) == opc::ztservices::digestPart(theirs))
    return true;
  if (rawXml || !isXml(ours) || !isXml(theirs)) return false;
  try {
    return opc::ztservices::digestXml(ours) == opc::ztservices::digestXml(theirs);
  } catch (opc::model::InvalidXMLDocument const&) {
    return false;  // the bytes differ
  }
}

std::vector<PartName> wantedParts(Package const& package, PartComparisonRules const& rules) {
  std::vector<PartName> names = package.getPartNames();
  std::erase_if(names,
                [&](PartName const& name) { return name.isRelationshipsPart() || !rules.isWanted(name.toString()); });
  return names;
}

void compareContents(Part const& ours, Part const& theirs, PartComparisonRules const& rules,
                     std::vector<PartDifference>& found) {
  throwIfInterrupted();
  std::vector<char const*> what;
  if (!haveSameContent(ours, theirs, rules.rawXml)) what.push_back("content");
  if (!(ours.getContentType() == theirs.getContentType())) what.push_back("content-type");
  if (!what.empty()) found.push_back({Change::Modified, theirs.getName().toString(), {}, std::move(what)});
}

std::vector<PartDifference> compareContents(Package const& package, Package const& other,
                                            PartComparisonRules const& rules) {
  std::vector<PartDifference> found;
  for (PartName const& name : wantedParts(package, rules)) {
    if (other.hasPart(name))
      compareContents(package.getPart(name), other.getPart(name), rules, found);
    else
      found.push_back({Change::Deleted, name.toString()});
  }
  for (PartName const& name : wantedParts(other, rules))
    if (!package.hasPart(name)) found.push_back({Change::Added, name.toString()});
  std::ranges::sort(found, {}, &PartDifference::part);
  return found;
}

/// By source and id, which identify a relationship.
using Relationships = std::map<std::pair<std::u16string, std::u16string>, RelationshipRecord>;

Relationships relationshipsOf(Package const& package, PartComparisonRules const& rules) {
  TargetForm const form = rules.rawXml ? TargetForm::AsWritten : TargetForm::Resolved;
  Relationships all;
  for (RelationshipRecord& record : recordsOf(package, package.getPartNames(), form))
    if (rules.isWanted(record.source)) all.emplace(std::pair(record.source, record.id), std::move(record));
  return all;
}

std::vector<char const*> whatDiffers(RelationshipRecord const& ours, RelationshipRecord const& theirs) {
  std::vector<char const*> what;
  if (ours.type != theirs.type) what.push_back("type");
  if (ours.target != theirs.target) what.push_back("target");
  if (ours.isExternal != theirs.isExternal) what.push_back("mode");
  return what;
}

std::vector<PartDifference> compareRelationships(Relationships const& ours, Relationships const& theirs) {
  std::vector<PartDifference> found;
  for (auto const& [key, record] : ours) {
    auto const there = theirs.find(key);
    if (there == theirs.end()) {
      found.push_back({Change::Deleted, key.first, record});
      continue;
    }
    std::vector<char const*> what = whatDiffers(record, there->second);
    if (!what.empty()) found.push_back({Change::Modified, key.first, there->second, std::move(what)});
  }
  for (auto const& [key, record] : theirs)
    if (!ours.contains(key)) found.push_back({Change::Added, key.first, record});
  std::ranges::sort(found, {}, [](PartDifference const& one) { return std::pair(one.part, one.relationship->id); });
  return found;
}

}  // namespace

std::vector<PartDifference> compareParts(Package const& package, Package const& other,
                                         PartComparisonRules const& rules) {
  std::vector<PartDifference> found = compareContents(package, other, rules);
  std::ranges::move(compareRelationships(relationshipsOf(package, rules), relationshipsOf(other, rules)),
                    std::back_inserter(found));
  return found;
}

}  // namespace ztpkg
