// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "cli/Description.hpp"
#include "cli/Output.hpp"

namespace ztpkg {

/// A parsed command line.
struct Invocation {
  std::string command;  ///< its name, for messages; empty for none
  std::string package;  ///< the package that it concerns
  bool json = false;
  bool warns = true;  ///< neither --json nor --quiet
  std::function<void(Output&)> action;
};

/// Reads the command line. Requests for help, the version and completions become actions too. Throws Failure with
/// Exit::Usage; `invocation` then holds what was parsed before.
void parseCommandLine(int argc, char const* const* argv, Invocation& invocation);

/// All commands, options and arguments. Each call makes new objects for the targets.
CommandDescription describeCommandLine();

}  // namespace ztpkg
