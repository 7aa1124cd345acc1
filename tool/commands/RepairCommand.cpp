// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/Commands.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/Repair.hpp"
#include "secrets/PackageKey.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemManager;
using opc::ztservices::ManifestOutcome;
using opc::ztservices::RepairReport;

char const* outcomeText(ManifestOutcome outcome) {
  switch (outcome) {
    case ManifestOutcome::None:
      return "none";
    case ManifestOutcome::Whole:
      return "whole";
    case ManifestOutcome::Partial:
      return "partial";
    case ManifestOutcome::Lost:
      return "lost";
    case ManifestOutcome::Locked:
      return "locked";
  }
  return "";
}

void printLine(std::string const& what, std::u16string const& name, Output& out) {
  out.print(what);
  out.printName(name);
  out.print("\n");
}

void printText(RepairReport const& report, bool verbose, Output& out) {
  if (verbose)
    for (std::u16string const& part : report.savedParts) printLine("saved part ", part, out);
  for (std::u16string const& part : report.lostParts) printLine("lost part ", part, out);
  for (std::u16string const& entry : report.lostEntries) printLine("lost entry ", entry, out);
  for (RepairReport::Found const& found : report.found) printLine("found ", found.path + u" in " + found.part, out);
  if (report.lostRelationships > 0)
    out.print("lost " + counted(static_cast<std::size_t>(report.lostRelationships), "relationship") + "\n");
  if (report.areContentTypesLost) out.print("lost content types\n");
  if (report.manifest != ManifestOutcome::None)
    out.print(std::string("manifest ") + outcomeText(report.manifest) + "\n");
}

std::string json(RepairReport const& report, bool verbose, Stopwatch const& watch) {
  std::string found;
  for (RepairReport::Found const& one : report.found)
    found += (found.empty() ? "" : ",") + JsonObject().add("path", one.path).add("part", one.part).text();
  JsonObject object;
  object.add("complete", report.isComplete()).add("parts", report.parts).add("bytes", report.bytes);
  object.add("manifest", outcomeText(report.manifest));
  object.add("lostParts", report.lostParts).add("lostEntries", report.lostEntries);
  object.addText("found", "[" + found + "]").add("lostRelationships", report.lostRelationships);
  object.add("contentTypesLost", report.areContentTypesLost).add("seconds", watch.elapsed());
  if (verbose) object.add("savedParts", report.savedParts);
  return object.text();
}

/// The key that the options name. That of a password needs the cipher data of the damaged package.
class RepairKey {
 public:
  explicit RepairKey(RepairCommandOptions const& options) : options_(options) {
    if (!options.key.file.empty()) secret_ = readKey(options.key.file);
  }

  void giveTo(opc::ztservices::RepairOptions& repair) {
    repair.key = bytes();
    if (options_.key.password.isGiven())
      repair.findKey = [this](opc::model::Package& damaged) {
        secret_ = findKey(FileSystemManager(damaged), options_.key, options_.package);
        return bytes();
      };
  }

 private:
  std::vector<unsigned char> const* bytes() const { return secret_ ? &secret_->bytes() : nullptr; }

  RepairCommandOptions const& options_;
  std::unique_ptr<Secret const> secret_;
};

/// A fault of the new package names that one.
RepairReport repaired(std::u16string const& path, std::u16string const& target,
                      opc::ztservices::RepairOptions const& options) try {
  return opc::ztservices::repairPackage(path, target, options);
} catch (opc::model::CouldNotSavePackage const&) {
  throw Failure(describe(std::current_exception(), target));
}

}  // namespace

void repair(RepairCommandOptions const& options, Output& out) {
  if (options.target == "-")
    throwUsage("NEW: '-' is a pipe, and the lines are printed there; ./- is a file of that name");
  noteSignals();
  Stopwatch const watch;
  std::u16string const path = fromArgument(options.package), target = fromArgument(options.target);
  opc::ztservices::RepairOptions repair;
  RepairKey key(options);
  key.giveTo(repair);
  repair.checkpoint = throwIfInterrupted;
  RepairReport const report = repaired(packagePath(options.package), target, repair);
  if (report.isKeyWrong) throw Failure(cannotDecrypt("the file system of " + shown(path), path));
  if (options.json)
    out.print(json(report, options.verbose, watch) + "\n");
  else if (!options.quiet)
    printText(report, options.verbose, out);
  std::string const saved =
      "saved " + counted(static_cast<std::size_t>(report.parts), "part") + " (" + sizeText(report.bytes) + ")";
  out.close();
  if (report.isComplete()) {
    if (!options.quiet && !options.json) std::cerr << saved << ", nothing is lost\n";
    return;
  }
  throw Failure(Report{Exit::Package, "repaired-in-part", saved + ", but not all of " + shown(path), path});
}

}  // namespace ztpkg
