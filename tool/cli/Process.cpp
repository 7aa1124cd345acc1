// SPDX-License-Identifier: Apache-2.0
#include "cli/Process.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <iostream>

namespace ztpkg {
namespace {

std::atomic<int> noted = 0;  // read by several threads
static_assert(std::atomic<int>::is_always_lock_free);

// A call that begins to wait right after the check of the signal would wait for ever: the alarm ends it.
void noteSignal(int signal) {
  if (signal != SIGALRM) noted = signal;
  if (noted != 0) alarm(1);
}

// `mode` is the opposite of the descriptor's use, so that reading from or writing to it still fails.
void occupy(int descriptor, int mode) {
  if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", mode);  // the lowest free descriptor is this one
}

void install(int signal) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) return;  // as nohup leaves it
  action = {};  // without SA_RESTART: a pipe may make a call wait for ever
  action.sa_handler = noteSignal;
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
  for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM}) install(signal);
}

// A program that takes core files from the kernel may ask for them whatever their limit is.
void leaveNoCoreFile() {
  rlimit const none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

int pendingSignal() { return noted; }

void throwIfInterrupted() {
  if (int const signal = noted) throw Interrupted(signal);
}

}  // namespace ztpkg
