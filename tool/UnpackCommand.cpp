// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <unordered_set>

#include "Commands.hpp"
#include "DestinationTree.hpp"
#include "Errors.hpp"
#include "FileSystems.hpp"
#include "Paths.hpp"
#include "Process.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

struct Leaf {
  std::u16string path;
  FileSystemEntry entry;
};
using Leaves = std::vector<Leaf>;

bool isAtOrBelow(std::u16string const& path, std::u16string const& folder) {
  return folder == u"/" || (path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == u'/'));
}

// What is to be extracted, links last: nothing is ever written through one of them.
Leaves selectedLeaves(FileSystemManager const& manager, std::vector<std::string> const& arguments) {
  std::vector<std::u16string> wanted;
  wanted.reserve(arguments.size());
  for (std::string const& argument : arguments) wanted.push_back(findEntry(manager, argument).getPathName());
  Leaves leaves;
  for (FileSystemEntry const& entry : manager.getAllLeafs()) {
    std::u16string path = entry.getPathName();
    if (wanted.empty() || std::ranges::any_of(wanted, [&](auto const& folder) { return isAtOrBelow(path, folder); }))
      leaves.push_back({std::move(path), entry});
  }
  std::stable_partition(leaves.begin(), leaves.end(), [](Leaf const& leaf) { return !leaf.entry.isLink(); });
  return leaves;
}

[[noreturn]] void throwUnsafe(std::u16string const& path, char const* why) {
  throw Failure(Report{Exit::Package, "unsafe-path", "cannot extract " + shown(path) + ": " + why, path});
}

// Every segment must name something in the folder before it, as a disk sees it.
void checkSegments(std::u16string const& path) {
  constexpr std::size_t kLongestName = 255;
  for (std::size_t start = path.starts_with(u'/') ? 1 : 0, end = 0; end != path.npos; start = end + 1) {
    end = path.find(u'/', start);
    std::u16string const segment = path.substr(start, end == path.npos ? end : end - start);
    if (segment.empty() || segment == u"." || segment == u"..")
      throwUnsafe(path, "its path would leave the directory or be ambiguous");
    if (opc::toUTF8String(segment).size() > kLongestName) throwUnsafe(path, "a name in its path is too long");
    if (end == path.npos) break;
  }
}

void checkParents(FileSystemManager const& manager, std::u16string const& path,
                  std::unordered_set<std::u16string>& checked) {
  for (std::size_t slash = path.rfind(u'/'); slash != 0 && slash != path.npos; slash = path.rfind(u'/', slash - 1)) {
    std::u16string const parent = path.substr(0, slash);
    if (!checked.insert(parent).second) return;
    if (manager.hasEntry(parent) && !manager.getEntry(parent).isFolder())
      throwUnsafe(path, "it lies below a file or link");
  }
}

// A file whose contents are missing or encrypted is found before anything is written.
std::uint64_t checkedSize(Package const& package, Leaf const& leaf) {
  if (!leaf.entry.isFile()) return 0;
  if (isEncrypted(package, leaf.entry))
    throw Failure(Report{Exit::Key, "key-required", shown(leaf.path) + " is encrypted", leaf.path});
  return package.getPart(opc::model::PartName(leaf.entry.getContentName())).getSize();
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

void checkAll(Package const& package, FileSystemManager const& manager, DestinationTree& destination,
              Leaves const& leaves, bool force) {
  std::unordered_set<std::u16string> checked;
  std::uint64_t bytes = 0;
  for (Leaf const& leaf : leaves) {
    checkSegments(leaf.path);
    checkParents(manager, leaf.path, checked);
    bytes += checkedSize(package, leaf);
  }
  for (Leaf const& leaf : leaves) destination.checkPlace(leaf.path, leaf.entry.isFolder());
  if (!force) checkSpace(destination.root(), bytes);  // with it, what is replaced gives space back
}

void extract(FileSystemManager& manager, DestinationTree& destination, Leaves const& leaves, bool restore) {
  using opc::ztservices::RestoreMode;
  boost::system::error_code error;
  destination.createFolders(destination.root(), error);  // throws itself; a package may hold nothing
  for (Leaf const& leaf : leaves)
    manager.extractEntry(destination.root(), leaf.entry, restore ? RestoreMode::TimeAndPermissions : RestoreMode::None,
                         opc::ztservices::TransformMode::Transform);
}

void tellExtracted(Leaves const& leaves) {
  auto const count = [&](bool (FileSystemEntry::*kind)() const) {
    return static_cast<std::size_t>(
        std::ranges::count_if(leaves, [&](Leaf const& leaf) { return (leaf.entry.*kind)(); }));
  };
  std::cerr << "extracted " << counted(count(&FileSystemEntry::isFile), "file") << ", "
            << counted(count(&FileSystemEntry::isFolder), "empty folder") << " and "
            << counted(count(&FileSystemEntry::isLink), "link") << '\n';
}

}  // namespace

void unpack(UnpackOptions const& options) {
  noteSignals();
  auto const package = openFileSystem(options.package);
  std::u16string const directory = fromArgument(options.directory);
  opc::LocalFileSystemOps disk;
  DestinationTree destination(disk, isThere(directory) ? existingDirectory(directory) : resolvedPath(directory),
                              options.force ? Overwrite::Replace : Overwrite::Refuse);
  FileSystemManager manager(*package, destination, destination);
  load(manager, options.package);
  Leaves const leaves = selectedLeaves(manager, options.paths);
  checkAll(*package, manager, destination, leaves, options.force);
  extract(manager, destination, leaves, options.restore);
  if (!options.quiet) tellExtracted(leaves);
}

}  // namespace ztpkg
