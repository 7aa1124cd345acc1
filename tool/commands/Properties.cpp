// SPDX-License-Identifier: Apache-2.0
#include "commands/Properties.hpp"

#include <algorithm>
#include <functional>

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

struct Property {
  PropertyName name;
  std::function<std::u16string(CoreProperties const&)> get;  // empty where there is none
  std::function<void(CoreProperties&, std::u16string const&)> set;
};

[[noreturn]] void throwUsage(std::string const& message) { throw Failure(Report{Exit::Usage, "usage", message, {}}); }

Property text(char const* name, char const* purpose, std::u16string const& (Standard::*get)() const,
              void (Standard::*set)(std::u16string const&)) {
  return {{name, purpose},
          [get](CoreProperties const& record) { return (record.opcProps().*get)(); },
          [set](CoreProperties& record, std::u16string const& value) { (record.opcProps().*set)(value); }};
}

Time timeOf(char const* name, std::u16string const& value) {
  if (value.empty()) return {};
  Time const time = opc::convertStringToTime(value);
  if (time.is_special())
    throwUsage(std::string(name) + " must be a time such as 2026-03-01T12:30:00Z, not " + shown(value));
  return time;
}

Property time(char const* name, char const* purpose, Time (Standard::*get)() const, void (Standard::*set)(Time)) {
  return {{name, purpose},
          [get](CoreProperties const& record) { return opc::convertTimeToString((record.opcProps().*get)()); },
          [name, set](CoreProperties& record, std::u16string const& value) {
            (record.opcProps().*set)(timeOf(name, value));
          }};
}

/// All of them as one text, as other programs write and show them.
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
      {{"content-type", "The kind of package: application/vnd.corvanta.<product>.<package-type>", true},
       &CoreProperties::getContentType,
       &CoreProperties::setContentType},
      {{"friendly-name", "What people call that kind of package", true},
       &CoreProperties::getContentTypeFriendlyName,
       &CoreProperties::setContentTypeFriendlyName},
      {{"release", "The product release, such as R2026b", true},
       &CoreProperties::getTALBEXRelease,
       &CoreProperties::setTALBEXRelease},
      {{"uuid", "A UUID, which cannot be changed once it is set", true},
       [](CoreProperties const& record) { return record.getUUID().value_or(u""); },
       &CoreProperties::setUUID},
      text("title", "The title", &Standard::getTitle, &Standard::setTitle),
      text("subject", "The subject", &Standard::getSubject, &Standard::setSubject),
      text("creator", "Who made the contents", &Standard::getCreator, &Standard::setCreator),
      text("description", "The description", &Standard::getDescription, &Standard::setDescription),
      {{"keywords", "Keywords, such as spring, rain"}, getKeywords, setKeywords},
      text("category", "The category", &Standard::getCategory, &Standard::setCategory),
      text("content-status", "The state of the contents, such as Draft or Final", &Standard::getContentStatus,
           &Standard::setContentStatus),
      text("content-kind", "The kind of the contents, in words; no media type", &Standard::getContentType,
           &Standard::setContentType),
      text("language", "The language of the contents, such as en-GB", &Standard::getLanguage, &Standard::setLanguage),
      text("identifier", "An identifier of any kind", &Standard::getIdentifier, &Standard::setIdentifier),
      text("version", "The version of the contents", &Standard::getVersion, &Standard::setVersion),
      text("revision", "The number of the revision", &Standard::getRevision, &Standard::setRevision),
      text("last-modified-by", "Who changed the contents last", &Standard::getLastModifiedBy,
           &Standard::setLastModifiedBy),
      time("created", "The time of creation, such as 2026-03-01T12:30:00Z", &Standard::getCreated,
           &Standard::setCreated),
      time("modified", "The time of the last change", &Standard::getModified, &Standard::setModified),
      time("last-printed", "The time of the last print", &Standard::getLastPrinted, &Standard::setLastPrinted),
  };
}

std::vector<Property> const& properties() {
  static std::vector<Property> const all = makeProperties();
  return all;
}

Property const& find(std::string const& name) {
  auto const found = std::ranges::find(properties(), name, [](Property const& property) { return property.name.name; });
  if (found == properties().end()) throwUsage("no property " + shown(opc::toString(name, false)));
  return *found;
}

/// UTF-8 as arguments are, but empty where the user says so.
std::u16string valueOf(std::string const& value) { return value.empty() ? std::u16string() : fromArgument(value); }

}  // namespace

std::vector<PropertyName> const& propertyNames() {
  static std::vector<PropertyName> const names = [] {
    std::vector<PropertyName> all;
    for (Property const& property : properties()) all.push_back(property.name);
    return all;
  }();
  return names;
}

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

std::vector<std::pair<std::string, std::u16string>> propertiesOf(CoreProperties const& record) {
  std::vector<std::pair<std::string, std::u16string>> found;
  for (Property const& property : properties())
    if (std::u16string value = property.get(record); !value.empty())
      found.emplace_back(property.name.name, std::move(value));
  return found;
}

bool hasExtendedProperties(opc::model::Package const& package) {
  for (auto const& type :
       {CorePropertiesManager::getRelationshipType(), CorePropertiesManager::getExtensionRelationshipType(),
        CorePropertiesManager::getReleaseInfoRelationshipType()})
    if (!package.getRelationshipsByType(type).empty()) return true;
  return false;
}

}  // namespace ztpkg
