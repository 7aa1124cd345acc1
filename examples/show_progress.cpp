// SPDX-License-Identifier: Apache-2.0
// Packs a directory, shows how far it is, and stops at Ctrl-C: show_progress DIRECTORY PACKAGE
#include <csignal>
#include <exception>
#include <iostream>

#include "opc/ztservices.hpp"

using namespace opc;

static volatile std::sig_atomic_t interrupted = 0;

static bool show(Progress const& progress) {
  std::cout << '\r' << progress.files << " of " << progress.allFiles << " files, " << progress.bytes << " of "
            << progress.allBytes << " bytes" << std::flush;
  return interrupted == 0;  // false ends the operation
}

int main(int count, char** arguments) try {
  if (count != 3) throw Exception("usage: show_progress DIRECTORY PACKAGE");
  std::signal(SIGINT, [](int) { interrupted = 1; });
  auto const package = model::Package::create(arguments[2], model::Existing::Replace);
  package->setMonitor({.report = show});
  ztservices::FileSystemManager files(*package);
  files.addAll(arguments[1]);
  std::cout << "\nsaving\n";
  package->save();
  std::cout << "\ndone\n";
} catch (Cancelled const&) {
  std::cout << "\ncancelled; a package that was there is as before\n";
  return 2;
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
