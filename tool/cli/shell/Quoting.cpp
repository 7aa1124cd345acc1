// SPDX-License-Identifier: Apache-2.0
#include "cli/shell/Quoting.hpp"

namespace ztpkg::shell {

std::string quoted(std::string const& text) { return "'" + replaced(text, "'", "'\\''") + "'"; }

std::string quotedList(std::vector<std::string> const& words) {
  std::string list;
  for (std::string const& word : words) list += (list.empty() ? "" : " ") + quoted(word);
  return list;
}

std::string replaced(std::string const& text, std::string const& from, std::string const& to) {
  std::string result;
  std::size_t begin = 0;
  for (std::size_t found = 0; (found = text.find(from, begin)) != std::string::npos; begin = found + from.size())
    result += text.substr(begin, found - begin) + to;
  return result + text.substr(begin);
}

}  // namespace ztpkg::shell
