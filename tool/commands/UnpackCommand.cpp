// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/Commands.hpp"
#include "commands/Storing.hpp"
#include "disk/Comparison.hpp"
#include "disk/DestinationTree.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Glob.hpp"
#include "disk/Paths.hpp"
#include "disk/Sandbox.hpp"
#include "disk/Selection.hpp"
#include "disk/TreeListing.hpp"
#include "disk/UnpackChecks.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
using opc::ztservices::RestoreMode;
using opc::ztservices::TransformMode;

std::vector<Glob> globsOf(std::vector<std::string> const& patterns) {
  std::vector<Glob> globs;
  globs.reserve(patterns.size());
  for (std::string const& pattern : patterns) globs.emplace_back(fromArgument(pattern));
  return globs;
}

bool isExcluded(std::u16string const& path, std::vector<Glob> const& excluded) {
  return std::ranges::any_of(excluded, [&](Glob const& glob) { return glob.matches(path); });
}

// What is to be extracted, links last: nothing is ever written through one of them. A few thousand bytes that stand for
// a million folders, each in the other, would keep the disk busy for minutes.
Leaves selectedLeaves(FileSystemManager const& manager, UnpackOptions const& options, Selection& selection) {
  std::vector<Glob> const excluded = globsOf(options.exclude);
  EntryMeasure measure;
  Leaves leaves;
  manager.visitLeafs([&](FileSystemEntry const& entry) {
    std::u16string path = entry.getPathName();
    if (!selection.has(path) || isExcluded(path, excluded)) return;
    measure.add(path);
    leaves.push_back({std::move(path), entry});
  });
  selection.throwIfUnmatched();
  throwIfTooDeep(measure, options.package);
  std::stable_partition(leaves.begin(), leaves.end(), [](Leaf const& leaf) { return !leaf.entry.isLink(); });
  return leaves;
}

std::u16string targetOnDisk(std::u16string const& target, std::u16string const& root) {
  return target.starts_with(u'/') ? (root == u"/" ? u"" : root) + target : target;
}

/// Whether the disk has what extraction would make.
bool isUpToDate(FileSystemManager const& manager, Leaf const& leaf, ListedItem const& item,
                std::u16string const& root) {
  if (leaf.entry.isFolder()) return item.kind == ListedItem::Kind::Folder;
  if (leaf.entry.isLink())
    return item.kind == ListedItem::Kind::Link &&
           opc::LocalFileSystemOps().getLinkTarget(item.path) == targetOnDisk(leaf.entry.getContentName(), root);
  return item.kind == ListedItem::Kind::File && !haveOtherFacts(itemOf(manager, leaf.entry), itemOf(item.facts));
}

/// Whether a folder on the way is a link: what is behind it is not in the directory.
class LinksOnTheWay {
 public:
  explicit LinksOnTheWay(std::u16string const& root) : root_(root) {}

  bool operator()(std::u16string const& path) {
    std::size_t const slash = path.rfind(u'/');
    if (slash == path.npos || slash == 0) return false;
    std::u16string const folder = path.substr(0, slash);
    if (folder == folder_) return isBehind_;
    bool const isBehind = (*this)(folder) || disk_.isSymlink(disk_.appendPath(root_, folder));
    folder_ = folder;
    return isBehind_ = isBehind;
  }

 private:
  opc::LocalFileSystemOps disk_;
  std::u16string const& root_;
  std::u16string folder_;  // the last one that was asked about
  bool isBehind_ = false;
};

/// Removes from the leaves those that the disk has already.
void leaveExisting(FileSystemManager const& manager, Leaves& leaves, std::u16string const& root,
                   UnpackOptions const& options) {
  opc::LocalFileSystemOps disk;
  LinksOnTheWay isBehindLink(root);
  std::erase_if(leaves, [&](Leaf const& leaf) {
    throwIfInterrupted();
    std::u16string const path = disk.appendPath(root, leaf.path);
    ListedItem const item = listItem(AT_FDCWD, opc::toUTF8String(path).c_str(), path);
    return item.isThere && (options.skipExisting || isUpToDate(manager, leaf, item, root)) && !isBehindLink(leaf.path);
  });
}

/// Whether a file on the disk is the package, under whatever name.
class PackageFile {
 public:
  explicit PackageFile(std::string const& argument) : isKnown_(stat(packageName(argument).c_str(), &status_) == 0) {}

  bool isAt(std::u16string const& path) const {
    struct stat other {};
    return isKnown_ && lstat(opc::toUTF8String(path).c_str(), &other) == 0 && other.st_dev == status_.st_dev &&
           other.st_ino == status_.st_ino;
  }

 private:
  static std::string packageName(std::string const& argument) {
    return argument == "-" ? "/dev/stdin" : opc::toUTF8String(fromArgument(argument));
  }

  struct stat status_ {};
  bool isKnown_;
};

/// Removes what the package does not have, from the last path to the first, and leaves what cannot be listed. Returns
/// the number of what is gone.
std::size_t removeExtra(FileSystemManager const& manager, Destination& destination, GivenDirectory const& place,
                        Selection& selection, UnpackOptions const& options, std::vector<Report>& problems) {
  using Kind = ListedItem::Kind;
  std::vector<Glob> const excluded = globsOf(options.exclude);
  PackageFile const package(options.package);
  TreeListing listing(place, [&](std::u16string const& path) { return isExcluded(path, excluded); });
  std::size_t count = 0;
  for (auto item = listing.items.rbegin(); item != listing.items.rend(); ++item) {
    bool const isSpecial = item->kind != Kind::File && item->kind != Kind::Link && item->kind != Kind::Folder;
    // Manifests of other programs may hold paths without the slash at their beginning.
    bool const isInPackage = manager.hasEntry(item->path) || manager.hasEntry(item->path.substr(1));
    if (isSpecial || isInPackage || !selection.has(item->path)) continue;
    std::u16string const path = opc::LocalFileSystemOps().appendPath(place.root, item->path);
    if (!package.isAt(path) && !isLeftover(item->path.substr(item->path.rfind(u'/') + 1)))
      count += destination.tree().remove(path);
  }
  for (Report& fault : listing.faults) {
    if (fault.code == "bad-name") fault.message.insert(0, "cannot remove ");
    fault.exit = Exit::Package;  // all else was done
    problems.push_back(std::move(fault));
  }
  return count;
}

/// Faults of the package leave out the entry; those of the disk, and signals, end the extraction.
Report reportOf(FileSystemEntry const& entry, std::exception_ptr const& fault) {
  std::u16string const path = entry.getPathName();
  try {
    std::rethrow_exception(fault);
  } catch (opc::ztservices::CouldNotTransformContentData const&) {
    return cannotDecrypt(shown(path), path);
  } catch (opc::model::InvalidItem const& damaged) {
    return cannotExtract("damaged-part", path, damaged.what());
  } catch (opc::model::PartNotFound const& missing) {
    return cannotExtract("missing-part", path, missing.what());
  } catch (opc::ztservices::UnsafeEntryPath const& unsafe) {
    return cannotExtract("unsafe-path", path, unsafe.what());
  }
}

/// Takes what cannot be extracted out of the leaves.
std::vector<Report> extract(FileSystemManager& manager, std::u16string const& root, Leaves& leaves, RestoreMode restore,
                            TransformMode mode) {
  std::vector<FileSystemEntry> entries;
  entries.reserve(leaves.size());
  for (Leaf const& leaf : leaves) entries.push_back(leaf.entry);
  std::vector<Report> problems;
  std::set<std::u16string> failed;
  manager.extractEntries(root, entries, restore, mode,
                         [&](FileSystemEntry const& entry, std::exception_ptr const& fault) {
                           problems.push_back(reportOf(entry, fault));
                           failed.insert(entry.getPathName());
                         });
  std::erase_if(leaves, [&](Leaf const& leaf) { return failed.contains(leaf.path); });
  return problems;
}

class Discarded final : public opc::OutputStream {
 public:
  void write(void const*, std::size_t) override {}
  void close() override {}
};

/// Finds damage of a content that its stream would deliver in part (model::Part::getInputStream()). Encrypted contents
/// are authenticated before they are delivered.
void verifyAhead(FileSystemManager& manager, FileSystemEntry const& file, TransformMode mode) {
  constexpr std::uint64_t kVerifiedWhole = 8U << 20;
  if (mode == TransformMode::Transform && manager.isEncrypted(file)) return;
  auto const part = manager.getPackage().findPart(opc::model::PartName(file.getContentName()));
  if (!part || part->getSize() <= kVerifiedWhole) return;
  Discarded nowhere;
  opc::StreamHelper::copyStreamToStream(manager.getFileContentSource(file, mode)->getInputStream(), nowhere);
}

/// Prints the contents of files, one after the other. What cannot be read is left out.
void printContents(UnpackOptions const& options, Output& out) {
  Stopwatch const watch;
  auto const package = openFileSystem(options.package);
  FileSystemManager manager(*package);
  enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  Selection selection(manager, options.paths, options);
  Leaves const leaves = selectedLeaves(manager, options, selection);
  std::vector<Report> problems;
  auto const forEachFile = [&](auto const& use) {
    for (Leaf const& leaf : leaves) try {
        if (leaf.entry.isFile()) use(leaf.entry);
      } catch (opc::Exception const&) {
        problems.push_back(reportOf(leaf.entry, std::current_exception()));
      }
  };
  if (!options.raw) forEachFile([&](FileSystemEntry const& file) { throwIfKeyIsMissing(manager, file); });
  problems.clear();  // found again
  TransformMode const mode = options.raw ? TransformMode::None : TransformMode::Transform;
  forEachFile([&](FileSystemEntry const& file) {
    verifyAhead(manager, file, mode);
    opc::StreamHelper::copyStreamToStream(manager.getFileContentSource(file, mode)->getInputStream(), out);
  });
  out.close();
  if (!problems.empty()) throw Failure(std::move(problems));
  if (!options.json) return;
  auto const count = std::ranges::count_if(leaves, [](Leaf const& leaf) { return leaf.entry.isFile(); });
  JsonObject document;
  document.add("files", static_cast<std::uint64_t>(count)).add("seconds", watch.elapsed());
  document.printBesideData();
}

std::vector<std::u16string> sortedPaths(Leaves const& leaves) {
  std::vector<std::u16string> paths;
  paths.reserve(leaves.size());
  for (Leaf const& leaf : leaves) paths.push_back(leaf.path);
  std::ranges::sort(paths);
  return paths;
}

Entries entriesOf(Leaves const& leaves, Progress const& progress) {
  auto const count = [&](bool (FileSystemEntry::*kind)() const) {
    return static_cast<std::size_t>(
        std::ranges::count_if(leaves, [&](Leaf const& leaf) { return (leaf.entry.*kind)(); }));
  };
  return {count(&FileSystemEntry::isFile), count(&FileSystemEntry::isFolder), count(&FileSystemEntry::isLink),
          progress.done().bytes};
}

/// What was extracted, for people and for programs.
struct Extracted {
  Leaves const& leaves;
  std::uint64_t storedBytes;
  std::optional<std::size_t> removed;  ///< absent without --delete
  std::vector<std::string> warnings;
};

void printDocument(Extracted const& extracted, UnpackOptions const& options, Progress const& progress, Output& out) {
  JsonObject document;
  addTo(document, entriesOf(extracted.leaves, progress));
  document.add("storedBytes", extracted.storedBytes).add("removed", std::uint64_t{extracted.removed.value_or(0)});
  document.add("seconds", progress.elapsed()).add("warnings", extracted.warnings);
  if (options.verbose) document.add("entries", sortedPaths(extracted.leaves));
  document.print(out);
}

void print(Extracted const& extracted, UnpackOptions const& options, Progress const& progress, Output& out) {
  if (options.json) return printDocument(extracted, options, progress, out);
  if (options.verbose)
    for (std::u16string const& path : sortedPaths(extracted.leaves)) out.printName(path), out.print("\n");
  out.close();
  for (std::string const& warning : extracted.warnings) std::cerr << "ztpkg: unpack: " << warning << '\n';
  if (options.quiet) return;
  std::string const removed = extracted.removed ? "removed " + counted(*extracted.removed, "path") + ", " : "";
  std::cerr << "extracted " << entriesText(entriesOf(extracted.leaves, progress), "empty folder") << " from "
            << sizeText(extracted.storedBytes) << " stored, " << removed << secondsText(progress.elapsed()) << '\n';
}

/// Whatever a package makes of this process from here on, it writes nowhere else. What is wrong with the directory is
/// told after what is wrong with the package.
void confineToDestination(UnpackOptions const& options) {
  std::vector<std::string> writable;
  try {
    if (!options.toOutput)
      writable.push_back(opc::toUTF8String(nearestThere(resolvedPath(fromArgument(options.directory)))));
  } catch (Failure const&) {
    writable.clear();
  }
  confineWrites(writable);
}

}  // namespace

void unpack(UnpackOptions const& options, Output& out) {
  if (!options.toOutput) noteSignals();
  packagePath(options.package);  // what comes through a pipe is copied to a file, and nothing is read of it
  confineToDestination(options);
  if (options.toOutput) return printContents(options, out);
  auto const package = openFileSystem(options.package);
  std::u16string const directory = fromArgument(options.directory);
  std::u16string const root = isThere(directory) ? existingDirectory(directory) : resolvedPath(directory);
  opc::Confinement const confinement{.replaceExisting = options.force || options.update,
                                     .allowOutsideLinks = options.allowOutsideLinks,
                                     .makeHoles = options.sparse,
                                     .allowInexactTimes = true};
  Progress progress(options.progress && !options.quiet);
  GivenDirectory const place{directory, root};
  Destination destination(place, confinement, progress);
  FileSystemManager manager(*package, destination);
  manager.setExtractionThreads(std::thread::hardware_concurrency());
  enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  Selection selection(manager, options.paths, options);
  Leaves leaves = selectedLeaves(manager, options, selection);
  if (options.update || options.skipExisting) leaveExisting(manager, leaves, root, options);
  TransformMode const mode = options.raw ? TransformMode::None : TransformMode::Transform;
  ExtractionPlan plan = checkExtraction(manager, leaves, place, confinement, mode);
  std::vector<Report>& problems = plan.problems;
  if (leaves.empty() && !problems.empty()) throw Failure(std::move(problems));
  destination.setFolders(std::move(plan.folders));
  progress.watch(*package);
  RestoreMode const restore = options.restore ? RestoreMode::TimeAndPermissions : RestoreMode::None;
  try {
    std::ranges::move(extract(manager, root, leaves, restore, mode), std::back_inserter(problems));
  } catch (opc::Exception const&) {
    Report report = describe(std::current_exception(), directory).front();
    report.message = showing(directory, std::move(report.message), root);
    throw Failure(namingFileSystem(std::move(report), root));
  }
  std::optional<std::size_t> removed;
  if (options.removesExtra && problems.empty())
    removed = removeExtra(manager, destination, place, selection, options, problems);
  progress.finish();
  print({leaves, plan.stored, removed, destination.warnings()}, options, progress, out);
  if (problems.empty()) return;
  out.close();
  throw Failure(std::move(problems));
}

}  // namespace ztpkg
