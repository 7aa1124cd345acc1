// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "cli/Description.hpp"
#include "cli/Output.hpp"

namespace ztpkg {

/// What a command line asks for.
struct Invocation {
  std::string command;  ///< its name, for messages; empty where there is none
  std::string package;  ///< the package that it is about
  bool json = false;
  std::function<void(Output&)> action;
};

/// Reads the command line. Requests for help, the version and completions become actions too. Throws Failure with
/// Exit::Usage; `invocation` then holds what was understood before.
void parseCommandLine(int argc, char const* const* argv, Invocation& invocation);

/// All commands, options and arguments. Each call makes objects of its own for the targets.
CommandDescription describeCommandLine();

}  // namespace ztpkg
