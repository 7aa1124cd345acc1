// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "cli/Description.hpp"

namespace ztpkg::shell {

/// What stands at the ends of each page: no date of the build, so that equal sources give equal pages.
struct Edition {
  std::string version;
  std::string date;
};

/// The manual pages (section 1) of the tool and of each command, by their file names. An alias has the page of its
/// command.
std::map<std::string, std::string> manPages(CommandDescription const& tool, Edition const& edition);

}  // namespace ztpkg::shell
