// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <optional>
#include <utility>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Records.hpp"
#include "commands/Commands.hpp"
#include "commands/Properties.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/ztservices/Verification.hpp"
#include "secrets/PackagePassword.hpp"

namespace ztpkg {
namespace {

using opc::model::CoreProperties;
using opc::model::Package;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::TargetMode;
using opc::ztservices::FileSystemManager;

/// What is told of a package, found before anything is printed.
struct Summary {
  FileSystemRecord fileSystem;
  std::exception_ptr fileSystemFault;            ///< what reading the file system came to; null for success
  std::optional<CoreProperties> coreProperties;  ///< absent where their part breaks the rules
  std::string corePropertiesFault;
  std::optional<opc::ztservices::CoreProperties> extendedProperties;  ///< absent where they cannot be loaded
  std::string extendedPropertiesFault;
  std::vector<PartName> parts;
  std::vector<RelationshipRecord> relationships;
  std::vector<std::string> digests;  ///< of `parts`; empty where they are not asked for
};

bool isManifestEncrypted(Package const& package, std::u16string const& relationshipType) {
  auto const found = package.getRelationshipsByType(relationshipType);
  if (found.empty()) return false;
  auto const manifest = opc::model::PackageHelper::findTarget(package, found.front());
  return manifest && manifest->getContentType().hasParameter(u"encryption");
}

void describeFileSystem(Package& package, InfoOptions const& options, FileSystemRecord& record) {
  record.present = hasFileSystem(package);
  record.encrypted = isManifestEncrypted(package, FileSystemManager::getRelationshipType());
  record.hasPassword = record.encrypted && hasPassword(package, options.package);
  if (!record.present || (record.encrypted && !options.key.isGiven())) return;
  FileSystemManager manager(package);
  if (record.encrypted) enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  record.entries = measureEntries(manager).count();
  record.manifestVersion = manager.getVersion();
  record.createdByPlatform = manager.getCreatedByPlatform();
  record.createdByEncoding = manager.getCreatedByEncoding();
}

// A target that cannot be resolved is shown as it is written.
std::u16string targetOf(Relationship const& relationship) {
  try {
    return relationship.getTargetURI().toString();
  } catch (opc::model::InvalidURI const&) {
    return relationship.getTargetText();
  }
}

std::vector<RelationshipRecord> relationshipsOf(Package const& package, std::vector<PartName> const& parts) {
  std::vector<RelationshipRecord> records;
  auto const addAll = [&](opc::model::RelationshipSource const& source, std::u16string const& name) {
    for (Relationship const& found : source.getRelationships())
      records.push_back(
          {name, found.getID(), found.getType(), targetOf(found), found.getMode() == TargetMode::External});
  };
  addAll(package, u"/");
  for (PartName const& name : parts)
    if (!name.isRelationshipsPart()) addAll(package.getPart(name), name.toString());
  return records;
}

// Where there are none, a fault in the standard ones says nothing of them.
void describeExtendedProperties(Package& package, Summary& summary) {
  summary.extendedProperties.emplace();
  if (!hasExtendedProperties(package)) return;
  try {
    summary.extendedProperties = opc::ztservices::CorePropertiesManager(package).getCoreProperties();
  } catch (opc::ztservices::InvalidCoreProperties const& fault) {
    summary.extendedProperties.reset();
    summary.extendedPropertiesFault = fault.what();
  }
}

Summary summarise(Package& package, InfoOptions const& options) {
  Summary summary;
  try {
    describeFileSystem(package, options, summary.fileSystem);
  } catch (Failure const& fault) {
    // A broken manifest is a reason to look at the rest; a key that cannot be had, or does not fit, is not.
    if (fault.reports().front().exit != Exit::Package) throw;
    summary.fileSystemFault = std::current_exception();
  }
  try {
    summary.coreProperties = opc::model::PackageHelper::getCoreProperties(package);
  } catch (opc::model::InvalidPartContent const& fault) {
    summary.corePropertiesFault = fault.what();
  }
  describeExtendedProperties(package, summary);
  summary.parts = package.getPartNames();
  summary.relationships = relationshipsOf(package, summary.parts);
  if (options.digest)
    for (PartName const& name : summary.parts)
      summary.digests.push_back(opc::ztservices::digestPart(package.getPart(name)));
  return summary;
}

PartRecord recordOf(Package const& package, Summary const& summary, std::size_t index) {
  opc::model::Part const part = package.getPart(summary.parts[index]);
  PartRecord record{
      summary.parts[index].toString(), part.getContentType().toString(), part.getSize(), part.getStoredSize(), {}};
  if (!summary.digests.empty()) record.sha256 = summary.digests[index];
  return record;
}

void printJson(Package const& package, Summary const& summary, Output& out) {
  char const* separator = "\n";
  out.print("{\"parts\": [");
  for (std::size_t i = 0; i < summary.parts.size(); ++i, separator = ",\n")
    out.print(separator + json(recordOf(package, summary, i)));
  out.print("\n],\n\"relationships\": [");
  separator = "\n";
  for (RelationshipRecord const& record : summary.relationships) {
    out.print(separator + json(record));
    separator = ",\n";
  }
  out.print("\n],\n\"coreProperties\": " + (summary.coreProperties ? json(*summary.coreProperties) : "null"));
  out.print(",\n\"extendedProperties\": " +
            (summary.extendedProperties ? json(*summary.extendedProperties) : std::string("null")));
  out.print(",\n\"fileSystem\": " + json(summary.fileSystem) + "}\n");
}

void printFileSystem(FileSystemRecord const& record, Output& out) {
  out.print("File system: ");
  if (!record.present) return out.print("none\n");
  if (record.encrypted) out.print("encrypted");
  if (!record.entries && record.encrypted) return out.print(record.hasPassword ? ", a password is needed\n" : "\n");
  if (!record.entries) return out.print("not readable\n");
  if (record.encrypted) out.print(", ");
  out.print(counted(static_cast<std::size_t>(*record.entries), "path") + ", manifest version ");
  out.printName(*record.manifestVersion + u", made on " + *record.createdByPlatform + u" with " +
                *record.createdByEncoding);
  out.print("\n");
}

void printProperty(char const* name, std::u16string const& text, Output& out) {
  if (text.empty()) return;
  out.print(std::string("  ") + name + ": ");
  out.printName(text);
  out.print("\n");
}

void printProperties(Summary const& summary, Output& out) {
  if (!summary.coreProperties) return out.print("Core properties: not readable: " + summary.corePropertiesFault + "\n");
  CoreProperties const& properties = *summary.coreProperties;
  out.print(json(properties) == "{}" ? "Core properties: none\n" : "Core properties:\n");
  printProperty("title", properties.getTitle(), out);
  printProperty("subject", properties.getSubject(), out);
  printProperty("creator", properties.getCreator(), out);
  printProperty("description", properties.getDescription(), out);
  std::u16string keywords;
  for (auto const& [text, language] : properties.getKeywords()) keywords += (keywords.empty() ? u"" : u", ") + text;
  printProperty("keywords", keywords, out);
  printProperty("category", properties.getCategory(), out);
  printProperty("content status", properties.getContentStatus(), out);
  printProperty("content type", properties.getContentType(), out);
  printProperty("language", properties.getLanguage(), out);
  printProperty("identifier", properties.getIdentifier(), out);
  printProperty("version", properties.getVersion(), out);
  printProperty("revision", properties.getRevision(), out);
  printProperty("last modified by", properties.getLastModifiedBy(), out);
  printProperty("created", opc::convertTimeToString(properties.getCreated()), out);
  printProperty("modified", opc::convertTimeToString(properties.getModified()), out);
  printProperty("last printed", opc::convertTimeToString(properties.getLastPrinted()), out);
}

void printExtendedProperties(Summary const& summary, Output& out) {
  if (!summary.extendedProperties)
    return out.print("Extended properties: not readable: " + summary.extendedPropertiesFault + "\n");
  auto const& properties = *summary.extendedProperties;
  auto const release = properties.getTALBEXReleaseInfo();
  out.print(json(properties) == "{}" ? "Extended properties: none\n" : "Extended properties:\n");
  printProperty("content type", properties.getContentType(), out);
  printProperty("friendly name", properties.getContentTypeFriendlyName(), out);
  printProperty("release", properties.getTALBEXRelease(), out);
  printProperty("release version", opc::toString(release.getTALBEXVersion()), out);
  printProperty("release description", opc::toString(release.getDescription()), out);
  printProperty("release date", opc::toString(release.getDate()), out);
  printProperty("uuid", properties.getUUID().value_or(u""), out);
}

void printParts(Package const& package, Summary const& summary, Output& out) {
  out.print("Parts: " + std::to_string(summary.parts.size()) + "\n");
  for (std::size_t i = 0; i < summary.parts.size(); ++i) {
    PartRecord const record = recordOf(package, summary, i);
    out.printName(u"  " + record.name + u"  " + record.contentType);
    out.print("  " + counted(static_cast<std::size_t>(record.size), "byte") + ", " + std::to_string(record.storedSize) +
              " stored");
    if (record.sha256) out.print("  " + *record.sha256);
    out.print("\n");
  }
}

void printText(Package const& package, Summary const& summary, std::u16string const& path, Output& out) {
  out.print("Package: ");
  out.printName(path);
  out.print("\n");
  printFileSystem(summary.fileSystem, out);
  printProperties(summary, out);
  printExtendedProperties(summary, out);
  printParts(package, summary, out);
  out.print("Relationships: " + std::to_string(summary.relationships.size()) + "\n");
  for (RelationshipRecord const& record : summary.relationships) {
    out.printName(u"  " + record.source + u"  " + record.id + u"  " + record.type + u" -> " + record.target +
                  (record.external ? u" (external)" : u""));
    out.print("\n");
  }
}

}  // namespace

void info(InfoOptions const& options, Output& out) {
  auto const package = openPackage(options.package);
  Summary const summary = summarise(*package, options);
  if (options.json)
    printJson(*package, summary, out);
  else
    printText(*package, summary, fromArgument(options.package), out);
  if (!summary.fileSystemFault) return;
  out.close();
  std::rethrow_exception(summary.fileSystemFault);
}

}  // namespace ztpkg
