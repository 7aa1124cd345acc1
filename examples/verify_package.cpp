// SPDX-License-Identifier: Apache-2.0
// Lists every fault of a package; the exit code is 1 where it has one: verify_package PACKAGE
#include <exception>
#include <iostream>

#include "opc/ztservices.hpp"

using namespace opc;

int main(int count, char** arguments) try {
  if (count != 2) throw Exception("usage: verify_package PACKAGE");
  ztservices::VerificationReport const report = ztservices::verifyPackage(arguments[1], {.threads = 2});
  for (ztservices::VerificationFault const& fault : report.faults)
    std::cout << (fault.isNote ? "note " : "fault ") << fault.code << ": " << fault.message << '\n';
  std::cout << report.parts << " parts, " << report.countFaults() << " faults\n";
  return report.isHealthy() ? 0 : 1;
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 2;
}
