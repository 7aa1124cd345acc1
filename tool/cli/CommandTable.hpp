// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "cli/Description.hpp"

/// The rows of the command table by family, in the order of help. Each call makes new objects for the targets.
namespace ztpkg::table {

std::vector<CommandDescription> treeCommands();
std::vector<CommandDescription> readingCommands();
std::vector<CommandDescription> packageCommands();
std::vector<CommandDescription> partCommands();
std::vector<CommandDescription> propertyCommands();
std::vector<CommandDescription> keyCommands();

}  // namespace ztpkg::table
