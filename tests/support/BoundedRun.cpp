// SPDX-License-Identifier: Apache-2.0
#include "support/BoundedRun.hpp"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <exception>
#include <stdexcept>

namespace zt_test {
namespace {

constexpr rlim_t kSeconds = 10, kBytes = rlim_t{1} << 30;
constexpr unsigned kHangSeconds = 120;  // on however busy a machine
constexpr int kThrew = 100;

int codeOf(std::function<int()> const& step) {
  try {
    return step();
  } catch (std::exception const& thrown) {
    std::fprintf(stderr, "it threw: %s\n", thrown.what());
    return kThrew;
  }
}

[[noreturn]] void runLimited(std::function<int()> const& step) {
  rlimit const time{kSeconds, kSeconds}, memory{kBytes, kBytes};
  if (setrlimit(RLIMIT_CPU, &time) != 0 || setrlimit(RLIMIT_AS, &memory) != 0) _exit(kThrew);
  alarm(kHangSeconds);
  _exit(codeOf(step));
}

int codeInFork(std::function<int()> const& step) {
  pid_t const child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) runLimited(step);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : kThrew;
}

/// A sanitizer takes terabytes of addresses, so that memory cannot be limited, and makes a fork slow.
int codeHere(std::function<int()> const& step) {
  std::clock_t const begun = std::clock();
  alarm(kHangSeconds);
  int const code = codeOf(step);
  alarm(0);
  return (std::clock() - begun) / CLOCKS_PER_SEC < static_cast<std::clock_t>(kSeconds) ? code : kThrew;
}

}  // namespace

std::optional<int> runBounded(std::function<int()> const& step) {
  int const code = kUnderAddressSanitizer ? codeHere(step) : codeInFork(step);
  return code < kThrew ? std::optional(code) : std::nullopt;
}

}  // namespace zt_test
