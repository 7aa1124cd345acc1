// SPDX-License-Identifier: Apache-2.0
#include "secrets/LineReader.hpp"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "cli/Errors.hpp"

namespace ztpkg {
namespace {

constexpr int kSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP};

volatile std::sig_atomic_t interruption = 0;

void remember(int signal) { interruption = signal; }

[[noreturn]] void throwErrno() { throw std::system_error(errno, std::system_category()); }

sigset_t setOfSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (int const signal : kSignals) sigaddset(&set, signal);
  return set;
}

}  // namespace

// They are let through while it waits, and only then: one that comes earlier is not lost and does not make the wait
// begin.
LineReader::LineReader() {
  interruption = 0;
  sigset_t const set = setOfSignals();
  pthread_sigmask(SIG_BLOCK, &set, &unblocked_);
  for (int const signal : kSignals) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) continue;  // as nohup leaves it
    replaced_.push_back({signal, before});
    struct sigaction action {};
    action.sa_handler = remember;
    sigaction(signal, &action, nullptr);
  }
}

LineReader::~LineReader() {
  for (Replaced const& replaced : replaced_) sigaction(replaced.signal, &replaced.action, nullptr);
  pthread_sigmask(SIG_SETMASK, &unblocked_, nullptr);
}

int LineReader::waitFor(int descriptor) const {
  pollfd watched{descriptor, POLLIN, 0};
  if (ppoll(&watched, 1, nullptr, &unblocked_) < 0 && errno != EINTR) throwErrno();
  return interruption;
}

int LineReader::read(int descriptor, SecretBytes& line) {
  line.clear();
  interruption = 0;
  while (true) {
    if (int const signal = waitFor(descriptor)) return signal;
    char byte = 0;
    ssize_t const got = ::read(descriptor, &byte, 1);
    if (got < 0 && errno != EINTR) throwErrno();
    if (got == 0 || (got > 0 && byte == '\n')) break;
    if (got > 0) line.push_back(byte);
    if (line.size() > kLongestLine)
      throw Failure(Report{Exit::Key, "bad-password", "the password is longer than 4096 bytes", {}});
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return 0;
}

}  // namespace ztpkg
