// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <vector>

#include "Amounts.hpp"
#include "Commands.hpp"
#include "FileSystems.hpp"
#include "PackageKey.hpp"
#include "Process.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

/// All of them, before anything is removed.
std::vector<FileSystemEntry> findAll(FileSystemManager const& manager, std::vector<std::string> const& paths) {
  std::vector<FileSystemEntry> entries;
  for (std::string const& path : paths) entries.push_back(findEntry(manager, path));
  return entries;
}

/// Does nothing where it went with a folder that was removed before, or was given twice.
void removeEntry(FileSystemManager& manager, FileSystemEntry const& entry) {
  if (!manager.hasEntry(entry.getPathName())) return;
  if (entry.isFile())
    manager.deleteFile(entry);
  else if (entry.isLink())
    manager.deleteLink(entry);
  else
    manager.deleteFolder(entry);
}

}  // namespace

void remove(RemoveOptions const& options) {
  noteSignals();
  auto const package = openFileSystem(options.package, AccessMode::ReadWrite);
  FileSystemManager manager(*package);
  auto const key = enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  keepEncryption(manager, key.get(), options.key, options.package);
  std::vector<FileSystemEntry> const entries = findAll(manager, options.paths);
  for (FileSystemEntry const& entry : entries) removeEntry(manager, entry);
  throwIfInterrupted();
  package->save();
  if (!options.quiet) std::cerr << "removed " << counted(entries.size(), "path") << '\n';
}

}  // namespace ztpkg
