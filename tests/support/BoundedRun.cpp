// SPDX-License-Identifier: Apache-2.0
#include "support/BoundedRun.hpp"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>

namespace zt_test {
namespace {

constexpr rlim_t kSeconds = 10, kBytes = rlim_t{1} << 30;
constexpr unsigned kHangSeconds = 120;  // on however busy a machine
constexpr int kThrew = 100;

void limitProcess() {
  rlimit const time{kSeconds, kSeconds}, memory{kBytes, kBytes};
  if (setrlimit(RLIMIT_CPU, &time) != 0) throw std::runtime_error("no limit of time");
  if (!kUnderAddressSanitizer && setrlimit(RLIMIT_AS, &memory) != 0) throw std::runtime_error("no limit of memory");
  alarm(kHangSeconds);
}

int runHere(std::function<int()> const& step) {
  try {
    limitProcess();
    return step();
  } catch (std::exception const& thrown) {
    std::fprintf(stderr, "it threw: %s\n", thrown.what());
    return kThrew;
  }
}

}  // namespace

std::optional<int> runBounded(std::function<int()> const& step) {
  pid_t const child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) _exit(runHere(step));
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) >= kThrew) return std::nullopt;
  return WEXITSTATUS(status);
}

}  // namespace zt_test
