// SPDX-License-Identifier: Apache-2.0
// What ztpkg_forks takes to have one call to the system or one allocation of a command go wrong.
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "allocation/FailingAllocations.hpp"
#include "package/SystemCalls.hpp"

int ztpkgMain(int argc, char** argv);
int ztpkgMainWithFault(std::string const& fault, int argc, char** argv);

namespace {

namespace calls = zt_test::calls;

struct Kind {
  calls::Fault fault;
  int error;
};

std::map<std::string, Kind> const kinds{{"EIO", {calls::Fault::Fails, EIO}},
                                        {"ENOSPC", {calls::Fault::Fails, ENOSPC}},
                                        {"EINTR", {calls::Fault::Interrupted, 0}},
                                        {"short", {calls::Fault::Short, 0}},
                                        {"kill", {calls::Fault::Killed, 0}}};

/// The name of the call that went wrong, or nothing.
std::string nameOf(calls::Seen const& seen, std::size_t number) {
  return seen.faulted && number <= seen.names.size() ? seen.names[number - 1] : "";
}

}  // namespace

/// A fault is a kind, the number of the call or allocation, and a file that gets the name of what went wrong.
int ztpkgMainWithFault(std::string const& fault, int argc, char** argv) {
  std::istringstream words(fault);
  std::string kind, log;
  std::size_t number = 0;
  words >> kind >> number >> log;
  std::ofstream out(log);
  if (kind == "memory") {
    zt_test::allocationsUntilFailure = number;
    int const code = ztpkgMain(argc, argv);
    bool const hasFailed = zt_test::allocationsUntilFailure == 0;
    zt_test::allocationsUntilFailure = 0;
    if (hasFailed) out << "new";
    return code;
  }
  auto const [way, error] = kinds.at(kind);
  calls::begin(static_cast<int>(number), way, error);
  int const code = ztpkgMain(argc, argv);
  out << nameOf(calls::end(), number);
  return code;
}
