// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "cli/Description.hpp"

namespace ztpkg::shell {

/// The file by which zsh completes the command line of `tool`.
std::string zshCompletion(CommandDescription const& tool);

}  // namespace ztpkg::shell
