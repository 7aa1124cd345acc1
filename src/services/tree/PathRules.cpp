// SPDX-License-Identifier: Apache-2.0
#include "services/tree/PathRules.hpp"

#include <algorithm>

#include "opc/ztservices/Exceptions.hpp"
#include "services/tree/Messages.hpp"

namespace opc::ztservices::paths {

std::u16string convertSeparators(std::u16string_view text) {
  if (text.starts_with(u"\\\\")) text.remove_prefix(1);
  std::u16string converted(text);
  std::replace(converted.begin(), converted.end(), u'\\', u'/');
  return converted;
}

std::u16string normalizePath(std::u16string_view path) {
  std::u16string converted = convertSeparators(path);
  if (!converted.starts_with(u'/')) converted.insert(converted.begin(), u'/');
  return converted;
}

std::u16string makeRelativePath(std::u16string_view root, std::u16string_view path) {
  if (!path.starts_with(root)) throw CouldNotMakeRelativeToSourceRoot(messages::kNotBelowSourceRoot);
  path.remove_prefix(root.size());
  if (path.starts_with(u'/')) path.remove_prefix(1);
  return std::u16string(path);
}

std::u16string_view withoutTrailingSlashes(std::u16string_view path) {
  while (path.size() > 1 && path.ends_with(u'/')) path.remove_suffix(1);
  return path;
}

std::u16string_view withoutRepeatedLeadingSlashes(std::u16string_view path) {
  while (path.starts_with(u"//")) path.remove_prefix(1);
  return path;
}

std::u16string collapse(std::u16string_view path) {
  std::u16string collapsed;
  while (!path.empty()) {
    std::u16string_view const segment = path.substr(0, path.find(u'/'));
    if (!segment.empty() && segment != u".") collapsed.append(u"/").append(segment);
    path.remove_prefix(std::min(segment.size() + 1, path.size()));
  }
  return collapsed;
}

}  // namespace opc::ztservices::paths
