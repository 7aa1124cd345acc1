// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace ztpkg::shell {

/// One word of sh, bash or zsh: 'it'\''s'.
std::string quoted(std::string const& text);

/// Quoted words with blanks between them.
std::string quotedList(std::vector<std::string> const& words);

/// `text` with `to` in place of each `from`, from left to right.
std::string replaced(std::string const& text, std::string const& from, std::string const& to);

}  // namespace ztpkg::shell
