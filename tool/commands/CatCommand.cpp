// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "commands/Commands.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Glob.hpp"
#include "disk/Paths.hpp"
#include "disk/Selection.hpp"

namespace ztpkg {

namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

/// The entry that an argument names must be a file.
FileSystemEntry fileAt(FileSystemManager const& manager, std::string const& argument) {
  FileSystemEntry entry = findEntry(manager, argument);
  if (entry.isFile()) return entry;
  std::u16string const path = entry.getPathName();
  std::string const kind = entry.isLink() ? " is a link, to " + shown(entry.getContentName()) : " is a folder";
  throw Failure(Report{Exit::Package, "not-a-file", shown(path) + kind, path});
}

/// In the order of the arguments; those of a pattern in the order of a listing.
std::vector<FileSystemEntry> filesOf(FileSystemManager const& manager, std::vector<std::string> const& arguments,
                                     NamesFile const& names) {
  std::vector<FileSystemEntry> files;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string const& argument = arguments[i];
    if (i >= names.patternCount || !isPattern(argument) || hasEntry(manager, argument)) {
      files.push_back(fileAt(manager, argument));
      continue;
    }
    std::size_t const before = files.size();
    Glob const glob(fromArgument(argument));
    manager.visitLeafs([&](FileSystemEntry const& entry) {
      if (entry.isFile() && glob.matches(entry.getPathName())) files.push_back(entry);
    });
    if (files.size() == before) throwUnmatched(argument);
  }
  return files;
}

void print(FileSystemManager& manager, FileSystemEntry const& file, Output& out) {
  try {
    auto const source = manager.getFileContentSource(file, opc::ztservices::TransformMode::Transform);
    opc::StreamHelper::copyStreamToStream(source->getInputStream(), out);
  } catch (opc::ztservices::CouldNotTransformContentData const&) {
    std::u16string const path = file.getPathName();
    throw Failure(cannotDecrypt(shown(path), path));
  }
}

}  // namespace

void cat(CatOptions const& options, Output& out) {
  Stopwatch const watch;
  auto const package = openFileSystem(options.package);
  FileSystemManager manager(*package);
  enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  std::vector<FileSystemEntry> const files = filesOf(manager, options.paths, options);
  for (FileSystemEntry const& file : files) throwIfKeyIsMissing(manager, file);
  for (FileSystemEntry const& file : files) print(manager, file, out);
  out.close();
  if (!options.json) return;
  std::uint64_t bytes = 0;
  for (FileSystemEntry const& file : files) bytes += manager.getSize(file);
  JsonObject document;
  document.add("files", std::uint64_t{files.size()}).add("bytes", bytes).add("seconds", watch.elapsed());
  document.printBesideData();
}

}  // namespace ztpkg
