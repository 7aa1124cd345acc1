// SPDX-License-Identifier: Apache-2.0
// Lists the files of a package with their sizes: list_package PACKAGE
#include <exception>
#include <iostream>

#include "opc/ztservices.hpp"

using namespace opc;

int main(int count, char** arguments) try {
  if (count != 2) throw Exception("usage: list_package PACKAGE");
  auto const package = model::Package::open(arguments[1], model::AccessMode::ReadOnly);
  ztservices::FileSystemManager const files(*package);
  files.visitEntries([&](ztservices::FileSystemEntry const& entry) {
    std::cout << toUTF8String(escapeForDisplay(entry.getPathName()));
    if (entry.isFile()) std::cout << "  " << files.getSize(entry);
    if (entry.isLink()) std::cout << " -> " << toUTF8String(escapeForDisplay(files.getLinkTarget(entry)));
    std::cout << '\n';
  });
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
