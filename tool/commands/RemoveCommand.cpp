// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/Changing.hpp"
#include "commands/Commands.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Glob.hpp"
#include "disk/Paths.hpp"
#include "disk/Selection.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

/// The first `count` names of the path.
std::u16string firstNames(std::u16string const& path, std::size_t count) {
  std::size_t end = path.starts_with(u'/') ? 0 : path.npos;  // the search starts behind it
  for (; count > 0; --count) end = path.find(u'/', end + 1);
  return path.substr(0, end);
}

/// The paths that the pattern matches, except those below another match.
std::set<std::u16string> pathsOf(FileSystemManager const& manager, std::string const& pattern) {
  Glob const glob(fromArgument(pattern));
  std::set<std::u16string> paths;
  manager.visitLeafs([&](FileSystemEntry const& leaf) {
    std::u16string const path = leaf.getPathName();
    if (std::size_t const names = glob.matchedNames(path)) paths.insert(firstNames(path, names));
  });
  if (paths.empty()) throwUnmatched(pattern);
  return paths;
}

/// Finds all entries before anything is removed.
std::vector<FileSystemEntry> findAll(FileSystemManager const& manager, RemoveOptions const& options) {
  std::vector<FileSystemEntry> entries;
  for (std::string const& path : options.paths) entries.push_back(findEntry(manager, path));
  for (std::string const& pattern : options.patterns)
    for (std::u16string const& path : pathsOf(manager, pattern)) entries.push_back(manager.getEntry(path));
  return entries;
}

/// `find .` lists the folder itself as well, which would empty the package.
void throwIfListNamesRoot(RemoveOptions const& options) {
  for (std::size_t i = std::min(options.patternCount, options.paths.size()); i < options.paths.size(); ++i)
    if (entryPath(options.paths[i]) == u"/") throwUsage("--files-from: a line names the whole tree");
}

bool isBelowAny(std::u16string const& path, std::set<std::u16string> const& others) {
  if (path != u"/" && others.contains(u"/")) return true;
  for (std::size_t slash = path.find(u'/', 1); slash != path.npos; slash = path.find(u'/', slash + 1))
    if (others.contains(path.substr(0, slash))) return true;
  return false;
}

/// Leaves each entry once, and no entry that goes with another one above it.
void keepHighest(std::vector<FileSystemEntry>& entries) {
  std::set<std::u16string> paths, kept;
  for (FileSystemEntry const& entry : entries) paths.insert(entry.getPathName());
  std::erase_if(entries, [&](FileSystemEntry const& entry) {
    return isBelowAny(entry.getPathName(), paths) || !kept.insert(entry.getPathName()).second;
  });
}

/// One attempt, on the package as it is now. Returns the paths that were removed, without those below them.
std::vector<std::u16string> removeOnce(RemoveOptions const& options) {
  EditedFileSystem edited(options, options.key);
  std::vector<FileSystemEntry> entries = findAll(edited.manager(), options);
  keepHighest(entries);
  std::vector<std::u16string> paths;
  for (FileSystemEntry const& entry : entries) {
    paths.push_back(entry.getPathName());
    removeEntry(edited.manager(), entry);
  }
  edited.save();
  return paths;
}

void print(std::vector<std::u16string> const& paths, RemoveOptions const& options, Stopwatch const& watch,
           Output& out) {
  if (options.json) {
    JsonObject document;
    document.add("removed", std::uint64_t{paths.size()}).add("packageBytes", sizeOfFile(fromArgument(options.package)));
    document.add("seconds", watch.elapsed());
    if (options.verbose) document.add("paths", paths);
    return document.print(out);
  }
  for (std::u16string const& path : paths)
    if (options.verbose) out.printName(path), out.print("\n");
  out.close();
  if (!options.quiet) std::cerr << "removed " << counted(paths.size(), "path") << '\n';
}

}  // namespace

void remove(RemoveOptions const& options, Output& out) {
  if (options.meansAll(options.paths) && options.patterns.empty())
    throwUsage("PATH or --glob is required (see ztpkg remove --help)");
  noteSignals();
  Stopwatch const watch;
  std::vector<std::u16string> paths;
  throwIfListNamesRoot(options);
  changePackage(options, [&] { paths = removeOnce(options); });
  print(paths, options, watch, out);
}

}  // namespace ztpkg
