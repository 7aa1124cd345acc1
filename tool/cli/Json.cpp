// SPDX-License-Identifier: Apache-2.0
#include "cli/Json.hpp"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"

// The one file that sees the JSON library, which is slow to compile.
namespace ztpkg {
namespace {

using Object = nlohmann::ordered_json;

Object value(std::u16string const& text) { return opc::toUTF8String(text); }
Object value(std::uint64_t number) { return number; }
Object value(bool truth) { return truth; }

template <typename Value>
Object value(std::optional<Value> const& held) {
  return held ? value(*held) : Object(nullptr);
}

Object permissionsText(std::optional<std::uint32_t> permissions) {
  if (!permissions) return nullptr;
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%04o", *permissions);
  return text.data();
}

char const* typeText(EntryRecord::Type type) {
  switch (type) {
    case EntryRecord::Type::Folder:
      return "folder";
    case EntryRecord::Type::Link:
      return "link";
    case EntryRecord::Type::File:
      break;
  }
  return "file";
}

// A message in an encoding other than UTF-8 may hold bytes that JSON cannot: they become U+FFFD.
std::string dump(Object const& object) { return object.dump(-1, ' ', false, Object::error_handler_t::replace); }

void addText(Object& object, char const* name, std::u16string const& text) {
  if (!text.empty()) object[name] = value(text);
}

void addTime(Object& object, char const* name, boost::posix_time::ptime const& time) {
  addText(object, name, opc::convertTimeToString(time));
}

void addKeywords(Object& object, opc::model::CoreProperties const& properties) {
  if (properties.getKeywords().empty()) return;
  Object list = Object::array();
  for (auto const& [text, language] : properties.getKeywords())
    list.push_back({{"text", value(text)}, {"language", language.empty() ? Object(nullptr) : value(language)}});
  object["keywords"] = std::move(list);
}

}  // namespace

std::string json(EntryRecord const& record) {
  return dump({{"path", value(record.path)},
               {"type", typeText(record.type)},
               {"size", value(record.size)},
               {"storedSize", value(record.storedSize)},
               {"permissions", permissionsText(record.permissions)},
               {"modified", value(record.modified)},
               {"target", value(record.target)},
               {"contentType", value(record.contentType)},
               {"part", value(record.part)},
               {"encrypted", value(record.encrypted)}});
}

std::string json(PartRecord const& record) {
  Object object{{"name", value(record.name)},
                {"contentType", value(record.contentType)},
                {"size", record.size},
                {"storedSize", record.storedSize}};
  if (record.sha256) object["sha256"] = *record.sha256;
  return dump(object);
}

std::string json(RelationshipRecord const& record) {
  return dump({{"source", value(record.source)},
               {"id", value(record.id)},
               {"type", value(record.type)},
               {"target", value(record.target)},
               {"mode", record.external ? "External" : "Internal"}});
}

std::string json(FileSystemRecord const& record) {
  return dump({{"present", record.present},
               {"manifestVersion", value(record.manifestVersion)},
               {"encrypted", record.encrypted},
               {"hasPassword", record.hasPassword},
               {"createdByPlatform", value(record.createdByPlatform)},
               {"createdByEncoding", value(record.createdByEncoding)},
               {"entries", value(record.entries)}});
}

std::string json(opc::model::CoreProperties const& properties) {
  Object object = Object::object();
  addText(object, "category", properties.getCategory());
  addText(object, "contentStatus", properties.getContentStatus());
  addText(object, "contentType", properties.getContentType());
  addTime(object, "created", properties.getCreated());
  addText(object, "creator", properties.getCreator());
  addText(object, "description", properties.getDescription());
  addText(object, "identifier", properties.getIdentifier());
  addKeywords(object, properties);
  addText(object, "language", properties.getLanguage());
  addText(object, "lastModifiedBy", properties.getLastModifiedBy());
  addTime(object, "lastPrinted", properties.getLastPrinted());
  addTime(object, "modified", properties.getModified());
  addText(object, "revision", properties.getRevision());
  addText(object, "subject", properties.getSubject());
  addText(object, "title", properties.getTitle());
  addText(object, "version", properties.getVersion());
  return dump(object);
}

std::string json(opc::ztservices::CoreProperties const& properties) {
  auto const release = properties.getTALBEXReleaseInfo();
  Object object = Object::object();
  addText(object, "contentType", properties.getContentType());
  addText(object, "friendlyName", properties.getContentTypeFriendlyName());
  addText(object, "release", properties.getTALBEXRelease());
  addText(object, "releaseVersion", opc::toString(release.getTALBEXVersion()));
  addText(object, "releaseDescription", opc::toString(release.getDescription()));
  addText(object, "releaseDate", opc::toString(release.getDate()));
  addText(object, "uuid", properties.getUUID().value_or(u""));
  return dump(object);
}

std::string json(opc::ztservices::VerificationFault const& fault) {
  std::optional<std::u16string> item;
  if (!fault.item.empty()) item = fault.item;
  return dump({{"code", fault.code}, {"item", value(item)}, {"message", fault.message}});
}

std::string errorJson(Report const& report) {
  Object const error{{"code", report.code}, {"message", report.message}, {"item", value(report.item)}};
  return dump({{"error", error}});
}

std::string jsonLibraryVersion() { return nlohmann::json::meta().at("version").at("string"); }

}  // namespace ztpkg
