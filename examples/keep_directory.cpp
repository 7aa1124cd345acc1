// SPDX-License-Identifier: Apache-2.0
// Keeps a directory in a package and brings it back: keep_directory DIRECTORY PACKAGE DESTINATION
#include <exception>
#include <filesystem>
#include <iostream>

#include "opc/ztservices.hpp"

using namespace opc;
using namespace opc::ztservices;

static void keep(std::filesystem::path const& directory, std::filesystem::path const& path) {
  auto package = model::Package::create(path);
  FileSystemManager files(*package);
  files.addAll(directory);
  package->save();  // writes the manifest too, and replaces the file in one step
}

static void restore(std::filesystem::path const& path, std::filesystem::path const& destination) {
  auto package = model::Package::open(path, model::AccessMode::ReadOnly);
  ConfinedFileSystemOps disk(destination);  // nothing outside of the destination is touched
  FileSystemManager files(*package, disk, disk);
  files.extractAll(destination);  // with times and permissions
}

int main(int count, char** arguments) try {
  if (count != 4) throw Exception("usage: keep_directory DIRECTORY PACKAGE DESTINATION");
  keep(arguments[1], arguments[2]);
  restore(arguments[2], arguments[3]);
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
