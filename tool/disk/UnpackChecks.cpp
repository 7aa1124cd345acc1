// SPDX-License-Identifier: Apache-2.0
#include "disk/UnpackChecks.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/SafePaths.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemManager;
using opc::ztservices::TransformMode;

/// Longer paths than the system takes at once are made folder by folder. No package that pack makes has longer ones.
bool isTooLong(std::u16string const& path) {
  constexpr std::size_t kLongestPath = 65'535;  // in bytes
  return path.size() > kLongestPath || opc::toUTF8String(path).size() > kLongestPath;
}

/// Whether nothing is extracted because of the path: it leads out of the directory, or is the directory.
bool isHostile(std::u16string const& path) {
  return path == u"/" || opc::findPathFault(path) == opc::PathFault::LeadsUpwards;
}

bool hasLongName(std::u16string const& path) {
  constexpr std::size_t kLongestName = 255;  // in bytes
  for (std::size_t start = 0, end = 0; end != path.npos; start = end + 1) {
    end = path.find(u'/', start);
    std::u16string const name = path.substr(start, end == path.npos ? end : end - start);
    if (opc::toUTF8String(name).size() > kLongestName) return true;
  }
  return false;
}

/// What is wrong with a path that a disk resolves to another place or refuses.
std::optional<Report> faultOf(std::u16string const& path) {
  if (isTooLong(path))
    return Report{Exit::Package, "unsafe-path",
                  "cannot extract a path of " + counted(path.size(), "character") +
                      ", which is too long: " + shown(path.substr(0, 64)) + "...",
                  path};
  if (isHostile(path) || opc::findPathFault(path) != opc::PathFault::None)
    return cannotExtract("unsafe-path", path, "its path would leave the directory or be ambiguous");
  if (hasLongName(path)) return cannotExtract("unsafe-path", path, "a name in its path is too long");
  return std::nullopt;
}

/// What is wrong with a link that no disk can hold.
std::optional<Report> faultOfLink(FileSystemManager const& manager, Leaf const& leaf, std::u16string const& root) {
  constexpr std::size_t kLongestTarget = 4095;  // in bytes
  if (!leaf.entry.isLink()) return std::nullopt;
  std::u16string const target = manager.getLinkTarget(leaf.entry);
  if (target.empty()) return cannotExtract("unsafe-path", leaf.path, "the link has no target");
  std::u16string const onDisk = target.starts_with(u'/') ? opc::LocalFileSystemOps().appendPath(root, target) : target;
  if (onDisk.size() <= kLongestTarget && opc::toUTF8String(onDisk).size() <= kLongestTarget) return std::nullopt;
  return cannotExtract("unsafe-path", leaf.path, "the target of the link is too long");
}

void throwIfHostile(Leaves const& leaves) {
  std::vector<Report> hostile;
  for (Leaf const& leaf : leaves)
    if (isHostile(leaf.path)) hostile.push_back(*faultOf(leaf.path));
  if (!hostile.empty()) throw Failure(std::move(hostile));
}

bool isBelowFileOrLink(FileSystemManager const& manager, std::u16string const& path, std::u16string const& previous) {
  bool isBelow = false;
  visitNewParents(path, previous, [&](std::u16string_view folder) {
    std::u16string const parent(folder);
    isBelow = manager.hasEntry(parent) && !manager.getEntry(parent).isFolder();
    return !isBelow;
  });
  return isBelow;
}

// Finds encrypted contents without a key before anything is written.
void addSize(ExtractionPlan& plan, FileSystemManager const& manager, Leaf const& leaf, TransformMode mode) {
  if (!leaf.entry.isFile()) return;
  if (mode == TransformMode::Transform) throwIfKeyIsMissing(manager, leaf.entry);
  std::uint64_t const bytes = manager.getSize(leaf.entry, mode);
  ++plan.content.files;
  plan.content.bytes += bytes;
  plan.stored += manager.getStoredSize(leaf.entry);
}

/// Leaves out the entry if it cannot be extracted.
bool accept(ExtractionPlan& plan, FileSystemManager const& manager, Leaf const& leaf, std::u16string const& previous,
            std::u16string const& root, TransformMode mode) {
  auto fault = faultOf(leaf.path);
  if (!fault) fault = faultOfLink(manager, leaf, root);
  if (fault) {
    plan.problems.push_back(std::move(*fault));
    return false;
  }
  if (isBelowFileOrLink(manager, leaf.path, previous)) {
    plan.problems.push_back(cannotExtract("unsafe-path", leaf.path, "it lies below a file or link"));
    return false;
  }
  try {
    addSize(plan, manager, leaf, mode);
    return true;
  } catch (opc::model::PartNotFound const& missing) {
    plan.problems.push_back(cannotExtract("missing-part", leaf.path, missing.what()));
    return false;
  }
}

void checkSpace(GivenDirectory const& destination, std::uint64_t needed) {
  std::u16string const folder = nearestThere(destination.root);
  std::error_code error;
  auto const space = std::filesystem::space(opc::toUTF8String(folder), error);
  if (error || space.capacity == 0 || needed <= space.available) return;  // tried where the disk reports no space
  throw Failure(namingFileSystem({Exit::Disk, "disk-full",
                                  "not enough space for " + shown(destination.given) + ": " + std::to_string(needed) +
                                      " bytes are needed, " + std::to_string(space.available) + " are free",
                                  destination.given},
                                 destination.root));
}

void checkLinks(FileSystemManager const& manager, Leaves const& leaves) {
  auto const isFolder = [&](std::u16string const& path) {
    return manager.hasEntry(path) && manager.getEntry(path).isFolder();
  };
  std::vector<Report> problems;
  for (Leaf const& leaf : leaves) {
    if (!leaf.entry.isLink()) continue;
    std::u16string const target = manager.getLinkTarget(leaf.entry);
    if (!opc::staysBeneathRoot(leaf.path, target, isFolder))
      problems.push_back({Exit::Package, "outside-link",
                          "cannot extract " + shown(leaf.path) + ": the link points out of the directory, to " +
                              shown(target) + " (--allow-outside-links allows it)",
                          leaf.path});
  }
  if (!problems.empty()) throw Failure(std::move(problems));
}

/// Finds, before anything is written, files on the disk that are in the way of a package's entries.
class ConflictCheck {
 public:
  ConflictCheck(opc::FileSystemOps& disk, GivenDirectory const& destination, bool replaceExisting)
      : disk_(&disk), destination_(destination), replaceExisting_(replaceExisting) {}

  /// Throws Failure if something is in the way of the entry at that path of the package. Fast for sorted paths.
  void check(std::u16string const& path, bool isFolder);
  /// The existing folders on the way to the entries.
  std::vector<std::u16string> takeFolders() { return std::move(folders_); }

 private:
  bool isThere(std::u16string const& path);
  bool checkFolder(std::u16string const& path);
  bool checkParents(std::u16string const& path);
  [[noreturn]] void refuse(char const* code, std::u16string const& path, std::string const& what) const;

  opc::FileSystemOps* disk_;
  GivenDirectory const& destination_;
  bool replaceExisting_;
  std::u16string previous_;  // the path that was checked last
  std::u16string missing_;   // the highest folder above it that is not on the disk, with a slash; or empty
  std::vector<std::u16string> folders_;
};

void ConflictCheck::check(std::u16string const& path, bool isFolder) {
  if (!checkParents(path)) return;
  if (isFolder) {
    checkFolder(path);
    return;
  }
  std::u16string const onDisk = disk_->appendPath(destination_.root, path);
  if (!isThere(onDisk)) return;
  bool const isReplaceable = disk_->isFile(onDisk) || disk_->isSymlink(onDisk);
  if (!isReplaceable && isOther(onDisk))
    refuse("file-in-the-way", onDisk, "is a fifo, socket or device, where a file or link is to be");
  if (!isReplaceable) refuse("folder-in-the-way", onDisk, "is a folder, where a file or link is to be");
  if (!replaceExisting_) refuse("already-exists", onDisk, "already exists (use --force to replace it)");
}

void ConflictCheck::refuse(char const* code, std::u16string const& path, std::string const& what) const {
  std::u16string const asGiven = destination_.asGiven(path);
  throw Failure(Report{Exit::Disk, code, shown(asGiven) + " " + what, asGiven});
}

bool ConflictCheck::isThere(std::u16string const& path) {
  boost::system::error_code error;
  bool const there = disk_->exists(path, error);
  if (error) throw Failure(diskReport("cannot-read", "cannot look at", destination_.asGiven(path), error));
  return there;
}

/// False if nothing is there.
bool ConflictCheck::checkFolder(std::u16string const& path) {
  std::u16string const onDisk = disk_->appendPath(destination_.root, path);
  if (!isThere(onDisk)) return false;
  if (disk_->isSymlink(onDisk)) refuse("link-in-the-way", onDisk, "is a link, where a folder is to be");
  if (disk_->isFile(onDisk)) refuse("file-in-the-way", onDisk, "is a file, where a folder is to be");
  if (isOther(onDisk)) refuse("file-in-the-way", onDisk, "is a fifo, socket or device, where a folder is to be");
  folders_.push_back(onDisk);
  return true;
}

/// False if one of them is missing: then nothing below can be in the way.
bool ConflictCheck::checkParents(std::u16string const& path) {
  if (!missing_.empty() && path.starts_with(missing_)) return false;
  missing_.clear();
  visitNewParents(path, previous_, [this](std::u16string_view parent) {
    if (checkFolder(std::u16string(parent))) return true;
    missing_ = std::u16string(parent) + u"/";
    return false;
  });
  previous_ = path;
  return missing_.empty();
}

}  // namespace

Report cannotExtract(char const* code, std::u16string const& path, std::string const& why) {
  return {Exit::Package, code, "cannot extract " + shown(path) + ": " + why, path};
}

ExtractionPlan checkExtraction(FileSystemManager const& manager, Leaves& leaves, GivenDirectory const& destination,
                               opc::Confinement const& confinement, TransformMode mode) {
  std::u16string previous;  // of the accepted ones: the folders above it need no second look
  ExtractionPlan plan;
  throwIfHostile(leaves);
  std::erase_if(leaves, [&](Leaf const& leaf) {
    bool const isAccepted = accept(plan, manager, leaf, previous, destination.root, mode);
    if (isAccepted) previous = leaf.path;
    return !isAccepted;
  });
  if (!confinement.allowOutsideLinks) checkLinks(manager, leaves);
  opc::LocalFileSystemOps disk;
  ConflictCheck conflicts(disk, destination, confinement.replaceExisting);
  for (Leaf const& leaf : leaves) conflicts.check(leaf.path, leaf.entry.isFolder());
  plan.folders = conflicts.takeFolders();
  if (!confinement.replaceExisting) checkSpace(destination, plan.content.bytes);  // replaced files free space
  return plan;
}

}  // namespace ztpkg
