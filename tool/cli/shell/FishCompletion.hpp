// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "cli/Description.hpp"

namespace ztpkg::shell {

/// The file by which fish completes the command line of `tool`.
std::string fishCompletion(CommandDescription const& tool);

}  // namespace ztpkg::shell
