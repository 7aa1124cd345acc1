// SPDX-License-Identifier: Apache-2.0
#include "disk/SourceTree.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <istream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>

#include "cli/Process.hpp"
#include "disk/CheckedStreams.hpp"
#include "disk/Paths.hpp"
#include "disk/TreeListing.hpp"
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
    : opc::ForwardingFileSystemOps(disk), root_(std::move(root)), rules_(std::move(rules)), progress_(&progress) {}

std::u16string SourceTree::diskPath(std::u16string const& path) const {
  std::u16string_view const below = std::u16string_view(path).substr(std::min(path.size(), rules_.place.size()));
  if (below.empty() || below == u"/") return root_;
  std::u16string onDisk;
  onDisk.reserve(root_.size() + below.size());
  if (root_ != u"/") onDisk.append(root_);
  onDisk.append(below);
  return onDisk;
}

std::u16string SourceTree::givenPath(std::u16string const& path) const {
  return GivenDirectory{rules_.given, root_}.asGiven(diskPath(path));
}

void SourceTree::survey() {
  if (!rules_.only.empty()) {
    ListedItem item = singleSource();
    takeLeaf(item);
  } else {
    if (!rules_.place.empty()) folders_.push_back(rules_.place);
    if (rules_.named) missing_ = *rules_.named;
    TreeListing listing(
        {rules_.given, root_}, [this](std::u16string const& path) { return !isWanted(path); }, rules_.oneFileSystem);
    problems_ = std::move(listing.faults);
    for (Report& fault : problems_)
      if (fault.code == "bad-name") fault.message.insert(0, "cannot store ");
    for (ListedItem& item : listing.items) take(item);
    addMissing();
  }
  if (rules_.keepGoing) keepUnreadable();
  std::ranges::stable_sort(problems_, {}, &Report::item);
  if (!problems_.empty()) throw Failure(std::move(problems_));
}

/// Turns problems of reading into faults that end nothing.
void SourceTree::keepUnreadable() {
  auto const isOther = [](Report const& report) { return report.code != "cannot-read"; };
  auto const unreadable = std::stable_partition(problems_.begin(), problems_.end(), isOther);
  std::move(unreadable, problems_.end(), std::back_inserter(faults_));
  problems_.erase(unreadable, problems_.end());
}

ListedItem SourceTree::singleSource() const {
  std::u16string path = rules_.place + u"/" + rules_.only;
  std::u16string const onDisk = diskPath(path);
  ListedItem item = listItem(AT_FDCWD, opc::toUTF8String(onDisk).c_str(), std::move(path));
  if (item.error == 0 && item.kind != ListedItem::Kind::File && item.kind != ListedItem::Kind::Link)
    throw Failure(Report{Exit::Disk, "cannot-read",
                         shown(givenPath(item.path)) + " is neither file, link nor directory", givenPath(item.path)});
  return item;
}

void SourceTree::restrictTo(Paths const& paths) {
  auto const isKept = [&](std::u16string const& path) { return std::ranges::binary_search(paths, path); };
  std::size_t kept = 0;
  linkCount_ = fileBytes_ = 0;
  for (std::size_t i = 0; i < leaves_.size(); ++i) {
    if (!isKept(leaves_[i])) continue;
    isLinkLeaf(i) ? ++linkCount_ : fileBytes_ += facts_[i].identity.size;
    std::swap(leaves_[kept], leaves_[i]);
    facts_[kept++] = facts_[i];
  }
  leaves_.resize(kept);
  facts_.resize(kept);
  std::erase_if(folders_, [&](std::u16string const& folder) { return !isKept(folder); });
}

bool SourceTree::isExcluded(std::u16string const& path) const {
  return std::ranges::any_of(rules_.exclude, [&](Glob const& glob) { return glob.matches(path); });
}

bool SourceTree::isWanted(std::u16string const& path) {
  missing_.erase(path);
  return !isExcluded(path) && (isNamed(path) || leadsToNamed(path));
}

/// Whether the path or a folder above it is named.
bool SourceTree::isNamed(std::u16string const& path) const {
  if (!rules_.named) return true;
  for (std::size_t slash = path.find(u'/', 1); slash != path.npos; slash = path.find(u'/', slash + 1))
    if (rules_.named->contains(path.substr(0, slash))) return true;
  return rules_.named->contains(path);
}

bool SourceTree::leadsToNamed(std::u16string const& path) const {
  std::u16string const below = path + u"/";
  auto const next = rules_.named->lower_bound(below);
  return next != rules_.named->end() && next->starts_with(below);
}

/// Paths that are named and were not met. A link on the way leads out of the tree.
void SourceTree::addMissing() {
  for (std::u16string const& path : missing_)
    if (!isExcluded(path)) addProblem(Exit::Disk, "cannot-read", "the directory has nothing of that name", path);
}

void SourceTree::checkName(std::u16string const& path) {
  if (char const* const fault = faultOf(baseName(path)))
    addProblem(Exit::Package, "bad-name", std::string("the name ") + fault, path);
}

void SourceTree::take(ListedItem& item) {
  if (!rules_.place.empty()) item.path.insert(0, rules_.place);
  using Kind = ListedItem::Kind;
  if (item.kind == Kind::File || item.kind == Kind::Link) return takeLeaf(item);
  if (item.kind == Kind::Folder) {
    if (!isNamed(item.path)) return;  // it is on the way
    checkName(item.path);
    folders_.push_back(std::move(item.path));
  } else {
    char const* const what = item.kind == Kind::Fifo ? "fifo" : item.kind == Kind::Socket ? "socket" : "device";
    specials_.emplace_back(std::move(item.path), what);
  }
}

void SourceTree::takeLeaf(ListedItem& item) {
  if (leavesOut(item)) return;
  checkName(item.path);
  if (item.kind == ListedItem::Kind::Link) return takeLink(item.path);
  if (item.error != 0)
    addProblem(Exit::Disk, "cannot-read", ErrorCode(item.error, boost::system::system_category()).message(), item.path);
  if (item.error != 0 && rules_.keepGoing) return;
  if (item.facts.identity.size > rules_.longestFile)
    addProblem(Exit::Package, "too-long",
               "it has " + std::to_string(item.facts.identity.size) + " bytes, and no more than " +
                   std::to_string(rules_.longestFile) + " can be encrypted",
               item.path);
  fileBytes_ += item.facts.identity.size;
  facts_.push_back(item.facts);
  leaves_.push_back(std::move(item.path));
}

bool SourceTree::leavesOut(ListedItem const& item) {
  bool const isOwn = std::ranges::find(rules_.ownFiles, diskPath(item.path)) != rules_.ownFiles.end();
  if (isOwn) leftOut_.emplace_back(item.path, "which is the package itself");
  if (isOwn || !isLeftover(baseName(item.path))) return isOwn;
  leftOut_.emplace_back(item.path, "a temporary file of a command that was killed or still runs");
  return true;
}

void SourceTree::takeLink(std::u16string const& path) {
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
    leftOut_.emplace_back(path, "which points out of the directory");
    return;
  }
  if (outside)
    addProblem(Exit::Package, "outside-link", "the link points out of the directory, to " + shown(target), path);
  if (char const* const fault = faultOf(target))
    addProblem(Exit::Package, "bad-name", "the link's target " + shown(target) + " " + fault, path);
  ++linkCount_;
  facts_.push_back({});
  leaves_.push_back(path);
}

std::vector<std::string> SourceTree::leftOut() const {
  constexpr std::size_t kMostSpecials = 10;
  std::vector<std::string> lines;
  auto const nameOf = [this](std::u16string const& path) { return "left out " + shown(givenPath(path)); };
  for (auto const& [path, reason] : leftOut_) lines.push_back(nameOf(path) + ", " + reason);
  std::size_t const told = std::min(specials_.size(), kMostSpecials);
  for (std::size_t i = 0; i < told; ++i)
    lines.push_back(nameOf(specials_[i].first) + ", which is a " + specials_[i].second);
  if (std::size_t const rest = specials_.size() - told)
    lines.push_back("left out " + std::to_string(rest) + " more fifos, sockets and devices");
  return lines;
}

std::optional<std::u16string> SourceTree::targetWithinRoot(std::u16string const& target) const {
  if (auto found = targetBelow(target, root_)) return found;
  for (std::u16string const& other : rules_.otherRoots)
    if (auto found = targetBelow(target, other)) return found;
  return std::nullopt;
}

void SourceTree::addProblem(Exit exit, std::string code, std::string const& message, std::u16string const& path) {
  std::u16string const asGiven = givenPath(path);
  problems_.push_back({exit, std::move(code), "cannot store " + shown(asGiven) + ": " + message, asGiven});
}

void SourceTree::throwChanged(std::u16string const& path) const {
  std::u16string const asGiven = givenPath(path);
  throw Failure(Report{Exit::Disk, "file-changed", shown(asGiven) + " changed while it was read", asGiven});
}

void SourceTree::checkLastFile() {
  noteChange();
  LastFile const last = std::exchange(lastFile_, {});
  if (!last.hasChanged) return;
  try {
    throwChanged(last.path);
  } catch (Failure const& failure) {
    if (!tolerates(failure)) throw;
    broken_.push_back(last.path);
  }
}

void SourceTree::noteChange() {
  if (!lastFile_.getIdentityNow) return;
  lastFile_.hasChanged = lastFile_.getIdentityNow() != lastFile_.identity;
  lastFile_.getIdentityNow = nullptr;
}

/// The survey's checks are of that file. Another one may have come in its place since then, by a link on the way too.
void SourceTree::checkIsListed(std::u16string const& path, opc::OpenedFile const& file) {
  auto const next = leaves_.begin() + static_cast<std::ptrdiff_t>(nextLeaf_);  // mostly files come in their order
  auto const leaf = next != leaves_.end() && *next == path ? next : std::ranges::lower_bound(leaves_, path);
  if (leaf == leaves_.end() || *leaf != path) return;
  nextLeaf_ = static_cast<std::size_t>(leaf - leaves_.begin()) + 1;
  opc::FileIdentity const& listed = facts_[nextLeaf_ - 1].identity;
  if (!file.identity || !file.identity->isOfSameFile(listed)) throwChanged(path);
}

bool SourceTree::isFile(std::u16string const& path) {
  return (ahead_ && ahead_->holdsNext(path)) || inner().isFile(diskPath(path));
}

bool SourceTree::isSymlink(std::u16string const& path) { return inner().isSymlink(diskPath(path)); }

void SourceTree::checkAdded(std::function<bool(std::u16string const& path)> const& isAdded) {
  for (std::u16string const& leaf : leaves_) {
    if (isAdded(leaf)) continue;
    try {
      throwChanged(leaf);
    } catch (Failure const& failure) {
      if (!tolerates(failure)) throw;
    }
  }
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

std::optional<std::uint64_t> SourceTree::getFileSize(std::u16string const& path) {
  return inner().getFileSize(diskPath(path));
}

opc::OpenedFile SourceTree::openForAdding(std::u16string const& path) {
  checkLastFile();
  throwIfInterrupted();
  try {
    return openListed(path);
  } catch (Failure const& failure) {
    if (!tolerates(failure)) throw;
    broken_.push_back(path);
  }
  opc::OpenedFile nothing;
  nothing.content = std::make_unique<std::istringstream>();
  return nothing;
}

bool SourceTree::tolerates(Failure const& failure) {
  if (rules_.keepGoing) faults_.push_back(failure.reports().front());
  return rules_.keepGoing;
}

opc::OpenedFile SourceTree::openListed(std::u16string const& path) {
  std::u16string const asGiven = givenPath(path);
  opc::OpenedFile file = readerAhead().openForAdding(path);
  auto const check = [&](ErrorCode const& error, char const* what) {
    if (error) throw Failure(diskReport("cannot-read", what, asGiven, error));
  };
  check(file.openError, "cannot read");
  check(file.permissionsError, "cannot read the permissions of");
  check(file.timeError, "cannot read the time of");
  checkIsListed(path, file);
  lastFile_ = {.path = path,
               .identity = file.identity.value_or(opc::FileIdentity{}),
               .getIdentityNow = file.identity ? std::exchange(file.getIdentityNow, nullptr) : nullptr,
               .hasChanged = false};
  progress_->addFile();
  file.content = std::make_unique<CheckedInput>(std::move(file.content), asGiven, *progress_, [this] { noteChange(); });
  return file;
}

FilesAhead& SourceTree::readerAhead() {
  if (!ahead_)
    ahead_ = std::make_unique<FilesAhead>(inner(), leaves_, facts_,
                                          [this](std::u16string const& path) { return diskPath(path); });
  return *ahead_;
}

}  // namespace ztpkg
