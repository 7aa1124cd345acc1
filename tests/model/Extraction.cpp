// SPDX-License-Identifier: Apache-2.0
#include "model/Extraction.hpp"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"

namespace zt_model {
namespace {

namespace fs = std::filesystem;
using opc::toString;
using opc::ztservices::FileSystemEntry;
using opc::ztservices::RestoreMode;
using opc::ztservices::TransformMode;

/// What the disk has at a path, as far as the wanted entry says.
Node nodeAt(fs::path const& path, Node const& wanted) {
  Node node{Kind::Folder, opc::Perms::NotKnown, {}, wanted.type};
  if (fs::is_symlink(path)) {
    node.kind = Kind::Link;
    node.content = fs::read_symlink(path).string();
  } else if (fs::is_regular_file(path)) {
    node.kind = Kind::File;
    node.content = zt_test::readFile(path);
  }
  if (node.kind != Kind::File) return node;
  opc::LocalFileSystemOps disk;
  boost::system::error_code error;
  if (wanted.permissions != opc::Perms::NotKnown) node.permissions = disk.getPermissions(path.u16string(), error);
  if (!wanted.time.is_not_a_date_time()) node.time = disk.getLastModifiedTime(path.u16string(), error);
  return node;
}

/// Folders get no permissions and times, links begin below the root.
Node extracted(Node node, std::string const& root) {
  if (node.kind == Kind::Link && node.content.starts_with('/')) node.content.insert(0, root);
  if (node.kind != Kind::File) node.permissions = opc::Perms::NotKnown, node.time = {};
  return node;
}

/// A disk has nothing below a file or link.
bool isExtracted(Model const& model, std::u16string const& path, Node const& node) {
  return node.isReadable && !model.isBelowLeaf(path) && (node.kind != Kind::Folder || !model.hasChildren(path));
}

Entries wantedOf(Model const& model, std::string const& root) {
  Model wanted;
  for (auto const& [path, node] : model.entries)
    if (isExtracted(model, path, node)) wanted.set(path, extracted(node, root));
  return std::move(wanted.entries);
}

Entries foundBelow(fs::path const& root, Entries const& wanted) {
  Entries found;
  for (auto const& item : fs::recursive_directory_iterator(root)) {
    std::u16string const path = toString(item.path().string().substr(root.string().size()));
    auto const entry = wanted.find(path);
    found[path] = nodeAt(item.path(), entry == wanted.end() ? Node() : entry->second);
  }
  return found;
}

void extractReadable(World& world, std::u16string const& root) {
  auto const mode = RestoreMode::TimeAndPermissions;
  std::vector<FileSystemEntry> wanted;
  bool isWhole = true;
  for (auto const& [path, node] : world.model().entries) {
    isWhole = isWhole && node.isReadable && !world.model().isBelowLeaf(path);
    if (isExtracted(world.model(), path, node)) wanted.push_back(world.files().getEntry(path));
  }
  if (isWhole) return world.files().extractAll(root, mode, TransformMode::Transform);
  world.files().extractEntries(root, wanted, mode, TransformMode::Transform);
}

}  // namespace

void checkExtraction(World& world) {
  zt_test::TemporaryDirectory const directory;
  fs::path const root = directory / "out";
  world.attempt(true, [&] { extractReadable(world, root.u16string()); });
  Model wanted{wantedOf(world.model(), root.string()), {}}, found;
  found.entries = foundBelow(root, wanted.entries);
  std::string const difference = differenceOf(wanted, found);
  if (!difference.empty()) throw Deviation("On the disk " + difference);
}

}  // namespace zt_model
