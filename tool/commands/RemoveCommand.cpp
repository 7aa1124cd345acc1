// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "cli/Amounts.hpp"
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

}  // namespace

void remove(RemoveOptions const& options, Output& out) {
  if (options.meansAll(options.paths) && options.patterns.empty())
    throwUsage("PATH or --glob is required (see ztpkg remove --help)");
  noteSignals();
  std::vector<FileSystemEntry> entries;
  changePackage(options, [&] {
    EditedFileSystem edited(options, options.key);
    entries = findAll(edited.manager(), options);
    for (FileSystemEntry const& entry : entries)  // one may go with a folder, or be given twice
      if (edited.manager().hasEntry(entry.getPathName())) removeEntry(edited.manager(), entry);
    edited.save();
  });
  for (FileSystemEntry const& entry : entries) {
    if (!options.verbose) break;
    out.printName(entry.getPathName());
    out.print("\n");
  }
  out.close();
  if (!options.quiet) std::cerr << "removed " << counted(entries.size(), "path") << '\n';
}

}  // namespace ztpkg
