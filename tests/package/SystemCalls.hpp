// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// Stands between this test program and the system: from begin() to end() the calls that deal with files are
/// noted, and one of them goes wrong. Linked into the program, the functions take the place of the C library's.
namespace zt_test::calls {

enum class Fault {
  None,
  Fails,        ///< with the given errno value
  Interrupted,  ///< by a signal, once
  Short,        ///< transfers half of what was asked for
  Killed        ///< the process, before the call
};

/// The call of that number (1 is the first) goes wrong; 0 for none.
void begin(int number, Fault fault, int error = 0);
/// Each call of that name goes wrong.
void begin(char const* name, int error);

/// What was called, by name ("fsync directory" for one of a directory), and whether the fault came about.
struct Seen {
  std::vector<std::string> names;
  bool faulted;
};
Seen end();

}  // namespace zt_test::calls
