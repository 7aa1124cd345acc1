// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ios>
#include <iostream>
#include <istream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/Changing.hpp"
#include "commands/PartCommands.hpp"
#include "commands/PartRecords.hpp"
#include "disk/CheckedStreams.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/model/Exceptions.hpp"

namespace ztpkg {
namespace {

using opc::model::ContentType;
using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::RelationshipSource;
using opc::model::TargetMode;

/// The part that the user means; a leading slash may be missing.
PartName partName(std::string const& argument) {
  std::u16string name = fromArgument(argument);
  if (name.front() != u'/') name.insert(0, 1, u'/');
  return PartName(std::move(name));
}

/// Opens the package, changes it and saves it in one step; again while other processes save it meanwhile.
void change(ChangeOptions const& options, std::function<void(Package&)> const& edit) {
  noteSignals();
  changePackage(options, [&] {
    auto const package = openPackage(options.package, AccessMode::ReadWrite, options.force);
    edit(*package);
    throwIfInterrupted();
    package->save({.replaceProtected = options.force});
  });
}

/// Calls `use` with the package or the part that the user names.
template <typename Use>
auto withSource(Package& package, std::string const& argument, Use const& use) {
  PartName const name = partName(argument);
  if (name.toString() == u"/") return use(static_cast<RelationshipSource&>(package), name);
  Part part = package.getPart(name);
  return use(static_cast<RelationshipSource&>(part), name);
}

void printLine(std::u16string const& text, Output& out) {
  out.printName(text);
  out.print("\n");
}

void printDetailed(PartRecord const& record, Output& out) {
  out.print(std::to_string(record.size) + "  " + std::to_string(record.storedSize) + "  ");
  printLine(record.name + u"  " + record.contentType, out);
}

ContentType typeOf(std::string const& text) {
  try {
    return ContentType(fromArgument(text));
  } catch (opc::model::InvalidContentType const& error) {
    throwUsage(std::string("--type: ") + error.what());
  }
}

/// The type of a part cannot change: the part is made anew, with the relationships that it had.
void makeAnew(Package& package, PartName const& name, ContentType const& type) {
  std::vector<Relationship> const relationships = package.getPart(name).getRelationships();
  package.deletePart(name);
  Part made = package.createPart(name, type);
  for (Relationship const& found : relationships) {
    if (found.getMode() == TargetMode::External)
      made.createExternalRelationship(found.getType(), found.getTargetText(), found.getID());
    else
      made.createInternalRelationship(found.getType(), opc::model::URI(found.getTargetText()), found.getID());
  }
}

/// The part to write to. A new one needs a type: a wrong guess makes a package that other programs refuse.
Part partToWrite(Package& package, PutPartOptions const& options) {
  PartName const name = partName(options.part);
  std::optional<ContentType> const type = options.type.empty() ? std::nullopt : std::optional(typeOf(options.type));
  if (!package.hasPart(name)) {
    if (!type) throwUsage("--type is required: the package has no part " + shown(name.toString()));
    return package.createPart(name, *type);
  }
  if (type && package.getPart(name).getContentType().toString() != type->toString()) makeAnew(package, name, *type);
  return package.getPart(name);
}

void copyFile(std::string const& argument, opc::OutputStream& to) {
  std::u16string const path = packagePath(argument);  // of a pipe a copy, which can be read again
  boost::system::error_code error;
  std::unique_ptr<std::istream> file =
      opc::LocalFileSystemOps().createInputStream(path, std::ios::in | std::ios::binary, error);
  if (!file) throw Failure(diskReport("cannot-read", "cannot read", path, error));
  Progress progress(false);
  CheckedInput checked(std::move(file), path, progress);
  opc::StdIStreamAdaptor input(checked);
  opc::StreamHelper::copyStreamToStream(input, to);
}

/// The relationships that lead to parts that are gone, by their folded names: readers of the package may stumble over
/// them.
std::vector<RelationshipRecord> danglingAt(Package const& package, std::set<std::u16string> const& removed) {
  std::vector<RelationshipRecord> records = recordsOf(package, package.getPartNames());
  std::erase_if(records, [&](RelationshipRecord const& record) {
    return record.isExternal || !removed.contains(foldedPartName(record.target));
  });
  return records;
}

}  // namespace

void listParts(ListPartsOptions const& options, Output& out) {
  auto const package = openPackage(options.package);
  std::optional<JsonArray> array;
  if (options.json) array.emplace(out);
  for (PartName const& name : package->getPartNames()) {
    if (array)
      array->add(json(recordOf(package->getPart(name))));
    else if (options.detailed)
      printDetailed(recordOf(package->getPart(name)), out);
    else
      printLine(name.toString(), out);
  }
  if (array) out.print("\n]\n");
}

void catParts(CatPartsOptions const& options, Output& out) {
  auto const package = openPackage(options.package);
  std::vector<Part> parts;
  for (std::string const& argument : options.parts) parts.push_back(package->getPart(partName(argument)));
  for (Part const& part : parts) opc::StreamHelper::copyStreamToStream(*part.getInputStream(), out);
  out.close();
  if (!options.json) return;
  std::uint64_t bytes = 0;
  for (Part const& part : parts) bytes += part.getSize();
  JsonObject().add("parts", std::uint64_t{parts.size()}).add("bytes", bytes).printBesideData();
}

void putPart(PutPartOptions const& options, Output& out) {
  std::optional<PartRecord> record;
  change(options, [&](Package& package) {
    Part const part = partToWrite(package, options);
    auto const to = part.getOutputStream();
    copyFile(options.file, *to);
    to->close();
    record = recordOf(part);
  });
  if (options.json)
    out.print(json(*record) + "\n");
  else if (options.verbose)
    printLine(record->name, out);
}

void removeParts(RemovePartsOptions const& options, Output& out) {
  std::set<std::u16string> removed;
  std::vector<std::u16string> names;
  std::vector<RelationshipRecord> dangling;
  change(options, [&](Package& package) {
    removed.clear();
    names.clear();
    for (std::string const& argument : options.parts) {
      PartName const name = partName(argument);
      names.push_back(package.getPart(name).getName().toString());
      package.deletePart(name);
      removed.insert(foldedPartName(name.toString()));
    }
    dangling = danglingAt(package, removed);
  });
  if (!options.json) {
    if (options.verbose)
      for (std::u16string const& name : names) printLine(name, out);
    out.close();
    for (RelationshipRecord const& record : dangling)
      std::cerr << "ztpkg: part remove: still leads to a removed part: " << shown(text(record)) << '\n';
    return;
  }
  out.print("{\"removed\":" + jsonOf(std::uint64_t{removed.size()}) +
            (options.verbose ? ",\"names\":" + jsonOf(names) : std::string()) + ",\"dangling\":");
  JsonArray array(out);
  for (RelationshipRecord const& record : dangling) array.add(json(record));
  out.print(array.isEmpty() ? "]}\n" : "\n]}\n");
}

void listRelationships(ListRelationshipsOptions const& options, Output& out) {
  auto const package = openPackage(options.package);
  auto const records = options.source.empty()
                           ? recordsOf(*package, package->getPartNames())
                           : withSource(*package, options.source, [](RelationshipSource& source, PartName const& name) {
                               return recordsOf(source, name.toString());
                             });
  if (!options.json) {
    for (RelationshipRecord const& record : records) printLine(text(record), out);
    return;
  }
  JsonArray array(out);
  for (RelationshipRecord const& record : records) array.add(json(record));
  out.print(array.isEmpty() ? "]\n" : "\n]\n");
}

void addRelationship(AddRelationshipOptions const& options, Output& out) {
  std::u16string const wanted = options.id.empty() ? std::u16string() : fromArgument(options.id);
  std::u16string const type = fromArgument(options.type), target = fromArgument(options.target);
  RelationshipRecord added;
  change(options, [&](Package& package) {
    withSource(package, options.source, [&](RelationshipSource& source, PartName const& name) {
      added = recordOf(options.external ? source.createExternalRelationship(type, target, wanted)
                                        : source.createInternalRelationship(type, opc::model::URI(target), wanted),
                       name.toString());
    });
  });
  if (options.json) return out.print((options.verbose ? json(added) : JsonObject().add("id", added.id).text()) + "\n");
  printLine(options.verbose ? text(added) : added.id, out);
}

void removeRelationships(RemoveRelationshipsOptions const& options, Output& out) {
  std::vector<RelationshipRecord> removed;
  change(options, [&](Package& package) {
    withSource(package, options.source, [&](RelationshipSource& source, PartName const& name) {
      removed = recordsOf(source, name.toString());
      std::set<std::u16string> ids;
      for (std::string const& id : options.ids) source.deleteRelationship(*ids.insert(fromArgument(id)).first);
      std::erase_if(removed, [&](RelationshipRecord const& record) { return !ids.contains(record.id); });
    });
  });
  if (!options.json) {
    if (options.verbose)
      for (RelationshipRecord const& record : removed) printLine(text(record), out);
    return;
  }
  out.print("{\"removed\":" + jsonOf(std::uint64_t{removed.size()}));
  if (options.verbose) {
    out.print(",\"relationships\":");
    JsonArray array(out);
    for (RelationshipRecord const& record : removed) array.add(json(record));
    out.print(array.isEmpty() ? "]" : "\n]");
  }
  out.print("}\n");
}

}  // namespace ztpkg
