// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "cli/Description.hpp"

namespace ztpkg::shell {

/// The file by which bash completes the command line of `tool`.
std::string bashCompletion(CommandDescription const& tool);

}  // namespace ztpkg::shell
