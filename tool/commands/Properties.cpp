// SPDX-License-Identifier: Apache-2.0
#include "commands/Properties.hpp"

#include <algorithm>
#include <functional>
#include <optional>

#include "cli/Errors.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"
#include "opc/Time.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::CoreProperties;
using opc::ztservices::CorePropertiesManager;
using Standard = opc::model::CoreProperties;
using Keywords = std::vector<CoreProperties::Keyword>;
using Time = boost::posix_time::ptime;

constexpr char kKeywords[] = "keywords";

/// What a listing says of the property; empty where there is none.
using Get = std::function<std::u16string(CoreProperties const&)>;
using Set = std::function<void(CoreProperties&, std::u16string const&)>;

struct Property {
  std::string name;
  std::string jsonKey;  // in camel case; spelled apart it is the label
  std::string purpose;
  Get get;
  Set set;  // null for what comes with another property
  PropertySet in = PropertySet::Standard;
};

Property text(char const* name, char const* jsonKey, char const* purpose,
              std::u16string const& (Standard::*get)() const, void (Standard::*set)(std::u16string const&)) {
  return {name, jsonKey, purpose, [get](CoreProperties const& record) { return (record.opcProps().*get)(); },
          [set](CoreProperties& record, std::u16string const& value) { (record.opcProps().*set)(value); }};
}

Time timeOf(char const* name, std::u16string const& value) {
  if (value.empty()) return {};
  Time const time = opc::convertStringToTime(value);
  if (time.is_special())
    throwUsage(std::string(name) + " must be a time such as 2026-03-01T12:30:00Z, not " + shown(value));
  return time;
}

Property time(char const* name, char const* jsonKey, char const* purpose, Time (Standard::*get)() const,
              void (Standard::*set)(Time)) {
  return {name, jsonKey, purpose,
          [get](CoreProperties const& record) { return opc::convertTimeToString((record.opcProps().*get)()); },
          [name, set](CoreProperties& record, std::u16string const& value) {
            (record.opcProps().*set)(timeOf(name, value));
          }};
}

Property extended(char const* name, char const* jsonKey, char const* purpose, Get get, Set set) {
  return {name, jsonKey, purpose, std::move(get), std::move(set), PropertySet::Extended};
}

using ReleaseInfo = foundation::release_info::ReleaseInfo;
Property ofRelease(char const* jsonKey, std::string const& (ReleaseInfo::*get)() const) {
  return extended(
      "", jsonKey, "",
      [get](CoreProperties const& record) { return opc::toString((record.getTALBEXReleaseInfo().*get)()); }, nullptr);
}

/// All keywords as one text, as other programs write and show them.
void setKeywords(CoreProperties& record, std::u16string const& value) {
  record.setKeywords(value.empty() ? Keywords() : Keywords{{value, u""}});
}

std::u16string getKeywords(CoreProperties const& record) {
  std::u16string all;
  for (auto const& [word, language] : record.getKeywords()) all += (all.empty() ? u"" : u", ") + word;
  return all;
}

std::vector<Property> makeProperties() {
  return {
      extended("content-type", "contentType", "The kind of package: application/vnd.corvanta.<product>.<package-type>",
               &CoreProperties::getContentType, &CoreProperties::setContentType),
      extended("friendly-name", "friendlyName", "The name of that kind of package",
               &CoreProperties::getContentTypeFriendlyName, &CoreProperties::setContentTypeFriendlyName),
      extended("release", "release", "The product release, such as R2026b", &CoreProperties::getTALBEXRelease,
               &CoreProperties::setTALBEXRelease),
      ofRelease("releaseVersion", &ReleaseInfo::getTALBEXVersion),
      ofRelease("releaseDescription", &ReleaseInfo::getDescription),
      ofRelease("releaseDate", &ReleaseInfo::getDate),
      extended(
          "uuid", "uuid", "A UUID, which cannot be changed once it is set",
          [](CoreProperties const& record) { return record.getUUID().value_or(u""); }, &CoreProperties::setUUID),
      text("title", "title", "The title", &Standard::getTitle, &Standard::setTitle),
      text("subject", "subject", "The subject", &Standard::getSubject, &Standard::setSubject),
      text("creator", "creator", "Who made the contents", &Standard::getCreator, &Standard::setCreator),
      text("description", "description", "The description", &Standard::getDescription, &Standard::setDescription),
      {kKeywords, kKeywords, "Keywords, such as spring, rain", getKeywords, setKeywords},
      text("category", "category", "The category", &Standard::getCategory, &Standard::setCategory),
      text("content-status", "contentStatus", "The state of the contents, such as Draft or Final",
           &Standard::getContentStatus, &Standard::setContentStatus),
      text("content-kind", "contentType", "The kind of the contents, in words; no media type",
           &Standard::getContentType, &Standard::setContentType),
      text("language", "language", "The language of the contents, such as en-GB", &Standard::getLanguage,
           &Standard::setLanguage),
      text("identifier", "identifier", "An identifier of any kind", &Standard::getIdentifier, &Standard::setIdentifier),
      text("version", "version", "The version of the contents", &Standard::getVersion, &Standard::setVersion),
      text("revision", "revision", "The number of the revision", &Standard::getRevision, &Standard::setRevision),
      text("last-modified-by", "lastModifiedBy", "Who changed the contents last", &Standard::getLastModifiedBy,
           &Standard::setLastModifiedBy),
      time("created", "created", "The time of creation, such as 2026-03-01T12:30:00Z", &Standard::getCreated,
           &Standard::setCreated),
      time("modified", "modified", "The time of the last change", &Standard::getModified, &Standard::setModified),
      time("last-printed", "lastPrinted", "The time of the last print", &Standard::getLastPrinted,
           &Standard::setLastPrinted),
  };
}

std::vector<Property> const& properties() {
  static std::vector<Property> const all = makeProperties();
  return all;
}

bool isNamed(Property const& property, std::string const& name) { return property.set && property.name == name; }

Property const& find(std::string const& name) {
  auto const found = std::ranges::find_if(properties(), [&](Property const& one) { return isNamed(one, name); });
  if (found == properties().end()) throwUsage("no property " + shown(opc::toString(name, false)));
  return *found;
}

/// Unlike other arguments, a value may be empty.
std::u16string valueOf(std::string const& value) { return value.empty() ? std::u16string() : fromArgument(value); }

/// "lastModifiedBy" as "last modified by".
std::string labelOf(std::string const& jsonKey) {
  std::string label;
  for (char const c : jsonKey) {
    bool const isCapital = c >= 'A' && c <= 'Z';
    label += isCapital ? std::string{' ', static_cast<char>(c - 'A' + 'a')} : std::string(1, c);
  }
  return label;
}

bool isPresent(Property const& property, CoreProperties const& record) {
  return property.jsonKey == kKeywords ? !record.getKeywords().empty() : !property.get(record).empty();
}

/// Unlike other texts, keywords show each with its language.
std::string keywordsJson(CoreProperties const& record) {
  std::string list;
  for (auto const& [text, language] : record.getKeywords()) {
    auto const known = language.empty() ? std::nullopt : std::optional(language);
    list += (list.empty() ? "" : ",") + JsonObject().add("text", text).add("language", known).text();
  }
  return "[" + list + "]";
}

}  // namespace

std::vector<PropertyName> const& propertyNames() {
  static std::vector<PropertyName> const names = [] {
    std::vector<PropertyName> all;
    for (Property const& property : properties())
      if (property.set) all.push_back({property.name, property.purpose});
    return all;
  }();
  return names;
}

bool isExtendedProperty(std::string const& name) { return find(name).in == PropertySet::Extended; }

void setProperty(CoreProperties& record, std::string const& name, std::string const& value) {
  Property const& property = find(name);
  std::u16string const text = valueOf(value);
  try {
    property.set(record, text);
  } catch (opc::ztservices::InvalidCorePropertyValue const& error) {
    bool const isTaken = name == "uuid" && CoreProperties::isValidUUID(text);
    if (isTaken) throw Failure(Report{Exit::Package, "uuid-is-set", error.what(), {}});
    throwUsage(error.what());
  }
}

NamedValues propertiesOf(CoreProperties const& record) {
  NamedValues found;
  for (Property const& property : properties())
    if (std::u16string value = property.get(record); property.set && !value.empty())
      found.emplace_back(property.name, std::move(value));
  return found;
}

NamedValues labelledProperties(CoreProperties const& record, PropertySet set) {
  NamedValues found;
  for (Property const& property : properties())
    if (std::u16string value = property.get(record); property.in == set && !value.empty())
      found.emplace_back(labelOf(property.jsonKey), std::move(value));
  return found;
}

std::string propertiesJson(CoreProperties const& record, PropertySet set) {
  std::vector<Property const*> shown;
  for (Property const& property : properties())
    if (property.in == set && isPresent(property, record)) shown.push_back(&property);
  if (set == PropertySet::Standard)  // documented to be in this order
    std::ranges::sort(shown, {}, [](Property const* property) { return property->jsonKey; });
  JsonObject object;
  for (Property const* const property : shown)
    object.addText(property->jsonKey.c_str(),
                   property->jsonKey == kKeywords ? keywordsJson(record) : jsonOf(property->get(record)));
  return object.text();
}

bool hasExtendedProperties(opc::model::Package const& package) {
  for (auto const& type :
       {CorePropertiesManager::getRelationshipType(), CorePropertiesManager::getExtensionRelationshipType(),
        CorePropertiesManager::getReleaseInfoRelationshipType()})
    if (!package.getRelationshipsByType(type).empty()) return true;
  return false;
}

}  // namespace ztpkg
