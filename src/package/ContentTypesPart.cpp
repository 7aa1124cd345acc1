// SPDX-License-Identifier: Apache-2.0
#include "package/ContentTypesPart.hpp"

#include <algorithm>
#include <functional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "package/MarkupCompatibility.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "xml/XmlTextWriter.hpp"

namespace opc::model::detail {
namespace {

constexpr std::u16string_view kNamespace = u"http://schemas.openxmlformats.org/package/2006/content-types";
constexpr std::u16string_view kDefaultAttributes[] = {u"Extension", u"ContentType"};
constexpr std::u16string_view kOverrideAttributes[] = {u"PartName", u"ContentType"};

using Defaults = std::map<std::string, MediaType const*>;

class ContentTypesHandler final : public MarkupHandler {
 public:
  ContentTypesHandler(std::uint64_t maximum, MediaTypePool& types, ContentTypes& result)
      : MarkupHandler(kNamespace, u"Types", TextInChildren::Refused),
        maximum_(maximum),
        types_(types),
        result_(result) {}

 protected:
  void child(std::u16string_view name, XmlAttributes const& attributes) override {
    if (result_.defaults.size() + result_.overrides.size() == maximum_)
      fail("The package has more than " + std::to_string(maximum_) + " content types");
    if (name == u"Default")
      addDefault(name, attributes);
    else if (name == u"Override")
      addOverride(name, attributes);
    else
      failAtElement(name);
  }

 private:
  void addDefault(std::u16string_view element, XmlAttributes const& attributes) {
    requireOnly(attributes, element, kDefaultAttributes);
    std::u16string_view const extension = required(attributes, element, u"Extension");
    std::u16string_view const type = required(attributes, element, u"ContentType");
    if (extension.empty()) fail("A default without an extension");
    if (!result_.defaults.emplace(lowerCased(toUTF8String(extension)), types_.intern(type)).second)
      fail("Two defaults for the extension " + messages::shown(extension));
  }

  void addOverride(std::u16string_view element, XmlAttributes const& attributes) {
    requireOnly(attributes, element, kOverrideAttributes);
    std::string const name = narrowName(required(attributes, element, u"PartName"));
    std::u16string_view const type = required(attributes, element, u"ContentType");
    if (!isValidPartName(name)) fail("Invalid part name: " + messages::shown(*attributes.find(u"PartName")));
    if (!result_.overrides.emplace(name, ContentTypes::Override{types_.intern(type)}).second)
      fail("Two overrides for the part " + messages::shown(name));
  }

  std::uint64_t maximum_;
  MediaTypePool& types_;
  ContentTypes& result_;
};

/// For each extension, how many parts have each type.
using Counts = std::map<std::string, std::map<MediaType const*, std::uint64_t>, std::less<>>;

Counts countTypes(PackageState const& state) {
  Counts counts;
  for (auto const& [key, record] : state.parts) {
    std::string const extension = extensionOf(key.text());
    if (!extension.empty()) ++counts[extension][record.type];
  }
  return counts;
}

MediaType const* mostFrequent(std::map<MediaType const*, std::uint64_t> const& types) {
  return std::max_element(types.begin(), types.end(),
                          [](auto const& a, auto const& b) {
                            return a.second != b.second ? a.second < b.second : a.first->text > b.first->text;
                          })
      ->first;
}

/// The extension of relationships parts has no other default, since programs take it for theirs. Null without such
/// parts.
MediaType const* relationshipsTypeOf(std::map<MediaType const*, std::uint64_t> const& types) {
  auto const found =
      std::find_if(types.begin(), types.end(), [](auto const& one) { return one.first->is(kRelationshipsType); });
  return found == types.end() ? nullptr : found->first;
}

/// A default for these extensions would turn items into parts.
std::set<std::string> untypedExtensions(PackageState const& state) {
  std::set<std::string> extensions;
  for (LooseItem const& item : state.parts.items())
    if (item.isUntyped) extensions.insert(extensionOf(state.parts.takenBy(item)));
  return extensions;
}

bool hasDefault(Defaults const& defaults, std::string_view name, MediaType const* type) {
  std::string const extension = extensionOf(name);
  auto const found = extension.empty() ? defaults.end() : defaults.find(extension);
  return found != defaults.end() && found->second == type;
}

/// Part names and types, sorted by name.
std::vector<std::pair<std::string, MediaType const*>> overridesFor(PackageState const& state,
                                                                   Defaults const& defaults) {
  std::vector<std::pair<std::string, MediaType const*>> overrides;
  for (auto part = state.parts.begin(); part != state.parts.end(); ++part)
    if (!hasDefault(defaults, part->first.text(), part->second.type))
      overrides.emplace_back(PartIndex::nameOf(part), part->second.type);
  for (auto const& [name, type] : state.declared.overrides)
    if (state.parts.find(name) == state.parts.end()) overrides.emplace_back(name, type);
  std::sort(overrides.begin(), overrides.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
  return overrides;
}

}  // namespace

MediaType const* ContentTypes::typeOf(std::string_view name) {
  auto const override = overrides.find(name);
  if (override != overrides.end()) {
    override->second.isUsed = override->second.type->value.has_value();
    return override->second.type;
  }
  std::string const extension = extensionOf(name);
  auto const found = extension.empty() ? defaults.end() : defaults.find(extension);
  return found == defaults.end() ? nullptr : found->second;
}

bool hasForbiddenParameters(ContentType const& type) {
  constexpr std::u16string_view kDefined = u"application/vnd.openxmlformats-package.";
  return !type.getParameters().empty() &&
         equalIgnoringCase((type.getType() + u"/" + type.getSubType()).substr(0, kDefined.size()), kDefined);
}

ContentTypes readContentTypes(XmlStreamReader& reader, InputStream& input, std::uint64_t maximum,
                              MediaTypePool& types) {
  ContentTypes result;
  ContentTypesHandler handler(maximum, types, result);
  reader.read(input, handler);
  return result;
}

Defaults defaultsFor(PackageState const& state) {
  Defaults defaults = state.declared.defaults;
  auto const untyped = untypedExtensions(state);
  for (auto const& [extension, types] : countTypes(state)) {
    MediaType const* const type = extension == "rels" ? relationshipsTypeOf(types) : mostFrequent(types);
    if (type && untyped.count(extension) == 0) defaults.emplace(extension, type);
  }
  return defaults;
}

void writeContentTypes(PackageState const& state, Defaults const& defaults, OutputStream& output) {
  XmlTextWriter writer(output);
  writer.startRoot(kNamespace, u"Types");
  for (auto const& [extension, type] : defaults) {
    writer.startElement(u"Default");
    writer.attribute(u"ContentType", type->text);
    writer.attribute(u"Extension", toString(extension, false));
    writer.endElement();
  }
  for (auto const& [name, type] : overridesFor(state, defaults)) {
    writer.startElement(u"Override");
    writer.attribute(u"ContentType", type->text);
    writer.attribute(u"PartName", wideName(name));
    writer.endElement();
  }
  writer.endElement();
  writer.finish();
}

}  // namespace opc::model::detail
