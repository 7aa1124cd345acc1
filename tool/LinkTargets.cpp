// SPDX-License-Identifier: Apache-2.0
#include "LinkTargets.hpp"

#include <string_view>

namespace ztpkg {
namespace {

// Whether no ".." leads above where the path starts.
bool staysBelow(std::u16string_view path) {
  long depth = 0;
  while (!path.empty()) {
    std::u16string_view const segment = path.substr(0, path.find(u'/'));
    path.remove_prefix(segment.size() == path.size() ? path.size() : segment.size() + 1);
    if (segment == u"..")
      --depth;
    else if (!segment.empty() && segment != u".")
      ++depth;
    if (depth < 0) return false;
  }
  return true;
}

std::optional<std::u16string> below(std::u16string const& target, std::u16string const& root) {
  std::size_t const length = root == u"/" ? 0 : root.size();
  if (!target.starts_with(root)) return std::nullopt;
  std::u16string rest = target.substr(length);
  if (rest.empty()) return u"/";
  if (rest.front() != u'/' || !staysBelow(rest)) return std::nullopt;
  return rest;
}

}  // namespace

std::optional<std::u16string> targetWithinRoot(std::u16string const& target, std::u16string const& root,
                                               std::vector<std::u16string> const& otherRoots) {
  if (auto found = below(target, root)) return found;
  for (std::u16string const& other : otherRoots)
    if (auto found = below(target, other)) return found;
  return std::nullopt;
}

}  // namespace ztpkg
