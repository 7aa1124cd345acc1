// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <exception>
#include <iostream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
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
#include "opc/model/Exceptions.hpp"

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
  manager.setExtractionThreads(std::thread::hardware_concurrency());
  enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  Leaves leaves = selectedLeaves(manager, options);
  TransformMode const mode = options.raw ? TransformMode::None : TransformMode::Transform;
  ExtractionPlan plan = checkExtraction(manager, leaves, root, confinement, mode);
  std::vector<Report>& problems = plan.problems;
  if (leaves.empty() && !problems.empty()) throw Failure(std::move(problems));
  destination.setFolders(std::move(plan.folders));
  progress.expect(plan.content);
  RestoreMode const restore = options.restore ? RestoreMode::TimeAndPermissions : RestoreMode::None;
  std::ranges::move(extract(manager, root, leaves, restore, mode), std::back_inserter(problems));
  progress.finish();
  for (std::string const& warning : destination.warnings()) std::cerr << "ztpkg: unpack: " << warning << '\n';
  if (!options.quiet) printSummary(leaves, plan, progress);
  if (!problems.empty()) throw Failure(std::move(problems));
}

}  // namespace ztpkg
