// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <vector>

#include "secrets/Secrets.hpp"

namespace ztpkg {

/// Reads lines that are secret. While it lives, the signals of a terminal and of those who end programs do no more
/// than interrupt it, so that a terminal can be put in order before they take effect. One at a time.
class LineReader {
 public:
  static constexpr std::size_t kLongestLine = 4096;

  LineReader();
  ~LineReader();
  LineReader(LineReader const&) = delete;
  LineReader& operator=(LineReader const&) = delete;

  /// The signal that interrupted it, or 0 when `line` is read: without LF or CR LF, up to the end of the file where
  /// there is neither. Takes not a byte more from the descriptor. Throws std::system_error, and Failure for a
  /// line of more than kLongestLine bytes.
  int read(int descriptor, SecretBytes& line);

 private:
  struct Replaced {
    int signal;
    struct sigaction action;
  };

  int waitFor(int descriptor) const;

  sigset_t unblocked_;
  std::vector<Replaced> replaced_;
};

}  // namespace ztpkg
