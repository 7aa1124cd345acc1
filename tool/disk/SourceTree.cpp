// SPDX-License-Identifier: Apache-2.0
#include "disk/SourceTree.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <future>
#include <ios>
#include <istream>
#include <string_view>
#include <utility>

#include "cli/Process.hpp"
#include "disk/CheckedStreams.hpp"
#include "opc/SafePaths.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

std::u16string_view baseName(std::u16string_view path) { return path.substr(path.rfind(u'/') + 1); }

// What XML 1.0 cannot carry, 2.2; lone surrogates cannot come from a disk.
bool isUnstorable(char16_t unit) {
  return (unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r') || unit == 0xFFFE || unit == 0xFFFF;
}

// Why a name or link target cannot be kept; null where it can.
char const* faultOf(std::u16string_view text) {
  if (text.find(u'\\') != std::u16string_view::npos) return "has a backslash, which would be taken for a separator";
  return std::ranges::any_of(text, isUnstorable) ? "has a character that XML cannot carry" : nullptr;
}

/// The target as a path of a tree whose root is `root`; none for one that points elsewhere, or climbs out on its way.
std::optional<std::u16string> targetBelow(std::u16string const& target, std::u16string const& root) {
  if (!target.starts_with(root)) return std::nullopt;
  std::u16string rest = target.substr(root == u"/" ? 0 : root.size());
  if (rest.empty()) return u"/";
  bool const stays =
      rest.front() == u'/' && opc::staysBeneathRoot(u"/", rest, [](std::u16string const&) { return true; });
  return stays ? std::optional(std::move(rest)) : std::nullopt;
}

}  // namespace

SourceTree::SourceTree(opc::FileSystemOps& disk, std::u16string root, Rules rules, Progress& progress)
    : ForwardingOps(disk), root_(std::move(root)), rules_(std::move(rules)), progress_(&progress) {}

std::u16string SourceTree::diskPath(std::u16string const& path) const {
  std::u16string_view const below = std::u16string_view(path).substr(std::min(path.size(), rules_.place.size()));
  if (below.empty() || below == u"/") return root_;
  std::u16string onDisk;
  onDisk.reserve(root_.size() + below.size());
  if (root_ != u"/") onDisk.append(root_);
  onDisk.append(below);
  return onDisk;
}

void SourceTree::survey() {
  std::future<Paths> files = std::async([this] { return listed(false); });  // beside the folders, where threads are
  for (std::u16string& path : listed(true)) {
    if (isExcluded(path)) continue;
    checkName(path);
    folders_.push_back(std::move(path));
  }
  Paths found = files.get();
  std::erase_if(found, [this](std::u16string const& path) { return isExcluded(path); });
  std::vector<FileStatus> const statuses = statusesOf(found);
  for (std::size_t i = 0; i < found.size(); ++i) {
    throwIfInterrupted();
    checkLeaf(found[i], statuses[i]);
  }
  if (!problems_.empty()) throw Failure(std::move(problems_));
}

ForwardingOps::Paths SourceTree::listed(bool folders) {
  if (!rules_.only.empty()) return folders ? Paths() : singleSource();
  Paths paths = listedOnDisk(folders);
  if (folders && !rules_.place.empty()) paths.insert(paths.begin(), root_);
  std::size_t const rootLength = root_ == u"/" ? 0 : root_.size();
  for (std::u16string& path : paths) path.replace(0, rootLength, rules_.place);
  return paths;
}

ForwardingOps::Paths SourceTree::singleSource() const {
  std::u16string path = rules_.place + u"/" + rules_.only;
  std::u16string const onDisk = diskPath(path);
  if (!inner().isFile(onDisk) && !inner().isSymlink(onDisk))
    throw Failure(Report{Exit::Disk, "cannot-read", shown(onDisk) + " is neither file, link nor directory", onDisk});
  return {std::move(path)};
}

ForwardingOps::Paths SourceTree::listedOnDisk(bool folders) {
  Paths paths;
  ErrorCode error;
  try {
    if (folders)
      inner().getFolders(root_, paths, true, error);
    else
      inner().getFiles(root_, paths, true, error);
  } catch (opc::InvalidText const& invalid) {  // the listing ends there: the others cannot be told
    throw Failure(Report{Exit::Package, "bad-name", invalid.what(), root_});
  }
  if (error) throw Failure(diskReport("cannot-read", "cannot list", unreadableFolder(root_), error));
  return paths;
}

// The listing does not say which folder it failed at.
std::u16string SourceTree::unreadableFolder(std::u16string const& folder) {
  Paths below;
  ErrorCode error;
  inner().getFolders(folder, below, false, error);
  if (error) return folder;
  for (std::u16string const& next : below)
    if (std::u16string found = unreadableFolder(next); !found.empty()) return found;
  return folder == root_ ? root_ : u"";
}

bool SourceTree::isExcluded(std::u16string const& path) const {
  return std::ranges::any_of(rules_.exclude, [&](Glob const& glob) { return glob.matches(path); });
}

void SourceTree::checkName(std::u16string const& path) {
  if (char const* const fault = faultOf(baseName(path)))
    addProblem(Exit::Package, "bad-name", std::string("the name ") + fault, path);
}

SourceTree::FileStatus SourceTree::statusOf(std::u16string const& path) const {
  std::string const native = opc::toUTF8String(diskPath(path));
  FileStatus status;
  struct stat found {};
  if (lstat(native.c_str(), &found) == 0) {
    status.isLink = S_ISLNK(found.st_mode);
    if (!status.isLink) status.size = static_cast<std::uint64_t>(found.st_size);
  }
  if (!status.isLink && faccessat(AT_FDCWD, native.c_str(), R_OK, AT_EACCESS) != 0) status.error = errno;
  return status;
}

/// In the order of the paths. Where threads are, one of them does the second half.
std::vector<SourceTree::FileStatus> SourceTree::statusesOf(Paths const& paths) const {
  std::vector<FileStatus> statuses(paths.size());
  auto const fill = [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) {
      throwIfInterrupted();
      statuses[i] = statusOf(paths[i]);
    }
  };
  constexpr std::size_t kWorthAThread = 64;
  std::size_t const middle = paths.size() < kWorthAThread ? paths.size() : paths.size() / 2;
  std::future<void> rest;
  if (middle < paths.size()) rest = std::async([&] { fill(middle, paths.size()); });
  fill(0, middle);
  if (rest.valid()) rest.get();
  return statuses;
}

void SourceTree::checkLeaf(std::u16string const& path, FileStatus const& status) {
  std::u16string const onDisk = diskPath(path);
  if (std::ranges::find(rules_.ownFiles, onDisk) != rules_.ownFiles.end()) {
    skippedOwn_.push_back(path);
    return;
  }
  checkName(path);
  if (status.isLink) return checkLink(path);
  fileBytes_ += status.size;
  if (status.error != 0)
    addProblem(Exit::Disk, "cannot-read", ErrorCode(status.error, boost::system::system_category()).message(), path);
  leaves_.push_back(path);
}

void SourceTree::checkLink(std::u16string const& path) {
  std::u16string target;
  try {
    target = inner().getLinkTarget(diskPath(path));
  } catch (opc::InvalidText const& invalid) {
    addProblem(Exit::Package, "bad-name", invalid.what(), path);
    return;
  } catch (opc::Exception const& error) {
    addProblem(Exit::Disk, "cannot-read", error.getErrorCode().message(), path);
    return;
  }
  bool const outside = target.starts_with(u'/') && !targetWithinRoot(target);
  if (outside && rules_.skipOutsideLinks) {
    skippedLinks_.push_back(path);
    return;
  }
  if (outside)
    addProblem(Exit::Package, "outside-link", "the link points out of the directory, to " + shown(target), path);
  if (char const* const fault = faultOf(target))
    addProblem(Exit::Package, "bad-name", "the link's target " + shown(target) + " " + fault, path);
  ++linkCount_;
  leaves_.push_back(path);
}

std::optional<std::u16string> SourceTree::targetWithinRoot(std::u16string const& target) const {
  if (auto found = targetBelow(target, root_)) return found;
  for (std::u16string const& other : rules_.otherRoots)
    if (auto found = targetBelow(target, other)) return found;
  return std::nullopt;
}

void SourceTree::addProblem(Exit exit, std::string code, std::string const& message, std::u16string const& path) {
  std::u16string const onDisk = diskPath(path);
  problems_.push_back({exit, std::move(code), "cannot store " + shown(onDisk) + ": " + message, onDisk});
}

void SourceTree::throwChanged(std::u16string const& path) const {
  std::u16string const onDisk = diskPath(path);
  throw Failure(Report{Exit::Disk, "file-changed", shown(onDisk) + " changed while it was read", onDisk});
}

void SourceTree::checkLastFile() {
  if (lastFile_.empty()) return;
  ErrorCode error;
  bool const same = isLastFixed_ || (inner().getLastModifiedTime(diskPath(lastFile_), error) == lastTime_ && !error);
  if (!same) throwChanged(lastFile_);
  lastFile_.clear();
}

bool SourceTree::isFile(std::u16string const& path) { return inner().isFile(diskPath(path)); }

bool SourceTree::isSymlink(std::u16string const& path) {
  std::u16string const onDisk = diskPath(path);
  if (inner().isSymlink(onDisk)) return true;
  if (!inner().isFile(onDisk)) throwChanged(path);
  return false;
}

void SourceTree::getFiles(std::u16string const&, Paths& files, bool, ErrorCode& error) {
  error.clear();
  files = leaves_;
}

std::u16string SourceTree::getLinkTarget(std::u16string const& path) {
  std::u16string target = inner().getLinkTarget(diskPath(path));
  if (!target.starts_with(u'/')) return target;
  if (auto const within = targetWithinRoot(target))
    return *within == u"/" && !rules_.place.empty() ? rules_.place : rules_.place + *within;
  throwChanged(path);
}

std::unique_ptr<std::istream> SourceTree::createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                            ErrorCode& error) {
  return inner().createInputStream(diskPath(path), mode, error);
}

opc::Perms::Perms_tag SourceTree::getPermissions(std::u16string const& path, ErrorCode& error) {
  return inner().getPermissions(diskPath(path), error);
}

boost::posix_time::ptime SourceTree::getLastModifiedTime(std::u16string const& path, ErrorCode& error) {
  return inner().getLastModifiedTime(diskPath(path), error);
}

opc::OpenedFile SourceTree::openForAdding(std::u16string const& path) {
  checkLastFile();
  throwIfInterrupted();
  std::u16string const onDisk = diskPath(path);
  opc::OpenedFile file = readerAhead().openForAdding(onDisk);
  auto const check = [&](ErrorCode const& error, char const* what) {
    if (error) throw Failure(diskReport("cannot-read", what, onDisk, error));
  };
  check(file.openError, "cannot read");
  check(file.permissionsError, "cannot read the permissions of");
  check(file.timeError, "cannot read the time of");
  lastFile_ = path;
  isLastFixed_ = FilesAhead::isHeld(file);
  lastTime_ = file.time;
  progress_->addFile();
  file.content = std::make_unique<CheckedInput>(std::move(file.content), onDisk, *progress_);
  return file;
}

FilesAhead& SourceTree::readerAhead() {
  if (ahead_) return *ahead_;
  Paths onDisk;
  onDisk.reserve(leaves_.size());
  for (std::u16string const& path : leaves_) onDisk.push_back(diskPath(path));
  ahead_ = std::make_unique<FilesAhead>(inner(), std::move(onDisk));
  return *ahead_;
}

}  // namespace ztpkg
