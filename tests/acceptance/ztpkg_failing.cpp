// SPDX-License-Identifier: Apache-2.0
// What ztpkg_forks takes to have one call to the system or one allocation of a command go wrong.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <map>
#include <ostream>
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

/// From one in 512 allocations, with which hardly anything begins, to one in 131,072, with which most commands end
/// well.
std::uint64_t periodOf(std::uint64_t seed) { return std::uint64_t{512} << (seed % 9); }

// Copying a description of an option destroys members that are not there yet when memory runs out, as GCC 12 compiles
// it: it takes their address for null. The table of the command line is made before a file is opened.
#ifdef __clang__
constexpr std::int64_t kSpared = 0;
#else
constexpr std::int64_t kSpared = 28'600;  // those of the table, each asked for by new and by malloc
#endif

int withScarceMemory(std::uint64_t seed, std::ostream& log, int argc, char** argv) {
  zt_test::ScarceMemory memory(seed, periodOf(seed), kSpared);
  int const code = ztpkgMain(argc, argv);
  log << memory.end() << " allocations";
  return code;
}

}  // namespace

/// A fault is a kind, the number of the call or allocation or the seed of many, and a file that gets the name of what
/// went wrong.
int ztpkgMainWithFault(std::string const& fault, int argc, char** argv) {
  std::istringstream words(fault);
  std::string kind, log;
  std::size_t number = 0;
  words >> kind >> number >> log;
  std::ofstream out(log);
  if (kind == "scarce") return withScarceMemory(number, out, argc, argv);
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
