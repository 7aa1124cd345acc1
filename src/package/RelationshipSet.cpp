// SPDX-License-Identifier: Apache-2.0
#include "package/RelationshipSet.hpp"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

#include "opc/model/Exceptions.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/URI.hpp"
#include "package/MarkupCompatibility.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "text/Ascii.hpp"
#include "xml/XmlCharacters.hpp"
#include "xml/XmlStreamReader.hpp"
#include "xml/XmlTextWriter.hpp"

namespace opc::model::detail {
namespace {

/// The N of "rIdN" in plain decimal form, or 0.
std::uint64_t numberOf(std::u16string_view id) {
  constexpr std::size_t kMaximumIdDigits = 18;
  if (!id.starts_with(u"rId") || id.size() < 4 || id.size() > 3 + kMaximumIdDigits || id[3] == u'0') return 0;
  std::uint64_t number = 0;
  for (char16_t const c : id.substr(3)) {
    if (!ascii::isDigit(c)) return 0;
    number = number * 10 + static_cast<std::uint64_t>(c - u'0');
  }
  return number;
}

std::u16string idOf(std::uint64_t number) {
  std::string const digits = std::to_string(number);
  return u"rId" + std::u16string(digits.begin(), digits.end());
}

constexpr std::u16string_view kRelationshipsNamespace = u"http://schemas.openxmlformats.org/package/2006/relationships";
constexpr std::u16string_view kAttributes[] = {u"Id", u"Type", u"Target", u"TargetMode"};

class RelationshipsHandler final : public MarkupHandler {
 public:
  RelationshipsHandler(TextPool::Text source, TextPool& texts, RelationshipCount& count, RelationshipSet& relationships)
      : MarkupHandler(kRelationshipsNamespace, u"Relationships", TextInChildren::Allowed),
        source_(std::move(source)),
        texts_(texts),
        count_(count),
        relationships_(relationships) {}

 protected:
  void child(std::u16string_view name, XmlAttributes const& attributes) override {
    if (name != u"Relationship") failAtElement(name);
    if (count_.taken == count_.maximum)
      fail("The package has more than " + std::to_string(count_.maximum) + " relationships");
    requireOnly(attributes, name, kAttributes);
    auto record = std::make_shared<RelationshipRecord>();
    record->id = required(attributes, name, u"Id");
    record->type = texts_.intern(required(attributes, name, u"Type"));
    record->target = required(attributes, name, u"Target");
    record->mode = modeOf(attributes);
    record->source = source_;
    check(*record);
    relationships_.append(std::move(record));
    ++count_.taken;
  }

 private:
  static TargetMode modeOf(XmlAttributes const& attributes) {
    auto const mode = attributes.find(u"TargetMode");
    if (!mode || *mode == u"Internal") return TargetMode::Internal;
    if (*mode == u"External") return TargetMode::External;
    fail("Invalid relationship target mode: " + messages::shown(*mode));
  }

  void check(RelationshipRecord const& record) const {
    if (!isNCName(record.id)) fail(messages::invalidRelationshipId(record.id));
    if (relationships_.contains(record.id)) fail(messages::relationshipIdTaken(record.id));
    if (record.mode == TargetMode::Internal && !isInternalTarget(record.target, *source_))
      fail(messages::invalidRelationshipTarget(record.target));
  }

  TextPool::Text source_;
  TextPool& texts_;
  RelationshipCount& count_;
  RelationshipSet& relationships_;
};

}  // namespace

std::optional<std::string> targetNameOf(RelationshipRecord const& relationship) {
  if (relationship.mode == TargetMode::External) return std::nullopt;
  try {
    return narrowName(URI(relationship.target).resolvedAgainst(URI(*relationship.source)).toString());
  } catch (InvalidURI const&) {
    return std::nullopt;
  }
}

RelationshipSet::Record RelationshipSet::find(std::u16string_view id) const {
  auto const found = positions_.find(id);
  return found == positions_.end() ? nullptr : records_.at(found->second);
}

bool RelationshipSet::hasType(std::u16string_view type) const {
  return std::any_of(records_.begin(), records_.end(), [type](auto const& one) { return *one.second->type == type; });
}

std::u16string RelationshipSet::freeId() {
  while (!freed_.empty()) {
    std::u16string id = idOf(*freed_.begin());
    if (!contains(id)) return id;
    freed_.erase(freed_.begin());
  }
  for (;; ++firstUntried_) {
    std::u16string id = idOf(firstUntried_);
    if (!contains(id)) return id;
  }
}

void RelationshipSet::append(Record record) {
  auto const at = records_.emplace_hint(records_.end(), nextPosition_, std::move(record));
  try {
    positions_.emplace(at->second->id, nextPosition_);
  } catch (...) {
    records_.erase(at);
    throw;
  }
  ++nextPosition_;
}

bool RelationshipSet::remove(std::u16string_view id) {
  auto const found = positions_.find(id);
  if (found == positions_.end()) return false;
  std::uint64_t const number = numberOf(id);
  if (number != 0 && number < firstUntried_) freed_.insert(number);
  auto const record = records_.find(found->second);
  positions_.erase(found);
  records_.erase(record);
  return true;
}

bool isInternalTarget(std::u16string const& target, std::u16string const& source) {
  URI const reference(target);
  if (reference.hasScheme()) return false;
  // Most targets need no resolving: a result with ".rels" requires that text or an encoding in the target.
  std::string const name = lowerCased(narrowName(target));
  if (name.find(".rels") == std::string::npos && name.find('%') == std::string::npos) return true;
  try {
    return !PartName(reference.resolvedAgainst(URI(source))).isRelationshipsPart();
  } catch (InvalidURI const&) {
    return true;  // it leads to no part, which following it reports
  }
}

void readRelationships(XmlStreamReader& reader, InputStream& input, std::string const& source, TextPool& texts,
                       RelationshipCount& count, RelationshipSet& relationships) {
  RelationshipsHandler handler(texts.intern(source.empty() ? u"/" : wideName(source)), texts, count, relationships);
  MarkupCompatibility compatibility(handler, kRelationshipsNamespace);
  reader.read(input, compatibility);
}

void writeRelationships(RelationshipSet const& relationships, OutputStream& output) {
  XmlTextWriter writer(output);
  writer.startRoot(kRelationshipsNamespace, u"Relationships");
  for (auto const& [position, record] : relationships.records()) {
    writer.startElement(u"Relationship");
    writer.attribute(u"Id", record->id);
    writer.attribute(u"Target", record->target);
    if (record->mode == TargetMode::External) writer.attribute(u"TargetMode", u"External");
    writer.attribute(u"Type", *record->type);
    writer.endElement();
  }
  writer.endElement();
  writer.finish();
}

}  // namespace opc::model::detail
