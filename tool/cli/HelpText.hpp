// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "cli/Description.hpp"

namespace ztpkg {

/// What --help prints of a command: lines of at most 80 columns, the last one ended.
std::string helpText(CommandDescription const& command);

}  // namespace ztpkg
