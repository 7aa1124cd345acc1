// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>

namespace ztpkg {

/// To be called before anything is opened or printed. Makes sure that descriptors 0 to 2 exist (otherwise a file that
/// is opened later could become the standard output), makes a closed pipe and a file beyond the limit of file sizes
/// errors instead of signals, and lets std::cout write where std::cerr does, because standard output is for data alone.
void prepareProcess();

/// From here on SIGINT, SIGTERM and SIGHUP are only recorded for throwIfInterrupted(), so that temporary files are
/// removed on the way out. Calls that wait end with EINTR. For commands that write to the disk.
void noteSignals();

/// From here on a crash writes no core file, which would hold keys and passwords, and no other process of the user
/// reads the memory of this one.
void leaveNoCoreFile();

/// The signal that came; 0 for none.
int pendingSignal();

/// Throws Interrupted after a signal.
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
