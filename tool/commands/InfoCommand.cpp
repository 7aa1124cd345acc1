// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/Commands.hpp"
#include "commands/PartRecords.hpp"
#include "commands/Properties.hpp"
#include "commands/Treemap.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/FileSystemOps.hpp"
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
using opc::ztservices::FileSystemEntry;
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

/// What a package is at a glance.
struct Health {
  struct Named {
    std::u16string name;
    std::uint64_t size;
  };
  std::uint64_t size = 0, storedSize = 0;  ///< of all parts
  std::vector<Named> largest = {};         ///< files of the file system if it can be read, otherwise parts
  std::uint64_t otherItems = 0;            ///< items of the container that are no parts and no folders
  std::uint64_t danglingRelationships = 0;
};

/// All that is printed of a package, found before anything is printed.
struct Summary {
  Health health;
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

/// Part names are equal in any ASCII case.
std::u16string lowerCased(std::u16string text) {
  for (char16_t& c : text)
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + (u'a' - u'A'));
  return text;
}

// Where the part of the manifest is missing, loading reports it.
bool isEncrypted(FileSystemManager const& manager) try {
  return manager.isEncrypted();
} catch (opc::model::PartNotFound const&) {
  return false;
}

/// Keeps the largest ones, by size and then by name.
void addLargest(std::vector<Health::Named>& largest, std::u16string const& name, std::uint64_t size) {
  constexpr std::size_t kMost = 3;
  auto const place = std::ranges::find_if(largest, [&](Health::Named const& other) { return other.size < size; });
  if (place == largest.end() && largest.size() == kMost) return;
  largest.insert(place, {name, size});
  if (largest.size() > kMost) largest.pop_back();
}

/// Takes a file of the file system, or a part.
void addContent(std::u16string const& name, std::uint64_t size, std::uint64_t stored, Health& health,
                Treemap* treemap) {
  addLargest(health.largest, name, size);
  if (treemap) treemap->add(name, stored);
}

void describeFileSystem(Package& package, InfoOptions const& options, Summary& summary, Treemap* treemap) {
  FileSystemRecord& record = summary.fileSystem;
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
  manager.visitLeafs([&](FileSystemEntry const& entry) {
    if (entry.isFile() && package.hasPart(PartName(entry.getContentName())))
      addContent(entry.getPathName(), manager.getSize(entry), manager.getStoredSize(entry), summary.health, treemap);
  });
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

bool isDangling(Package const& package, std::set<std::u16string> const& lowerNames, RelationshipRecord const& record) {
  if (record.isExternal || package.hasPart(PartName(record.target))) return false;
  return !lowerNames.contains(lowerCased(record.target));
}

void describeHealth(Package const& package, Summary& summary, Treemap* treemap) {
  Health& health = summary.health;
  std::set<std::u16string> lowerNames;
  for (PartName const& name : summary.parts) {
    opc::model::Part const part = package.getPart(name);
    health.size += part.getSize();
    health.storedSize += part.getStoredSize();
    lowerNames.insert(lowerCased(name.toString()));
    if (!summary.fileSystem.entries) addContent(name.toString(), part.getSize(), part.getStoredSize(), health, treemap);
  }
  health.otherItems = static_cast<std::uint64_t>(
      std::ranges::count_if(package.getItemNames(), [](std::u16string const& name) { return !name.ends_with(u'/'); }));
  health.danglingRelationships =
      static_cast<std::uint64_t>(std::ranges::count_if(summary.relationships, [&](RelationshipRecord const& record) {
        return isDangling(package, lowerNames, record);
      }));
}

Summary summarise(Package& package, InfoOptions const& options, Treemap* treemap) {
  Summary summary;
  try {
    describeFileSystem(package, options, summary, treemap);
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
  describeHealth(package, summary, treemap);
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

std::optional<std::string> keyKind(FileSystemRecord const& record) {
  if (!record.encrypted) return std::nullopt;
  return record.hasPassword ? "password" : "key";
}

std::string json(Summary const& summary) {
  Health const& health = summary.health;
  std::string largest;
  for (Health::Named const& one : health.largest)
    largest += (largest.empty() ? "" : ",") + JsonObject().add("name", one.name).add("size", one.size).text();
  JsonObject object;
  object.add("size", health.size).add("storedSize", health.storedSize).add("key", keyKind(summary.fileSystem));
  object.addText("largest", "[" + largest + "]").add("otherItems", health.otherItems);
  return object.add("danglingRelationships", health.danglingRelationships).text();
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
  out.print(",\n\"health\": " + json(summary));
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

std::string ratioText(Health const& health) {
  std::string const sizes = sizeText(health.storedSize) + " of " + sizeText(health.size);
  if (health.size == 0) return sizes;
  auto const percent = static_cast<double>(health.storedSize) * 100 / static_cast<double>(health.size);
  return std::to_string(static_cast<int>(percent + 0.5)) + "% (" + sizes + ")";
}

std::string toleratedText(Health const& health) {
  std::string text;
  if (health.otherItems > 0) text = counted(static_cast<std::size_t>(health.otherItems), "item") + " beside the parts";
  if (health.danglingRelationships > 0)
    text += (text.empty() ? "" : ", ") +
            counted(static_cast<std::size_t>(health.danglingRelationships), "relationship") + " to no part";
  return text.empty() ? "nothing" : text + " ('ztpkg verify' lists them)";
}

void printHealth(Summary const& summary, Output& out) {
  auto const kind = keyKind(summary.fileSystem);
  out.print("Encryption: " + (kind ? "AES-256-GCM with a " + *kind : std::string("none")) + "\n");
  out.print("Stored: " + ratioText(summary.health) + "\n");
  out.print("Largest:");
  for (Health::Named const& one : summary.health.largest) {
    out.print(&one == &summary.health.largest.front() ? " " : ", ");
    out.printName(one.name);
    out.print(" (" + sizeText(one.size) + ")");
  }
  out.print(summary.health.largest.empty() ? " nothing\n" : "\n");
  out.print("Tolerated: " + toleratedText(summary.health) + "\n");
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
  printHealth(summary, out);
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

void writeTreemap(Treemap const& treemap, InfoOptions const& options) {
  std::u16string const path = fromArgument(options.treemap);
  if (isThere(path)) throw Failure(Report{Exit::Disk, "already-exists", shown(path) + " already exists", path});
  noteSignals();  // the file has a temporary name at first
  boost::system::error_code error;
  auto const file = opc::LocalFileSystemOps().createForRestoring(path, opc::Perms::NotKnown, {}, error);
  if (!error) {
    *file << treemap.svg(fromArgument(options.package));
    throwIfInterrupted();
    file->commit(error);
  }
  if (error) throw Failure(diskReport("cannot-write", "cannot write", path, error));
}

}  // namespace

void info(InfoOptions const& options, Output& out) {
  auto const package = openPackage(options.package);
  Treemap treemap;
  Summary const summary = summarise(*package, options, options.treemap.empty() ? nullptr : &treemap);
  if (!options.treemap.empty()) writeTreemap(treemap, options);
  if (options.json)
    printJson(*package, summary, out);
  else
    printText(*package, summary, fromArgument(options.package), out);
  if (!summary.fileSystemFault) return;
  out.close();
  std::rethrow_exception(summary.fileSystemFault);
}

}  // namespace ztpkg
