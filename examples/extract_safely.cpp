// SPDX-License-Identifier: Apache-2.0
// Extracts a package that anybody may have made: extract_safely PACKAGE DESTINATION
#include <cstdint>
#include <exception>
#include <iostream>

#include "opc/ztservices.hpp"

using namespace opc;

int main(int count, char** arguments) try {
  if (count != 3) throw Exception("usage: extract_safely PACKAGE DESTINATION");
  model::OpenOptions limits;
  limits.maximumTotalBytes = std::uint64_t{1} << 30;  // as the package declares them; reading holds it to that
  limits.maximumItems = 100'000;
  auto const package = model::Package::open(arguments[1], model::AccessMode::ReadOnly, limits);
  // Whatever paths and links the package has, nothing outside of the destination is read or written.
  ConfinedFileSystemOps disk(arguments[2], {.replaceExisting = false});
  ztservices::FileSystemManager files(*package, disk, disk);
  files.extractAll(arguments[2]);
} catch (ztservices::UnsafeEntryPath const& error) {
  std::cerr << "refused: " << error.what() << '\n';
  return 2;
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
