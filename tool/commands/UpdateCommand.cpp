// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "commands/Changing.hpp"
#include "commands/Commands.hpp"
#include "commands/Differences.hpp"
#include "commands/Storing.hpp"
#include "disk/Comparison.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/PathFilter.hpp"
#include "disk/Paths.hpp"
#include "opc/ztservices/ContentTypes.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
using Change = Difference::Change;
using Differences = std::vector<Difference>;

bool isTextPath(SourceTree& source, std::u16string const& path) {
  return opc::ztservices::lookupContentType(source, path, opc::ztservices::getTALBEXDefaultContentType()) ==
         opc::ztservices::getTextContentType();
}

/// What is to change, in order of path: without --delete nothing that the directory lacks.
Differences differencesOf(FileSystemManager& manager, SourceTree& source, UpdateOptions const& options,
                          Progress& progress) {
  PathFilter filter(options.paths, options.exclude, options);
  DirectoryTree directory(source, progress);
  ComparisonRules rules{.readContents = options.checksum,
                        .isWanted = [&](std::u16string const& path) { return filter.has(path); },
                        .isConverted = {}};
  if (options.textToUTF8) rules.isConverted = [&](std::u16string const& path) { return isTextPath(source, path); };
  // What could not be read looks as if it were missing.
  bool const removes = options.removesMissing && source.faults().empty();
  Differences found;
  compareTrees(manager, directory, rules, [&](Difference const& difference) {
    if (difference.change != Change::Deleted || removes) found.push_back(difference);
  });
  filter.throwIfUnmatched();
  return found;
}

/// An entry of the package whose place is to be empty. Only what the user wants deleted goes with a folder.
void clear(FileSystemManager& manager, Difference const& difference) {
  FileSystemEntry const entry = manager.getEntry(difference.path);
  if (!manager.hasChildren(entry)) return removeEntry(manager, entry);
  if (difference.change == Change::Deleted) return;  // something below it stays
  throw Failure(Report{
      Exit::Disk, "folder-in-the-way",
      "cannot update " + shown(difference.path) + ": entries lie below it in the package (--delete removes them)",
      difference.path});
}

/// From the last path to the first, so that what lies below an entry goes before it.
void removeReplaced(FileSystemManager& manager, Differences const& differences) {
  for (auto difference = differences.rbegin(); difference != differences.rend(); ++difference) {
    bool const goes = difference->change == Change::Deleted || difference->change == Change::Type ||
                      (difference->change == Change::Modified && difference->hasOtherContent);
    if (goes) clear(manager, *difference);
  }
}

/// Records the time and permissions of files whose contents stay.
void record(FileSystemManager& manager, DirectoryTree& directory, Differences const& differences) {
  for (Difference const& difference : differences) {
    if (difference.change != Change::Modified || difference.hasOtherContent) continue;
    TreeItem const item = directory.itemAt(directory.indexOf(difference.path));
    FileSystemEntry const entry = manager.getEntry(difference.path);
    manager.setPermissionsAndTime(entry, static_cast<opc::Perms::Perms_tag>(*item.permissions),
                                  item.time.value_or(entry.getLastModifiedTime()));
  }
}

/// The paths that are stored anew.
std::vector<std::u16string> storedAnew(Differences const& differences) {
  std::vector<std::u16string> paths;
  for (Difference const& difference : differences)
    if (difference.change != Change::Deleted && difference.hasOtherContent) paths.push_back(difference.path);
  return paths;
}

/// How many entries change in which way.
struct ChangeCounts {
  explicit ChangeCounts(Differences const& differences) {
    for (Difference const& difference : differences)
      ++(difference.change == Change::Added ? added : difference.change == Change::Deleted ? removed : changed);
  }
  std::size_t added = 0, changed = 0, removed = 0;
};

void print(Differences const& differences, UpdateOptions const& options, Output& out) {
  using Form = DifferenceListing::Form;
  if (!options.isListing()) return;
  DifferenceListing listing(options.verbose ? Form::DetailedLines : Form::Lines, out);
  for (Difference const& difference : differences) listing.print(difference);
  listing.finish();
}

void printSummary(Differences const& differences, std::u16string const& package, Progress const& progress) {
  ChangeCounts const counts(differences);
  std::cerr << "added " << counted(counts.added, "path") << ", changed " << counts.changed << ", removed "
            << counts.removed << ", the package now has " << sizeText(sizeOfFile(package)) << ", "
            << secondsText(progress.elapsed()) << '\n';
}

void printDocument(Differences const& differences, Storing const& storing, SourceTree const& source,
                   UpdateOptions const& options, Progress const& progress, Output& out) {
  ChangeCounts const counts(differences);
  JsonObject document;
  document.add("added", std::uint64_t{counts.added}).add("changed", std::uint64_t{counts.changed});
  document.add("removed", std::uint64_t{counts.removed}).add("bytes", progress.done().bytes);
  document.add("packageBytes", sizeOfFile(fromArgument(options.package))).add("seconds", progress.elapsed());
  storing.addOmissions(document, {&source});
  if (!options.verbose && !options.dryRun) return document.print(out);
  std::string const text = document.text();
  out.print(text.substr(0, text.size() - 1) + ",\"changes\":");
  DifferenceListing listing(DifferenceListing::Form::Json, out);
  for (Difference const& difference : differences) listing.print(difference);
  listing.finish("}\n");
}

void apply(Differences const& differences, EditedFileSystem& edited, SourceTree& source, TreeInTurn& selector,
           UpdateOptions const& options, Storing& storing, Progress& progress) {
  FileSystemManager& manager = edited.manager();
  DirectoryTree directory(source, progress);
  record(manager, directory, differences);
  removeReplaced(manager, differences);
  source.restrictTo(storedAnew(differences));
  progress.watch(manager.getPackage());
  manager.getPackage().setCompressionLevel(options.level);
  selector.take(source);
  storing.add(manager, source);
  storing.throwIfRefused();
  for (Difference const& difference : differences)
    if (difference.change != Change::Added && difference.change != Change::Deleted)
      throwIfLost(manager, source, difference.path);
  throwIfTooDeep(measureEntries(manager), options.package);
  edited.save();
}

/// What is printed of the texts is only what could not be converted: the listing is of the differences.
StoringOptions withoutListing(StoringOptions options) {
  options.verbose = options.json = options.dryRun = false;
  return options;
}

/// One attempt, on the package as it is now.
void updateOnce(UpdateOptions const& options, Output& out) {
  Storing storing(withoutListing(options), "update");
  opc::LocalFileSystemOps disk;
  TreeInTurn selector(disk);
  EditedFileSystem edited(options, options.key, &selector);
  throwIfTooDeep(measureEntries(edited.manager()), options.package);
  Progress progress(options.progress && !options.quiet);
  SourceTree source(disk, existingDirectory(fromArgument(options.directory)),
                    directoryRules(options, options.package, options.directory), progress);
  surveyWithAdvice(source);
  Differences const differences = differencesOf(edited.manager(), source, options, progress);
  if (!options.dryRun && !differences.empty()) apply(differences, edited, source, selector, options, storing, progress);
  progress.finish();
  if (options.json) {
    printDocument(differences, storing, source, options, progress, out);
  } else {
    storing.print({&source}, out);
    print(differences, options, out);
    if (!options.quiet && !options.dryRun) printSummary(differences, fromArgument(options.package), progress);
  }
  closeAndThrowFaults({&source}, out);
}

}  // namespace

void update(UpdateOptions const& options, Output& out) {
  noteSignals();
  changePackage(options, [&] { updateOnce(options, out); });
}

}  // namespace ztpkg
