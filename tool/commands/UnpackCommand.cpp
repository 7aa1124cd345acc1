// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Process.hpp"
#include "commands/Commands.hpp"
#include "disk/DestinationTree.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "disk/Selection.hpp"
#include "disk/UnpackChecks.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
using opc::ztservices::RestoreMode;
using opc::ztservices::TransformMode;

// What is to be extracted, links last: nothing is ever written through one of them. A few thousand bytes that stand for
// a million folders, each in the other, would keep the disk busy for minutes.
Leaves selectedLeaves(FileSystemManager const& manager, UnpackOptions const& options) {
  Selection selection(manager, options.paths);
  EntryMeasure measure;
  Leaves leaves;
  manager.visitLeafs([&](FileSystemEntry const& entry) {
    std::u16string path = entry.getPathName();
    if (!selection.has(path)) return;
    measure.add(path);
    leaves.push_back({std::move(path), entry});
  });
  selection.throwIfUnmatched();
  throwIfTooDeep(measure, options.package);
  std::stable_partition(leaves.begin(), leaves.end(), [](Leaf const& leaf) { return !leaf.entry.isLink(); });
  return leaves;
}

/// The file that failed after `made` files: content is read before its file is made.
std::u16string const& fileAfter(std::uint64_t made, Leaves const& leaves) {
  auto const failed =
      std::ranges::find_if(leaves, [&](Leaf const& leaf) { return leaf.entry.isFile() && made-- == 0; });
  return failed == leaves.end() ? leaves.back().path : failed->path;
}

void extract(FileSystemManager& manager, Progress const& progress, std::u16string const& root, Leaves const& leaves,
             RestoreMode restore, TransformMode mode) try {
  std::vector<FileSystemEntry> entries;
  entries.reserve(leaves.size());
  for (Leaf const& leaf : leaves) entries.push_back(leaf.entry);
  manager.extractEntries(root, entries, restore, mode);
} catch (opc::ztservices::CouldNotTransformContentData const&) {
  std::u16string const& path = fileAfter(progress.done().files, leaves);
  throw Failure(cannotDecrypt(shown(path), path));
}

void printSummary(Leaves const& leaves, ExtractionPlan const& plan, Progress const& progress) {
  auto const count = [&](bool (FileSystemEntry::*kind)() const) {
    return static_cast<std::size_t>(
        std::ranges::count_if(leaves, [&](Leaf const& leaf) { return (leaf.entry.*kind)(); }));
  };
  Entries const extracted{count(&FileSystemEntry::isFile), count(&FileSystemEntry::isFolder),
                          count(&FileSystemEntry::isLink), progress.done().bytes};
  std::cerr << "extracted " << entriesText(extracted, "empty folder") << " from " << sizeText(plan.stored)
            << " stored, " << secondsText(progress.elapsed()) << '\n';
}

}  // namespace

void unpack(UnpackOptions const& options) {
  noteSignals();
  auto const package = openFileSystem(options.package);
  std::u16string const directory = fromArgument(options.directory);
  std::u16string const root = isThere(directory) ? existingDirectory(directory) : resolvedPath(directory);
  opc::Confinement const confinement{.replaceExisting = options.force,
                                     .allowOutsideLinks = options.allowOutsideLinks,
                                     .makeHoles = options.sparse,
                                     .allowInexactTimes = true};
  Progress progress(options.progress && !options.quiet);
  Destination destination(root, confinement, progress);
  FileSystemManager manager(*package, destination);
  enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  Leaves const leaves = selectedLeaves(manager, options);
  TransformMode const mode = options.raw ? TransformMode::None : TransformMode::Transform;
  ExtractionPlan plan = checkExtraction(manager, leaves, root, confinement, mode);
  destination.setFolders(std::move(plan.folders));
  progress.expect(plan.content);
  extract(manager, progress, root, leaves, options.restore ? RestoreMode::TimeAndPermissions : RestoreMode::None, mode);
  progress.finish();
  for (std::string const& warning : destination.warnings()) std::cerr << "ztpkg: unpack: " << warning << '\n';
  if (!options.quiet) printSummary(leaves, plan, progress);
}

}  // namespace ztpkg
