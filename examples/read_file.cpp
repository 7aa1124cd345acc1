// SPDX-License-Identifier: Apache-2.0
// Reads one file of a package into memory and prints it: read_file PACKAGE PATH
#include <exception>
#include <iostream>
#include <vector>

#include "opc/ztservices.hpp"

using namespace opc;

int main(int count, char** arguments) try {
  if (count != 3) throw Exception("usage: read_file PACKAGE PATH");
  auto const package = model::Package::open(arguments[1], model::AccessMode::ReadOnly);
  ztservices::FileSystemManager files(*package);
  std::vector<unsigned char> const bytes = files.readFile(arguments[2], 64 << 20);  // refuses more than 64 MiB
  std::cout.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
