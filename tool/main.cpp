// SPDX-License-Identifier: Apache-2.0
#include "cli/Process.hpp"
#include "cli/Run.hpp"

int main(int argc, char** argv) {
  ztpkg::prepareProcess();
  return ztpkg::run(argc, argv);
}
