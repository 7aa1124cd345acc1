// SPDX-License-Identifier: Apache-2.0
// Packs a directory under a password and reads it back: protect_with_password DIRECTORY PACKAGE PATH
// The password is in the environment variable PACKAGE_PASSWORD.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "opc/ztservices.hpp"

using namespace opc;

static void pack(char const* directory, char const* path, std::string const& password) {
  auto const package = model::Package::create(path);
  ztservices::FileSystemManager files(*package);
  ztservices::protectWithPassword(files, password);
  files.addAll(directory);
  package->save();
}

int main(int count, char** arguments) try {
  char const* const password = std::getenv("PACKAGE_PASSWORD");
  if (count != 4 || !password) throw Exception("usage: protect_with_password DIRECTORY PACKAGE PATH");
  if (*arguments[1] != '\0') pack(arguments[1], arguments[2], password);
  auto const package = model::Package::open(arguments[2], model::AccessMode::ReadOnly);
  ztservices::FileSystemManager files(*package);
  ztservices::unlockWithPassword(files, password);
  auto const bytes = files.readFile(arguments[3]);
  std::cout << std::string(bytes.begin(), bytes.end());
} catch (ztservices::WrongPassword const&) {
  std::cerr << "Another password is needed\n";
  return 2;
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
