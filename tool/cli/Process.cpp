// SPDX-License-Identifier: Apache-2.0
#include "cli/Process.hpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <iostream>

namespace ztpkg {
namespace {

std::atomic<int> pendingSignal = 0;  // read by several threads
static_assert(std::atomic<int>::is_always_lock_free);

void noteSignal(int signal) { pendingSignal = signal; }

// `mode` is the opposite of the descriptor's use, so that reading from or writing to it still fails.
void occupy(int descriptor, int mode) {
  if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", mode);  // the lowest free descriptor is this one
}

void install(int signal) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) return;  // as nohup leaves it
  action = {};
  action.sa_handler = noteSignal;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

}  // namespace

void prepareProcess() {
  occupy(STDIN_FILENO, O_WRONLY);
  occupy(STDOUT_FILENO, O_RDONLY);
  occupy(STDERR_FILENO, O_RDONLY);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::cout.rdbuf(std::cerr.rdbuf());
}

void noteSignals() {
  for (int const signal : {SIGINT, SIGTERM, SIGHUP}) install(signal);
}

void leaveNoCoreFile() {
  rlimit const none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

void throwIfInterrupted() {
  if (int const signal = pendingSignal) throw Interrupted(signal);
}

}  // namespace ztpkg
