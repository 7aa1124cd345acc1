// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/Changing.hpp"
#include "commands/Commands.hpp"
#include "disk/FileSystems.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

[[noreturn]] void refuseToMove(char const* code, std::u16string const& path, std::string const& why) {
  throw Failure(Report{Exit::Disk, code, "cannot move to " + shown(path) + ": " + why, path});
}

/// The path that the entry gets: in an existing folder, or in one that the user marks by a slash, it keeps its name.
std::u16string destinationOf(FileSystemManager const& manager, FileSystemEntry const& entry, std::string const& to) {
  std::u16string const path = newEntryPath(to, "TO");
  std::u16string const asFolder = path.empty() ? u"/" : path;
  bool const isFolder = to.ends_with('/') || (manager.hasEntry(asFolder) && manager.getEntry(asFolder).isFolder());
  return isFolder ? path + u"/" + entry.getBaseName() : path;
}

void throwIfIntoItself(std::u16string const& from, std::u16string const& to) {
  if (from == u"/") throwUsage("/ cannot be moved");
  if (from == to || opc::isBelowPath(to, from))
    throwUsage(shown(from) + " cannot be moved onto or below itself, to " + shown(to));
}

/// Removes a file or link that is replaced.
void makeRoom(FileSystemManager& manager, FileSystemEntry const& moved, std::u16string const& path, bool force) {
  if (!manager.hasEntry(path)) return;
  FileSystemEntry const there = manager.getEntry(path);
  if (there.isFolder()) refuseToMove("folder-in-the-way", path, "there is a folder of that name");
  if (moved.isFolder())
    refuseToMove(there.isFile() ? "file-in-the-way" : "link-in-the-way", path, "a folder replaces nothing");
  if (manager.hasChildren(there)) refuseToMove("folder-in-the-way", path, "entries lie below it in the package");
  if (!force) refuseToMove("already-exists", path, "it is in the package already (use --force to replace it)");
  removeEntry(manager, there);
}

void throwIfBelowLeaf(FileSystemManager const& manager, std::u16string const& path) {
  for (std::size_t slash = path.find(u'/', 1); slash < path.size(); slash = path.find(u'/', slash + 1)) {
    std::u16string const above = path.substr(0, slash);
    if (!manager.hasEntry(above) || manager.getEntry(above).isFolder()) continue;
    bool const isFile = manager.getEntry(above).isFile();
    refuseToMove(isFile ? "file-in-the-way" : "link-in-the-way", path, shown(above) + " is no folder");
  }
}

/// The old and new paths of what moves: of the entry, or of the files, links and empty folders below it.
using Moves = std::vector<std::pair<std::u16string, std::u16string>>;

Moves movesOf(FileSystemManager const& manager, std::u16string const& from, std::u16string const& to) {
  Moves moves;
  manager.visitLeafs([&](FileSystemEntry const& leaf) {
    std::u16string const path = leaf.getPathName();
    if (path == from || opc::isBelowPath(path, from)) moves.emplace_back(path, to + path.substr(from.size()));
  });
  return moves;
}

std::string json(Moves const& moves) {
  std::string entries;
  for (auto const& [from, to] : moves)
    entries += (entries.empty() ? "" : ",") + JsonObject().add("from", from).add("to", to).text();
  return "[" + entries + "]";
}

void printLines(Moves const& moves, Output& out) {
  for (auto const& [from, to] : moves) {
    out.printName(from + u" -> " + to);
    out.print("\n");
  }
  out.close();
}

}  // namespace

void move(MoveOptions const& options, Output& out) {
  noteSignals();
  Stopwatch const watch;
  std::u16string from, to;
  Moves moves;
  changePackage(options, [&] {
    EditedFileSystem edited(options, options.key);
    FileSystemManager& manager = edited.manager();
    FileSystemEntry const entry = findEntry(manager, options.from);
    from = entry.getPathName();
    to = destinationOf(manager, entry, options.to);
    throwIfIntoItself(from, to);
    throwIfBelowLeaf(manager, to);
    makeRoom(manager, entry, to, options.force);
    if (options.verbose) moves = movesOf(manager, from, to);
    manager.moveEntry(entry, to);
    edited.save();
  });
  if (options.json) {
    JsonObject document;
    document.add("from", from).add("to", to).add("seconds", watch.elapsed());
    if (options.verbose) document.addText("entries", json(moves));
    return document.print(out);
  }
  if (options.verbose) printLines(moves, out);
  if (!options.quiet) std::cerr << "moved " << shown(from) << " to " << shown(to) << '\n';
}

}  // namespace ztpkg
