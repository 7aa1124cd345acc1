// SPDX-License-Identifier: Apache-2.0
#include "disk/LinkTargets.hpp"

#include <string_view>

namespace ztpkg {
namespace {

// Without empty and "." segments.
std::vector<std::u16string_view> segmentsOf(std::u16string_view path) {
  std::vector<std::u16string_view> segments;
  while (!path.empty()) {
    std::u16string_view const segment = path.substr(0, path.find(u'/'));
    path.remove_prefix(segment.size() == path.size() ? path.size() : segment.size() + 1);
    if (!segment.empty() && segment != u".") segments.push_back(segment);
  }
  return segments;
}

// Whether no ".." leads above where the path starts.
bool staysBelow(std::u16string_view path) {
  long depth = 0;
  for (std::u16string_view const segment : segmentsOf(path)) {
    depth += segment == u".." ? -1 : 1;
    if (depth < 0) return false;
  }
  return true;
}

std::u16string join(std::vector<std::u16string_view> const& segments) {
  std::u16string path;
  for (std::u16string_view const segment : segments) (path += u'/') += segment;
  return path;
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

bool leadsIntoTree(std::u16string const& linkPath, std::u16string const& target,
                   std::function<bool(std::u16string const& path)> const& isFolder) {
  std::vector<std::u16string_view> place;
  if (!target.starts_with(u'/')) place = segmentsOf(std::u16string_view(linkPath).substr(0, linkPath.rfind(u'/')));
  std::size_t known = place.size();  // that many of them are folders
  for (std::u16string_view const step : segmentsOf(target)) {
    if (step != u"..") {
      place.push_back(step);
      continue;
    }
    if (place.empty() || (place.size() > known && !isFolder(join(place)))) return false;
    place.pop_back();
    known = place.size();
  }
  return true;
}

}  // namespace ztpkg
