// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>

namespace ztpkg {

/// What has to hold before anything is opened or printed: descriptors 0 to 2 exist (otherwise a file that is
/// opened later could become the standard output), a closed pipe is an error instead of a signal, and
/// std::cout writes where std::cerr does, because standard output is for data alone.
void prepareProcess();

/// From here on SIGINT, SIGTERM and SIGHUP only leave a note that throwIfInterrupted() finds, so that
/// temporary files are removed on the way out. For commands that write to the disk.
void noteSignals();

/// From here on a crash leaves no file with what is in memory, keys and passwords among it.
void leaveNoCoreFile();

/// Throws Interrupted once a signal has come.
void throwIfInterrupted();

class Interrupted : public std::exception {
 public:
  explicit Interrupted(int signal) : signal_(signal) {}
  int signal() const { return signal_; }
  char const* what() const noexcept override { return "interrupted"; }

 private:
  int signal_;
};

}  // namespace ztpkg
