// SPDX-License-Identifier: Apache-2.0
#include "opc/model/Relationship.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/CorePropertiesPart.hpp"
#include "package/Messages.hpp"
#include "package/PackageState.hpp"
#include "package/PartNameRules.hpp"
#include "package/RelationshipSet.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::model {
namespace {

/// Every percent sign stands before two hexadecimal digits.
bool hasWholeEncodings(std::u16string_view text) {
  for (std::size_t at = text.find(u'%'); at != std::u16string_view::npos; at = text.find(u'%', at + 1))
    if (text.size() < at + 3 || hexValue(text[at + 1]) < 0 || hexValue(text[at + 2]) < 0) return false;
  return true;
}

/// No character that a URI or IRI excludes (RFC 3986, 2; RFC 3987, 2.2).
bool isReference(std::u16string const& text) {
  constexpr std::u16string_view kExcluded = u" \"<>\\^`{|}\x7F";
  auto const isExcluded = [&](char16_t c) { return c < 0x20 || kExcluded.find(c) != std::u16string_view::npos; };
  return std::none_of(text.begin(), text.end(), isExcluded) && hasWholeEncodings(text) && isXmlText(text);
}

/// A URI or IRI with a scheme and something behind it.
bool isWholeURI(std::u16string const& text) {
  return isReference(text) && URI(text).hasScheme() && text.find(u':') + 1 < text.size();
}

/// A reference without an authority contains no brackets.
bool isRelativeReference(std::u16string const& text) {
  return isReference(text) && text.find_first_of(u"[]") == std::u16string::npos;
}

/// Whether the target resolves to a name, with or without a part.
bool isResolvable(RelationshipRecord const& record) {
  try {
    URI(record.target).resolvedAgainst(URI(*record.source));
    return true;
  } catch (InvalidURI const&) {
    return false;
  }
}

void checkRecord(RelationshipRecord const& record) {
  namespace messages = detail::messages;
  if (!isWholeURI(*record.type)) throw InvalidRelationship(messages::invalidRelationshipType(*record.type));
  bool const isTarget = record.mode == TargetMode::External
                            ? isXmlText(record.target)
                            : isRelativeReference(record.target) && isResolvable(record) &&
                                  detail::isInternalTarget(record.target, *record.source);
  if (!isTarget) throw InvalidRelationship(messages::invalidRelationshipTarget(record.target));
}

/// The wanted id, or a free one if that is empty.
std::u16string chooseId(detail::RelationshipSet* existing, std::u16string const& wanted) {
  namespace messages = detail::messages;
  if (wanted.empty()) return existing ? existing->freeId() : u"rId1";
  if (!isNCName(wanted)) throw InvalidRelationship(messages::invalidRelationshipId(wanted));
  if (existing && existing->contains(wanted)) throw InvalidRelationship(messages::relationshipIdTaken(wanted));
  return wanted;
}

/// The name of the source as a narrow string; throws PartNotFound.
std::string checkedSource(PackageState& state, PartName const& source) {
  if (source.toString().empty()) return {};
  return detail::PartIndex::nameOf(state.parts.get(source));
}

/// ECMA-376-2, 11.2: a package has one core-properties relationship at the most.
void requireFirstOfItsKind(PackageState& state, std::string const& source, std::u16string const& type) {
  if (!source.empty() || type != detail::kCorePropertiesRelationshipType) return;
  auto const* const existing = state.relationshipsOf(source);
  if (existing && existing->hasType(type)) throw InvalidRelationship(detail::messages::kSecondCoreProperties);
}

std::shared_ptr<RelationshipRecord const> create(PackageState& state, PartName const& sourceName,
                                                 RelationshipRecord record) {
  state.requireWritable();
  std::string const source = checkedSource(state, sourceName);
  if (detail::isRelationshipsName(source))
    throw InvalidRelationship(detail::messages::relationshipsHaveNone(sourceName.toString()));
  requireFirstOfItsKind(state, source, *record.type);
  record.source = state.texts.intern(source.empty() ? u"/" : detail::wideName(source));
  checkRecord(record);
  record.id = chooseId(state.relationshipsOf(source), record.id);
  auto shared = std::make_shared<RelationshipRecord const>(std::move(record));
  auto const part = state.relationshipsPartOf(source);
  try {
    part->second.relationships->append(shared);
  } catch (...) {
    state.relationshipsChanged(part);
    throw;
  }
  state.relationshipsChanged(part);
  return shared;
}

}  // namespace

bool operator==(Relationship const& a, Relationship const& b) {
  auto const &first = *a.record_, &second = *b.record_;
  return a.record_ == b.record_ || (first.id == second.id && *first.type == *second.type && first.mode == second.mode &&
                                    first.target == second.target && *first.source == *second.source);
}

std::u16string const& Relationship::getID() const { return record_->id; }
std::u16string const& Relationship::getType() const { return *record_->type; }
TargetMode Relationship::getMode() const { return record_->mode; }
std::u16string const& Relationship::getTargetText() const { return record_->target; }

URI Relationship::getTargetURI() const {
  URI const target(record_->target);
  return record_->mode == TargetMode::External ? target : target.resolvedAgainst(URI(*record_->source));
}

RelationshipSource::RelationshipSource(std::shared_ptr<PackageState> package, PartName source)
    : package_(std::move(package)), source_(std::move(source)) {}

RelationshipSource::~RelationshipSource() = default;

std::vector<Relationship> RelationshipSource::getRelationships() const {
  std::vector<Relationship> result;
  auto const* const relationships = state().relationshipsOf(checkedSource(state(), source_));
  if (!relationships) return result;
  result.reserve(relationships->records().size());
  for (auto const& [position, record] : relationships->records()) result.push_back(Relationship(record));
  return result;
}

std::vector<Relationship> RelationshipSource::getRelationshipsByType(std::u16string const& type) const {
  std::vector<Relationship> result;
  auto const* const relationships = state().relationshipsOf(checkedSource(state(), source_));
  if (!relationships) return result;
  for (auto const& [position, record] : relationships->records())
    if (*record->type == type) result.push_back(Relationship(record));
  return result;
}

std::optional<Relationship> RelationshipSource::findRelationship(std::u16string const& id) const {
  auto const* const relationships = state().relationshipsOf(checkedSource(state(), source_));
  auto const record = relationships ? relationships->find(id) : nullptr;
  return record ? std::optional<Relationship>(Relationship(record)) : std::nullopt;
}

Relationship RelationshipSource::createInternalRelationship(std::u16string const& type, URI const& target,
                                                            std::u16string const& id) {
  return Relationship(
      create(state(), source_, {id, state().texts.intern(type), target.toString(), TargetMode::Internal, nullptr}));
}

Relationship RelationshipSource::createExternalRelationship(std::u16string const& type, std::u16string const& target,
                                                            std::u16string const& id) {
  return Relationship(
      create(state(), source_, {id, state().texts.intern(type), target, TargetMode::External, nullptr}));
}

void RelationshipSource::deleteRelationship(std::u16string const& id) {
  state().requireWritable();
  std::string const source = checkedSource(state(), source_);
  auto const part = state().parts.find(detail::relationshipsNameOf(source));
  if (part == state().parts.end() || !part->second.relationships->remove(id))
    throw RelationshipNotFound(detail::messages::relationshipNotFound(id, source_.toString()));
  state().relationshipsChanged(part);
}

}  // namespace opc::model
