// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <algorithm>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "commands/Changing.hpp"
#include "commands/Commands.hpp"
#include "commands/Storing.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "disk/StandardInput.hpp"
#include "opc/ztservices/ContentTypes.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

/// Checks all additions before the first is made.
class Addition {
 public:
  Addition(FileSystemManager& manager, bool force) : manager_(manager), force_(force) {}

  void add(SourceTree const& tree, std::u16string const& place) {
    addFoldersAbove(place);
    if (!place.empty()) addFolder(place);
    for (std::u16string const& folder : tree.folders()) addFolder(folder);
    for (std::u16string const& leaf : tree.leaves()) addLeaf(leaf);
  }

  void add(std::u16string const& file) {
    addFoldersAbove(file);
    addLeaf(file);
  }

  void removeReplaced() {
    for (FileSystemEntry const& entry : replaced_) removeEntry(manager_, entry);
  }

  std::vector<FileSystemEntry> const& replaced() const { return replaced_; }

 private:
  [[noreturn]] static void refuse(char const* code, std::u16string const& path, char const* why) {
    throw Failure(Report{Exit::Disk, code, "cannot add " + shown(path) + ": " + why, path});
  }

  void addFoldersAbove(std::u16string const& path) {
    for (std::size_t slash = path.find(u'/', 1); slash < path.size(); slash = path.find(u'/', slash + 1))
      addFolder(path.substr(0, slash));
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

/// Standard input as a content.
class StandardInputSource final : public opc::ztservices::IContentSource {
 public:
  StandardInputSource(opc::model::ContentType type, std::function<void(std::size_t)> onRead)
      : type_(std::move(type)), input_(std::move(onRead)) {}

  opc::model::ContentType getContentType() override { return type_; }
  opc::InputStream& getInputStream() override { return input_; }

 private:
  opc::model::ContentType type_;
  StandardInput input_;
};

opc::Perms::Perms_tag permissionsOfNewFile() {
  mode_t const mask = umask(0);
  umask(mask);
  return static_cast<opc::Perms::Perms_tag>(0666U & ~mask);
}

/// Standard input as a file of the package. It is read once and never kept on a disk in the clear: a later attempt
/// takes the bytes from the package of the one before.
class PipedFile {
 public:
  explicit PipedFile(AddOptions const& options) {
    auto const count = std::ranges::count(options.sources, "-");
    if (count > 1) throwUsage("SOURCE - is given twice");
    if (count == 0 && !options.as.empty()) throwUsage("--as names standard input: SOURCE must be -");
    if (count == 0) return;
    if (options.as.empty()) throwUsage("SOURCE - is standard input, which needs --as; ./- is a file of that name");
    if (options.textToUTF8) throwUsage("--text-to-utf8 cannot convert standard input");
    std::u16string const name = newEntryPath(options.as, "--as");
    if (name.empty()) throwUsage("--as: / is no name of a file");
    path_ = newEntryPath(options.to, "--to") + name;
  }

  /// Empty where standard input is no source.
  std::u16string const& path() const { return path_; }
  std::vector<std::u16string> paths() const {
    return path_.empty() ? std::vector<std::u16string>() : std::vector{path_};
  }

  void addTo(FileSystemManager& manager, Progress& progress) {
    if (path_.empty()) return;
    auto const time = sourceDate().value_or(boost::posix_time::microsec_clock::universal_time());
    manager.addFile(source(progress), path_, permissionsOfNewFile(), time);
    progress.addFile();
  }

  /// Saves the package that the bytes were added to, and keeps them for the case that another one was saved meanwhile.
  void save(std::unique_ptr<EditedFileSystem> edited) {
    if (path_.empty()) return edited->save();
    last_ = std::move(edited);
    last_->save();
  }

 private:
  std::unique_ptr<opc::ztservices::IContentSource> source(Progress& progress) {
    if (last_) {
      progress.addBytes(bytes_);
      return last_->manager().getFileContentSource(last_->manager().getEntry(path_),
                                                   opc::ztservices::TransformMode::Transform);
    }
    opc::LocalFileSystemOps disk;
    opc::model::ContentType const type =
        opc::ztservices::lookupContentType(disk, path_, opc::ztservices::getTALBEXDefaultContentType());
    return std::make_unique<StandardInputSource>(type, [this, &progress](std::size_t count) {
      bytes_ += count;
      progress.addBytes(count);
    });
  }

  std::u16string path_;
  std::uint64_t bytes_ = 0;
  std::unique_ptr<EditedFileSystem> last_;  // which has the bytes
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
    rules.given = given;
    rules.otherRoots = unresolvedNames(given);
    return {std::make_unique<SourceTree>(disk, existingDirectory(path), rules, progress), rules.place};
  }
  if (!isThere(path)) throw Failure(diskReport("cannot-read", "cannot read", given, error));
  rules.only = name;
  if (given.find(u'/') != given.npos) rules.given = given.substr(0, std::max<std::size_t>(given.rfind(u'/'), 1));
  rules.otherRoots = unresolvedNames(parentOf(given));
  return {std::make_unique<SourceTree>(disk, existingDirectory(parentOf(path)), rules, progress), folder};
}

std::vector<Source> survey(opc::FileSystemOps& disk, AddOptions const& options, Addition& addition,
                           Progress& progress) {
  std::u16string const folder = newEntryPath(options.to, "--to");
  SourceTree::Rules const rules = sourceRules(options, options.package);
  std::vector<Source> sources;
  for (std::string const& argument : options.sources) {
    if (argument == "-") continue;  // standard input
    sources.push_back(sourceOf(disk, argument, folder, rules, progress));
    surveyWithAdvice(*sources.back().tree);
    addition.add(*sources.back().tree, sources.back().place);
  }
  return sources;
}

void printSummary(StoredTotals const& totals) {
  std::cerr << "added " << entriesText(totals.entries, "folder") << ", the package now has "
            << sizeText(*totals.packageBytes) << ", " << secondsText(totals.time) << '\n';
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

void print(Storing const& storing, std::vector<SourceTree const*> const& trees,
           std::vector<std::u16string> const& piped, AddOptions const& options, Progress const& progress, Output& out) {
  StoredTotals totals{entriesOf(trees, progress), std::nullopt, progress.elapsed()};
  totals.entries.files += piped.size();
  if (!options.dryRun) totals.packageBytes = sizeOfFile(fromArgument(options.package));
  if (options.json) return storing.printDocument(trees, totals, out, piped);
  storing.print(trees, out, piped);
  if (!options.quiet && !options.dryRun) printSummary(totals);
}

/// One attempt, on the package as it is now.
void addOnce(AddOptions const& options, opc::LocalFileSystemOps& disk, TreeInTurn& selector, PipedFile& piped,
             Output& out) {
  Storing storing(options, "add");
  using Missing = EditedFileSystem::Missing;
  auto edited = std::make_unique<EditedFileSystem>(options, options.key, &selector,
                                                   options.create ? Missing::Create : Missing::Refuse);
  FileSystemManager& manager = edited->manager();
  Addition addition(manager, options.force);
  Progress progress(options.progress && !options.quiet);
  std::vector<Source> const sources = survey(disk, options, addition, progress);
  if (!piped.path().empty()) addition.add(piped.path());
  manager.getPackage().setCompressionLevel(options.level);
  if (!options.dryRun) progress.watch(manager.getPackage());
  if (!options.dryRun) addition.removeReplaced();
  for (Source const& source : sources) {
    selector.take(*source.tree);
    if (options.dryRun)
      storing.examine(*source.tree, progress);
    else
      storing.add(manager, *source.tree);
  }
  storing.throwIfRefused();
  if (!options.dryRun) {
    throwIfLost(manager, sources, addition);
    piped.addTo(manager, progress);
    throwIfTooDeep(measureEntries(manager), options.package);
    piped.save(std::move(edited));
  }
  progress.finish();
  print(storing, treesOf(sources), piped.paths(), options, progress, out);
  closeAndThrowFaults(treesOf(sources), out);
}

}  // namespace

void add(AddOptions const& options, Output& out) {
  noteSignals();
  opc::LocalFileSystemOps disk;
  TreeInTurn selector(disk);
  PipedFile piped(options);
  changePackage(options, [&] {
    selector.take(disk);
    addOnce(options, disk, selector, piped, out);
  });
}

}  // namespace ztpkg
