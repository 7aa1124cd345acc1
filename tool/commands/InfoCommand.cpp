// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "commands/Commands.hpp"
#include "commands/PartRecords.hpp"
#include "commands/Properties.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/ztservices/Verification.hpp"
#include "secrets/PackageKey.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::model::PartName;
using opc::ztservices::CoreProperties;
using opc::ztservices::FileSystemManager;

/// Without a file system only `present` is known, without the key of an encrypted one only the first three members.
struct FileSystemRecord {
  bool present = false;
  bool encrypted = false;
  bool hasPassword = false;  // whether its key comes from a password
  std::optional<std::u16string> manifestVersion;
  std::optional<std::u16string> createdByPlatform;
  std::optional<std::u16string> createdByEncoding;
  std::optional<std::uint64_t> entries;
};

/// All that is printed of a package, found before anything is printed.
struct Summary {
  FileSystemRecord fileSystem;
  std::exception_ptr fileSystemFault;            ///< thrown while reading the file system; null for success
  std::optional<CoreProperties> coreProperties;  ///< the standard ones; absent if their part breaks the rules
  std::string corePropertiesFault;
  std::optional<CoreProperties> extendedProperties;  ///< absent if they cannot be loaded
  std::string extendedPropertiesFault;
  std::vector<PartName> parts;
  std::vector<RelationshipRecord> relationships;
  std::vector<std::string> digests;  ///< of `parts`; empty without --digest
};

// Where the part of the manifest is missing, loading reports it.
bool isEncrypted(FileSystemManager const& manager) try {
  return manager.isEncrypted();
} catch (opc::model::PartNotFound const&) {
  return false;
}

void describeFileSystem(Package& package, InfoOptions const& options, FileSystemRecord& record) {
  record.present = hasFileSystem(package);
  FileSystemManager manager(package);
  record.encrypted = isEncrypted(manager);
  record.hasPassword = record.encrypted && hasPassword(package, options.package);
  if (!record.present || (record.encrypted && !options.key.isGiven())) return;
  if (record.encrypted) enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  record.entries = measureEntries(manager).count();
  record.manifestVersion = manager.getVersion();
  record.createdByPlatform = manager.getCreatedByPlatform();
  record.createdByEncoding = manager.getCreatedByEncoding();
}

// Without extended properties, a fault in the standard ones does not concern them.
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
    // After a broken manifest the rest is of interest; after a missing or wrong key it is not.
    if (fault.reports().front().exit != Exit::Package) throw;
    summary.fileSystemFault = std::current_exception();
  }
  try {
    summary.coreProperties.emplace().opcProps() = opc::model::PackageHelper::getCoreProperties(package);
  } catch (opc::model::InvalidPartContent const& fault) {
    summary.coreProperties.reset();
    summary.corePropertiesFault = fault.what();
  }
  describeExtendedProperties(package, summary);
  summary.parts = package.getPartNames();
  summary.relationships = recordsOf(package, summary.parts);
  if (options.digest)
    for (PartName const& name : summary.parts)
      summary.digests.push_back(opc::ztservices::digestPart(package.getPart(name)));
  return summary;
}

PartRecord recordAt(Package const& package, Summary const& summary, std::size_t index) {
  PartRecord record = recordOf(package.getPart(summary.parts[index]));
  if (!summary.digests.empty()) record.sha256 = summary.digests[index];
  return record;
}

std::string json(FileSystemRecord const& record) {
  JsonObject object;
  object.add("present", record.present).add("manifestVersion", record.manifestVersion);
  object.add("encrypted", record.encrypted).add("hasPassword", record.hasPassword);
  object.add("createdByPlatform", record.createdByPlatform).add("createdByEncoding", record.createdByEncoding);
  return object.add("entries", record.entries).text();
}

std::string json(std::optional<CoreProperties> const& properties, PropertySet set) {
  return properties ? propertiesJson(*properties, set) : "null";
}

void printJson(Package const& package, Summary const& summary, Output& out) {
  out.print("{\"parts\": ");
  JsonArray parts(out);
  for (std::size_t i = 0; i < summary.parts.size(); ++i) parts.add(json(recordAt(package, summary, i)));
  out.print("\n],\n\"relationships\": ");
  JsonArray relationships(out);
  for (RelationshipRecord const& record : summary.relationships) relationships.add(json(record));
  out.print("\n],\n\"coreProperties\": " + json(summary.coreProperties, PropertySet::Standard));
  out.print(",\n\"extendedProperties\": " + json(summary.extendedProperties, PropertySet::Extended));
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

void printProperties(std::string const& title, std::optional<CoreProperties> const& properties,
                     std::string const& fault, PropertySet set, Output& out) {
  if (!properties) return out.print(title + ": not readable: " + fault + "\n");
  NamedValues const values = labelledProperties(*properties, set);
  out.print(title + (values.empty() ? ": none\n" : ":\n"));
  for (auto const& [label, value] : values) {
    out.print("  " + label + ": ");
    out.printName(value);
    out.print("\n");
  }
}

void printParts(Package const& package, Summary const& summary, Output& out) {
  out.print("Parts: " + std::to_string(summary.parts.size()) + "\n");
  for (std::size_t i = 0; i < summary.parts.size(); ++i) {
    PartRecord const record = recordAt(package, summary, i);
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
  printProperties("Core properties", summary.coreProperties, summary.corePropertiesFault, PropertySet::Standard, out);
  printProperties("Extended properties", summary.extendedProperties, summary.extendedPropertiesFault,
                  PropertySet::Extended, out);
  printParts(package, summary, out);
  out.print("Relationships: " + std::to_string(summary.relationships.size()) + "\n");
  for (RelationshipRecord const& record : summary.relationships) {
    out.printName(u"  " + text(record));
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
