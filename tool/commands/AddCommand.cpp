// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "commands/Changing.hpp"
#include "commands/Commands.hpp"
#include "commands/Storing.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

/// Checks all additions before the first is made.
class Addition {
 public:
  Addition(FileSystemManager& manager, bool force) : manager_(manager), force_(force) {}

  void add(SourceTree const& tree, std::u16string const& place) {
    for (std::size_t slash = place.find(u'/', 1); slash < place.size(); slash = place.find(u'/', slash + 1))
      addFolder(place.substr(0, slash));
    if (!place.empty()) addFolder(place);
    for (std::u16string const& folder : tree.folders()) addFolder(folder);
    for (std::u16string const& leaf : tree.leaves()) addLeaf(leaf);
  }

  void removeReplaced() {
    for (FileSystemEntry const& entry : replaced_) removeEntry(manager_, entry);
  }

  std::vector<FileSystemEntry> const& replaced() const { return replaced_; }

 private:
  [[noreturn]] static void refuse(char const* code, std::u16string const& path, char const* why) {
    throw Failure(Report{Exit::Disk, code, "cannot add " + shown(path) + ": " + why, path});
  }

  void addFolder(std::u16string const& path) {
    auto const [known, isNew] = isLeaf_.try_emplace(path, false);
    if (known->second) refuse("file-in-the-way", path, "it is given as a file and as a folder");
    if (!isNew || !manager_.hasEntry(path)) return;
    FileSystemEntry const entry = manager_.getEntry(path);
    if (entry.isFile()) refuse("file-in-the-way", path, "there is a file of that name in the package");
    if (entry.isLink()) refuse("link-in-the-way", path, "there is a link of that name in the package");
  }

  void addLeaf(std::u16string const& path) {
    if (!isLeaf_.try_emplace(path, true).second) refuse("already-exists", path, "it is given twice");
    if (!manager_.hasEntry(path)) return;
    FileSystemEntry const entry = manager_.getEntry(path);
    if (entry.isFolder()) refuse("folder-in-the-way", path, "there is a folder of that name in the package");
    if (!force_) refuse("already-exists", path, "it is in the package already (use --force to replace it)");
    if (manager_.hasChildren(entry)) refuse("folder-in-the-way", path, "entries lie below it in the package");
    replaced_.push_back(entry);
  }

  FileSystemManager& manager_;
  bool force_;
  std::map<std::u16string, bool> isLeaf_;  // for each path to add
  std::vector<FileSystemEntry> replaced_;
};

std::u16string placeOf(std::u16string const& folder, std::u16string const& name) {
  return name.empty() ? folder : folder + u"/" + name;
}

struct Source {
  std::unique_ptr<SourceTree> tree;
  std::u16string place;
};

// A link is stored as a link, whatever its target.
Source sourceOf(opc::FileSystemOps& disk, std::string const& argument, std::u16string const& folder,
                SourceTree::Rules rules, Progress& progress) {
  std::u16string const given = fromArgument(argument);
  std::u16string const path = placeOnDisk(given);
  std::u16string const name = path.substr(path.rfind(u'/') + 1);
  rules.place = folder;
  boost::system::error_code error;
  if (!disk.isSymlink(path) && isDirectory(path, error)) {
    rules.place = placeOf(folder, name);
    rules.otherRoots = unresolvedNames(given);
    return {std::make_unique<SourceTree>(disk, existingDirectory(path), rules, progress), rules.place};
  }
  if (!isThere(path)) throw Failure(diskReport("cannot-read", "cannot read", path, error));
  rules.only = name;
  rules.otherRoots = unresolvedNames(parentOf(given));
  return {std::make_unique<SourceTree>(disk, existingDirectory(parentOf(path)), rules, progress), folder};
}

std::vector<Source> survey(opc::FileSystemOps& disk, AddOptions const& options, Addition& addition,
                           Progress& progress) {
  std::u16string const folder = newEntryPath(options.to, "--to");
  SourceTree::Rules const rules = sourceRules(options, options.package);
  std::vector<Source> sources;
  for (std::string const& argument : options.sources) {
    sources.push_back(sourceOf(disk, argument, folder, rules, progress));
    try {
      sources.back().tree->survey();
    } catch (Failure const& failure) {
      throwWithAdvice(failure);
    }
    addition.add(*sources.back().tree, sources.back().place);
  }
  Amount total;
  for (Source const& source : sources) {
    total.files += source.tree->fileCount();
    total.bytes += source.tree->fileBytes();
  }
  progress.expect(total);
  return sources;
}

void printSummary(std::vector<Source> const& sources, std::u16string const& package, Progress const& progress) {
  Entries added{0, 0, 0, progress.done().bytes};
  for (Source const& source : sources) {
    added.files += source.tree->fileCount();
    added.folders += source.tree->folders().size();
    added.links += source.tree->linkCount();
  }
  std::cerr << "added " << entriesText(added, "folder") << ", the package now has " << sizeText(sizeOfFile(package))
            << ", " << secondsText(progress.elapsed()) << '\n';
}

std::vector<SourceTree const*> treesOf(std::vector<Source> const& sources) {
  std::vector<SourceTree const*> trees;
  trees.reserve(sources.size());
  for (Source const& source : sources) trees.push_back(source.tree.get());
  return trees;
}

void throwIfLost(FileSystemManager const& manager, std::vector<Source> const& sources, Addition const& addition) {
  for (Source const& source : sources)
    if (!source.tree->faults().empty())
      for (FileSystemEntry const& entry : addition.replaced()) throwIfLost(manager, *source.tree, entry.getPathName());
}

/// One attempt, on the package as it is now.
void addOnce(AddOptions const& options, Output& out) {
  Storing storing(options, "add");
  opc::LocalFileSystemOps disk;
  TreeInTurn selector(disk);
  using Missing = EditedFileSystem::Missing;
  EditedFileSystem edited(options, options.key, &selector, options.create ? Missing::Create : Missing::Refuse);
  FileSystemManager& manager = edited.manager();
  Addition addition(manager, options.force);
  Progress progress(options.progress && !options.quiet);
  std::vector<Source> const sources = survey(disk, options, addition, progress);
  manager.getPackage().setCompressionLevel(options.level);
  if (!options.dryRun) addition.removeReplaced();
  for (Source const& source : sources) {
    selector.take(*source.tree);
    if (options.dryRun)
      storing.examine(*source.tree, progress);
    else
      storing.add(manager, *source.tree);
  }
  storing.throwIfRefused();
  if (!options.dryRun) throwIfLost(manager, sources, addition);
  if (!options.dryRun) edited.save();
  progress.finish();
  for (Source const& source : sources)
    if (!options.quiet) printLeftOut(*source.tree, "add");
  storing.print(treesOf(sources), out);
  if (!options.quiet && !options.dryRun) printSummary(sources, fromArgument(options.package), progress);
  closeAndThrowFaults(treesOf(sources), out);
}

}  // namespace

void add(AddOptions const& options, Output& out) {
  noteSignals();
  changePackage(options, [&] { addOnce(options, out); });
}

}  // namespace ztpkg
