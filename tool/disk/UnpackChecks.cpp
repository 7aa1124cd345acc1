// SPDX-License-Identifier: Apache-2.0
#include "disk/UnpackChecks.hpp"

#include <filesystem>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "disk/FileSystems.hpp"
#include "disk/LinkTargets.hpp"
#include "disk/NewParents.hpp"
#include "disk/Paths.hpp"
#include "disk/WayCheck.hpp"
#include "opc/Strings.hpp"
#include "secrets/Keys.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::ztservices::FileSystemManager;

[[noreturn]] void throwUnsafe(std::u16string const& path, char const* why) {
  throw Failure(Report{Exit::Package, "unsafe-path", "cannot extract " + shown(path) + ": " + why, path});
}

// Every segment must name something in the folder before it, as a disk sees it.
void checkSegments(std::u16string const& path) {
  constexpr std::size_t kLongestName = 255, kLongestPath = 4095;  // in bytes, as disks count
  if (path.size() > kLongestPath || opc::toUTF8String(path).size() > kLongestPath)
    throw Failure(Report{Exit::Package, "unsafe-path",
                         "cannot extract a path of " + counted(path.size(), "character") +
                             ", which no disk takes: " + shown(path.substr(0, 64)) + "...",
                         path});
  for (std::size_t start = path.starts_with(u'/') ? 1 : 0, end = 0; end != path.npos; start = end + 1) {
    end = path.find(u'/', start);
    std::u16string const segment = path.substr(start, end == path.npos ? end : end - start);
    if (segment.empty() || segment == u"." || segment == u"..")
      throwUnsafe(path, "its path would leave the directory or be ambiguous");
    if (opc::toUTF8String(segment).size() > kLongestName) throwUnsafe(path, "a name in its path is too long");
    if (end == path.npos) break;
  }
}

void checkParents(FileSystemManager const& manager, std::u16string const& path, std::u16string const& previous) {
  visitNewParents(path, previous, [&](std::u16string_view folder) {
    std::u16string const parent(folder);
    if (manager.hasEntry(parent) && !manager.getEntry(parent).isFolder())
      throwUnsafe(path, "it lies below a file or link");
    return true;
  });
}

// A file whose contents are missing, or encrypted without a key being given, is found before anything is written.
void addCheckedSize(ExtractionSize& size, Package const& package, FileSystemManager const& manager, Leaf const& leaf,
                    bool raw) {
  if (!leaf.entry.isFile()) return;
  if (!raw) throwIfKeyIsMissing(package, manager, leaf.entry);
  opc::model::Part const part = package.getPart(opc::model::PartName(leaf.entry.getContentName()));
  ++size.content.files;
  size.content.bytes += raw ? part.getSize() : contentSize(part);
  size.stored += part.getStoredSize();
}

void checkSpace(std::u16string const& root, std::uint64_t needed) {
  std::u16string folder = root;
  while (folder != u"/" && !isThere(folder)) folder = parentOf(folder);
  std::error_code error;
  auto const space = std::filesystem::space(opc::toUTF8String(folder), error);
  if (error || space.capacity == 0 || needed <= space.available) return;  // a disk that does not tell is tried
  throw Failure(Report{Exit::Disk, "disk-full",
                       "not enough space for " + shown(root) + ": " + std::to_string(needed) + " bytes are needed, " +
                           std::to_string(space.available) + " are free",
                       root});
}

void checkLinks(FileSystemManager const& manager, Leaves const& leaves) {
  auto const isFolder = [&](std::u16string const& path) {
    return manager.hasEntry(path) && manager.getEntry(path).isFolder();
  };
  std::vector<Report> problems;
  for (Leaf const& leaf : leaves) {
    if (!leaf.entry.isLink()) continue;
    std::u16string const target = manager.getLinkTarget(leaf.entry);
    if (!leadsIntoTree(leaf.path, target, isFolder))
      problems.push_back({Exit::Package, "outside-link",
                          "cannot extract " + shown(leaf.path) + ": the link points out of the directory, to " +
                              shown(target) + " (--allow-outside-links makes it all the same)",
                          leaf.path});
  }
  if (!problems.empty()) throw Failure(std::move(problems));
}

}  // namespace

ExtractionSize checkExtraction(Package const& package, FileSystemManager const& manager, Leaves const& leaves,
                               std::u16string const& root, opc::Confinement const& confinement, bool raw) {
  std::u16string previous;
  ExtractionSize size;
  for (Leaf const& leaf : leaves) {
    checkSegments(leaf.path);
    checkParents(manager, leaf.path, previous);
    previous = leaf.path;
    addCheckedSize(size, package, manager, leaf, raw);
  }
  if (!confinement.allowOutsideLinks) checkLinks(manager, leaves);
  opc::LocalFileSystemOps disk;
  WayCheck way(disk, root, confinement.replaceExisting);
  for (Leaf const& leaf : leaves) way.check(leaf.path, leaf.entry.isFolder());
  if (!confinement.replaceExisting) checkSpace(root, size.content.bytes);  // what is replaced gives space back
  return size;
}

}  // namespace ztpkg
