// SPDX-License-Identifier: Apache-2.0
// Adds a text to a package, which is made if it is not there: add_from_memory PACKAGE PATH TEXT
#include <exception>
#include <filesystem>
#include <iostream>
#include <span>
#include <string>

#include "opc/ztservices.hpp"

using namespace opc;

int main(int count, char** arguments) try {
  if (count != 4) throw Exception("usage: add_from_memory PACKAGE PATH TEXT");
  std::filesystem::path const path = arguments[1];
  std::string const text = arguments[3];
  auto const package = std::filesystem::exists(path) ? model::Package::open(path, model::AccessMode::ReadWrite)
                                                     : model::Package::create(path);
  ztservices::FileSystemManager files(*package);
  files.addFile(std::as_bytes(std::span(text)), arguments[2], Perms(0644));
  package->save();  // replaces the file in one step
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
