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

/// The parts that hold contents, by their folded names.
using PartNames = std::map<std::u16string, PartName>;

PartNames partsOf(Package const& package) {
  PartNames parts;
  for (PartName& name : package.getPartNames())
    if (!name.isRelationshipsPart()) parts.emplace(foldedPartName(name.toString()), std::move(name));
  return parts;
}

/// Whether a part of both packages is wanted under either of its names. Asks for both, to record what matches.
bool isEitherWanted(PartComparisonRules const& rules, std::u16string const& ours, std::u16string const& theirs) {
  bool const isOursWanted = rules.isWanted(ours);
  return ours == theirs ? isOursWanted : rules.isWanted(theirs) || isOursWanted;
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
  PartNames const ours = partsOf(package), theirs = partsOf(other);
  for (auto const& [key, name] : ours) {
    auto const there = theirs.find(key);
    if (there == theirs.end()) {
      if (rules.isWanted(name.toString())) found.push_back({Change::Deleted, name.toString()});
    } else if (isEitherWanted(rules, name.toString(), there->second.toString())) {
      compareContents(package.getPart(name), other.getPart(there->second), rules, found);
    }
  }
  for (auto const& [key, name] : theirs)
    if (!ours.contains(key) && rules.isWanted(name.toString())) found.push_back({Change::Added, name.toString()});
  std::ranges::sort(found, {}, &PartDifference::part);
  return found;
}

/// By folded source and id, which identify a relationship.
using Relationships = std::map<std::pair<std::u16string, std::u16string>, RelationshipRecord>;

/// What is behind the first "#", with it.
std::u16string_view fragmentOf(std::u16string_view target) {
  std::size_t const mark = target.find(u'#');
  return mark == target.npos ? std::u16string_view() : target.substr(mark);
}

/// Resolved targets have no fragment, which is a part of what a relationship leads to.
std::vector<RelationshipRecord> recordsWithFragments(Package const& package) {
  std::vector<PartName> const parts = package.getPartNames();
  std::vector<RelationshipRecord> records = recordsOf(package, parts, TargetForm::Resolved);
  std::vector<RelationshipRecord> const written = recordsOf(package, parts, TargetForm::AsWritten);
  for (std::size_t i = 0; i < records.size(); ++i)
    if (fragmentOf(records[i].target).empty()) records[i].target += fragmentOf(written[i].target);
  return records;
}

Relationships relationshipsOf(Package const& package, PartComparisonRules const& rules) {
  auto records =
      rules.rawXml ? recordsOf(package, package.getPartNames(), TargetForm::AsWritten) : recordsWithFragments(package);
  Relationships all;
  for (RelationshipRecord& record : records)
    all.emplace(std::pair(foldedPartName(record.source), record.id), std::move(record));
  return all;
}

/// The case of a fragment counts.
std::u16string foldedTarget(std::u16string const& target) {
  std::u16string_view const fragment = fragmentOf(target);
  return foldedPartName(target.substr(0, target.size() - fragment.size())).append(fragment);
}

bool haveSameTarget(RelationshipRecord const& ours, RelationshipRecord const& theirs, bool raw) {
  if (raw || ours.isExternal || theirs.isExternal) return ours.target == theirs.target;
  return foldedTarget(ours.target) == foldedTarget(theirs.target);
}

std::vector<char const*> whatDiffers(RelationshipRecord const& ours, RelationshipRecord const& theirs, bool raw) {
  std::vector<char const*> what;
  if (ours.type != theirs.type) what.push_back("type");
  if (!haveSameTarget(ours, theirs, raw)) what.push_back("target");
  if (ours.isExternal != theirs.isExternal) what.push_back("mode");
  return what;
}

std::vector<PartDifference> compareRelationships(Relationships const& ours, Relationships const& theirs,
                                                 PartComparisonRules const& rules) {
  std::vector<PartDifference> found;
  for (auto const& [key, record] : ours) {
    auto const there = theirs.find(key);
    if (there == theirs.end()) {
      if (rules.isWanted(record.source)) found.push_back({Change::Deleted, record.source, record});
      continue;
    }
    if (!isEitherWanted(rules, record.source, there->second.source)) continue;
    std::vector<char const*> what = whatDiffers(record, there->second, rules.rawXml);
    if (!what.empty()) found.push_back({Change::Modified, there->second.source, there->second, std::move(what)});
  }
  for (auto const& [key, record] : theirs)
    if (!ours.contains(key) && rules.isWanted(record.source)) found.push_back({Change::Added, record.source, record});
  std::ranges::sort(found, {}, [](PartDifference const& one) { return std::pair(one.part, one.relationship->id); });
  return found;
}

}  // namespace

std::vector<PartDifference> compareParts(Package const& package, Package const& other,
                                         PartComparisonRules const& rules) {
  std::vector<PartDifference> found = compareContents(package, other, rules);
  std::ranges::move(compareRelationships(relationshipsOf(package, rules), relationshipsOf(other, rules), rules),
                    std::back_inserter(found));
  return found;
}

}  // namespace ztpkg
