// SPDX-License-Identifier: Apache-2.0
#include "disk/FileSystems.hpp"

#include <cstddef>
#include <exception>
#include <string>
#include <utility>

#include "cli/Errors.hpp"
#include "disk/Paths.hpp"
#include "disk/StandardInput.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {

using opc::model::Package;
using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

std::u16string packagePath(std::string const& argument) {
  return argument == "-" ? pathOfStandardInput() : fromArgument(argument);
}

/// A message names the package as given: standard input and not the place of its copy.
std::unique_ptr<Package> openPackage(std::string const& path, AccessMode mode, bool force) try {
  return Package::open(packagePath(path), mode, {.openProtected = force});
} catch (opc::Exception const&) {
  Report report = describe(std::current_exception(), fromArgument(path)).front();
  if (path != "-") throw Failure(std::move(report));
  report.message = showing(u"standard input", std::move(report.message), pathOfStandardInput());
  throw Failure(std::move(report));
}

bool hasFileSystem(Package const& package) {
  return !package.getRelationshipsByType(FileSystemManager::getRelationshipType()).empty() ||
         !package.getRelationshipsByType(FileSystemManager::getRelationshipTypeV1()).empty();
}

void requireFileSystem(Package const& package, std::string const& path) {
  if (hasFileSystem(package)) return;
  std::u16string const name = fromArgument(path);
  std::string const message = shown(name) + " is a package without a file system ('ztpkg info' describes it)";
  throw Failure(Report{Exit::Package, "no-file-system", message, name});
}

std::unique_ptr<Package> openFileSystem(std::string const& path, AccessMode mode, bool force) {
  auto package = openPackage(path, mode, force);
  requireFileSystem(*package, path);
  return package;
}

std::u16string entryPath(std::string const& argument) {
  std::u16string path = fromArgument(argument);
  if (path.front() != u'/') path.insert(0, 1, u'/');
  while (path.size() > 1 && path.back() == u'/') path.pop_back();
  return path;
}

void load(FileSystemManager const& manager, std::string const& path) {
  try {
    manager.ensureLoaded();
  } catch (opc::Exception const& error) {
    std::u16string const name = fromArgument(path);
    Report report = describe(std::current_exception(), name).front();
    if (report.code == "invalid-content") report.message = "the file system of " + shown(name) + ": " + error.what();
    if (report.code == "key-required")
      report.message = "the file system of " + shown(name) + " is encrypted: its key is needed (--key-file)";
    if (report.code == "cannot-decrypt") report = cannotDecrypt("the file system of " + shown(name), name);
    throw Failure(std::move(report));
  }
}

std::u16string newEntryPath(std::string const& argument, std::string const& name) {
  if (argument.find('\\') != std::string::npos) throwUsage(name + ": a backslash would be taken for a separator");
  std::u16string const path = absolutePath(entryPath(argument));
  return path == u"/" ? u"" : path;
}

bool hasEntry(FileSystemManager const& manager, std::string const& argument) {
  return manager.hasEntry(entryPath(argument)) || manager.hasEntry(fromArgument(argument));
}

FileSystemEntry findEntry(FileSystemManager const& manager, std::string const& argument) {
  std::u16string const path = entryPath(argument);
  if (manager.hasEntry(path)) return manager.getEntry(path);
  std::u16string const asGiven = fromArgument(argument);  // a foreign manifest may have paths without the slash
  if (manager.hasEntry(asGiven)) return manager.getEntry(asGiven);
  throw Failure(Report{Exit::Package, "no-such-entry", "no entry " + shown(path) + " in the package", path});
}

void removeEntry(FileSystemManager& manager, FileSystemEntry const& entry) {
  if (entry.isFile()) return manager.deleteFile(entry);
  if (entry.isLink()) return manager.deleteLink(entry);
  manager.deleteFolder(entry);
}

Report cannotDecrypt(std::string const& what, std::u16string const& item) {
  return {Exit::Key, "cannot-decrypt", what + " cannot be decrypted: wrong key or password, or the data was modified",
          item};
}

void throwIfKeyIsMissing(FileSystemManager const& manager, FileSystemEntry const& file) {
  if (manager.isDecryptionEnabled() || !manager.isEncrypted(file)) return;
  std::u16string const path = file.getPathName();
  throw Failure(Report{Exit::Key, "key-required", shown(path) + " is encrypted: its key is needed (--key-file)", path});
}

}  // namespace ztpkg
