// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PackageReader.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model::detail {
namespace {

/// Whether the content has no XML element: at most an XML declaration, as an interrupted program leaves it. Such a
/// relationships part is harmless. Longer content is not examined.
bool holdsNoMarkup(InputStream& input) {
  constexpr std::size_t kEnough = 4096;  // no declaration is longer
  std::string text(kEnough, '\0');
  std::size_t size = 0;
  while (size < kEnough && !input.isEnd()) size += input.read(text.data() + size, kEnough - size);
  if (!input.isEnd()) return false;
  std::string_view rest = std::string_view(text).substr(0, size);
  if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);
  if (rest.starts_with("<?xml ")) rest.remove_prefix(std::min(rest.find("?>"), rest.size()));
  return rest.find('<') == std::string_view::npos;
}

bool isRelationshipsKey(std::string_view key) {
  return endsIgnoringCase(key, ".rels") && isRelationshipsName(std::string("/").append(key));
}

}  // namespace

void PackageReader::readRelationships() {
  if (!areSound(contentTypesItems_)) refuseDamaged(kContentTypesItem);
  auto& parts = state_->parts;
  for (auto part = parts.begin(); part != parts.end(); ++part)
    if (isRelationshipsKey(part->first.text()))
      part->second.relationships = relationshipsIn(partOf(part->first.text(), part->second));
  for (auto const& [key, record] : clashing_) {
    ReadPart const part = partOf(key, record);
    bool const isTheSame = parts.find(part.name())->first.text() == key;
    if (isRelationshipsKey(key) && !isTheSame) relationshipsIn(part);
  }
}

void PackageReader::refuseDamaged(std::string_view name) const {
  faults_.refuseContent(messages::invalidItem(name, "it is damaged"));
}

std::unique_ptr<RelationshipSet> PackageReader::relationshipsIn(ReadPart const& part) {
  std::string const name = part.name(), source = sourceNameOf(name);
  auto relationships = std::make_unique<RelationshipSet>();
  std::uint64_t size = 0;
  for (auto const item : part.items()) size += archive_->entry(item).size;
  bool isRead = isSound(part);
  if (isRead)
    isRead = readMarkup(code::kInvalidRelationships, name, size, [&] { parseRelationships(part, *relationships); });
  else
    refuseDamaged(name);
  if (!isRead && source.empty()) knowsRelationships_ = false;
  if (faults_.listsAll())
    for (auto const& [position, relationship] : relationships->records()) checkTarget(source, *relationship);
  return relationships;
}

void PackageReader::parseRelationships(ReadPart const& part, RelationshipSet& relationships) {
  std::string const name = part.name();
  auto const input = open(part);
  try {
    detail::readRelationships(reader_, *input, sourceNameOf(name), state_->texts, relationshipCount_, relationships);
  } catch (InvalidXMLDocument const& error) {
    if (!holdsNoMarkup(*open(part))) throw;
    tolerate(code::kInvalidRelationships, name, messages::invalidItem(name, error.what()));
    if (sourceNameOf(name).empty()) knowsRelationships_ = false;
  }
}

void PackageReader::checkTarget(std::string const& source, RelationshipRecord const& relationship) {
  if (relationship.mode != TargetMode::Internal) return;
  std::string const item = source.empty() ? "/" : source;
  std::string const where = messages::shown(item) + ": relationship " + messages::shown(relationship.id);
  if (relationship.target.find(u'\\') != std::u16string::npos)
    tolerate(code::kBackslashTarget, item,
             where + " has a backslash in its target " + messages::shown(relationship.target));
  if (relationship.target.starts_with(u'#')) return;  // within its own source
  auto const name = targetNameOf(relationship);
  if (!name || state_->parts.find(*name) == state_->parts.end())
    tolerate(code::kMissingTarget, item,
             where + " leads to no part: " + (name ? messages::shown(*name) : messages::shown(relationship.target)));
}

}  // namespace opc::model::detail
