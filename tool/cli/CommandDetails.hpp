// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace ztpkg {

/// What help and the manual page of a command ("ztpkg pack") tell beyond its purpose and options: paragraphs, none
/// where there is no more to tell.
std::vector<std::string> detailsOf(std::string const& command);

}  // namespace ztpkg
