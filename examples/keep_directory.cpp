// SPDX-License-Identifier: Apache-2.0
// Keeps a directory in a package and brings it back: keep_directory DIRECTORY PACKAGE DESTINATION
#include <exception>
#include <iostream>
#include <string>

#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"

using namespace opc;
using namespace opc::ztservices;

static void keep(std::u16string const& directory, std::u16string const& path) {
  auto package = model::Package::create(path);
  FileSystemManager files(*package);
  files.addAll(directory, TransformMode::None);
  package->save();  // writes the manifest too, and replaces the file in one step
}

static void restore(std::u16string const& path, std::u16string const& destination) {
  auto package = model::Package::open(path, model::AccessMode::ReadOnly);
  FileSystemManager files(*package);
  files.extractAll(destination, RestoreMode::TimeAndPermissions, TransformMode::None);
}

int main(int count, char** arguments) try {
  if (count != 4) throw Exception("usage: keep_directory DIRECTORY PACKAGE DESTINATION");
  keep(toString(arguments[1]), toString(arguments[2]));
  restore(toString(arguments[2]), toString(arguments[3]));
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
