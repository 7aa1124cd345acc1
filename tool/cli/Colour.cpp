// SPDX-License-Identifier: Apache-2.0
#include "cli/Colour.hpp"

#include <unistd.h>

#include <cstdlib>

namespace ztpkg {
namespace {

bool isSet(char const* variable) {
  char const* const value = std::getenv(variable);
  return value && *value;
}

bool isDumb() {
  char const* const terminal = std::getenv("TERM");
  return !terminal || std::string_view(terminal) == "dumb";
}

}  // namespace

Colours Colours::ofStandardOutput() {
  if (isatty(STDOUT_FILENO) != 1 || isDumb() || isSet("NO_COLOR")) return {};
  return {"\x1b[1;34m", "\x1b[1;36m", "\x1b[0m"};
}

}  // namespace ztpkg
