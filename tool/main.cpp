// SPDX-License-Identifier: Apache-2.0
#include "Process.hpp"
#include "Run.hpp"

int main(int argc, char** argv) {
  ztpkg::prepareProcess();
  return ztpkg::run(argc, argv);
}
