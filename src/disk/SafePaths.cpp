// SPDX-License-Identifier: Apache-2.0
#include "opc/SafePaths.hpp"

#include <cstddef>
#include <vector>

namespace opc {
namespace {

/// Calls `visit` for each segment, empty ones included, until it returns false.
template <typename Visit>
void forEachSegment(std::u16string_view path, Visit visit) {
  for (std::size_t slash = 0; slash != path.npos; path.remove_prefix(slash + 1)) {
    slash = path.find(u'/');
    if (!visit(path.substr(0, slash)) || slash == path.npos) return;
  }
}

/// Without empty and "." segments.
std::vector<std::u16string_view> segmentsOf(std::u16string_view path) {
  std::vector<std::u16string_view> segments;
  forEachSegment(path, [&](std::u16string_view segment) {
    if (!segment.empty() && segment != u".") segments.push_back(segment);
    return true;
  });
  return segments;
}

std::u16string join(std::vector<std::u16string_view> const& segments) {
  std::u16string path;
  for (std::u16string_view const segment : segments) (path += u'/') += segment;
  return path;
}

}  // namespace

PathFault findPathFault(std::u16string_view path) {
  if (path == u"/") return PathFault::None;
  if (path.starts_with(u'/')) path.remove_prefix(1);
  PathFault fault = PathFault::None;
  forEachSegment(path, [&](std::u16string_view segment) {
    if (segment.empty() || segment == u".") fault = PathFault::Unclear;
    if (segment == u"..") fault = PathFault::LeadsUpwards;
    return fault != PathFault::LeadsUpwards;
  });
  return fault;
}

bool staysBeneathRoot(std::u16string_view linkPath, std::u16string_view target,
                      std::function<bool(std::u16string const& path)> const& isFolder) {
  std::vector<std::u16string_view> place;
  if (!target.starts_with(u'/')) place = segmentsOf(linkPath);
  if (!place.empty()) place.pop_back();
  std::size_t known = place.size();  // so many of them are folders
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

}  // namespace opc
