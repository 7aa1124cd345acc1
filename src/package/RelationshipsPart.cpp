// SPDX-License-Identifier: Apache-2.0
#include "package/RelationshipsPart.hpp"

#include <memory>
#include <string_view>
#include <utility>

#include "opc/model/Exceptions.hpp"
#include "opc/model/PartName.hpp"
#include "package/MarkupCompatibility.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "xml/XmlCharacters.hpp"
#include "xml/XmlTextWriter.hpp"

namespace opc::model::detail {
namespace {

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

bool isInternalTarget(std::u16string const& target, std::u16string const& source) {
  URI const reference(target);
  if (reference.hasScheme()) return false;
  // Most targets need no resolving: nothing else can come out as ".rels", but for what is percent-encoded.
  std::string const name = lowerCased(narrowName(target));
  if (name.find(".rels") == std::string::npos && name.find('%') == std::string::npos) return true;
  try {
    return !PartName(reference.resolvedAgainst(URI(source))).isRelationshipsPart();
  } catch (InvalidURI const&) {
    return true;  // it targets no part at all; whoever follows it is told
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
