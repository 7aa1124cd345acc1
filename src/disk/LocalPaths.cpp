// SPDX-License-Identifier: Apache-2.0
#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"

namespace opc {
namespace {

// To the disk a slash at the end says no more than that a directory is meant.
std::u16string withoutTrailingSlashes(std::u16string path) {
  while (path.size() > 1 && path.ends_with(u'/')) path.pop_back();
  return path;
}

}  // namespace

bool LocalFileSystemOps::isAbsolutePath(std::u16string const& path) { return path.starts_with(u'/'); }

std::u16string LocalFileSystemOps::appendPath(std::u16string const& base, std::u16string const& relative) {
  std::size_t const first = relative.find_first_not_of(u'/');
  if (first == std::u16string::npos) return base;
  std::u16string joined = base;
  while (joined.ends_with(u'/')) joined.pop_back();
  if (!base.empty()) joined += u'/';
  return joined.append(relative, first);
}

std::u16string LocalFileSystemOps::getParentPath(std::u16string const& path) {
  return withoutTrailingSlashes(detail::getParentPath(withoutTrailingSlashes(path)));
}

std::u16string LocalFileSystemOps::getExtension(std::u16string const& path) {
  std::u16string const name = detail::getFilename(withoutTrailingSlashes(path));
  std::size_t const dot = name.rfind(u'.');
  return dot == std::u16string::npos || dot == 0 ? std::u16string() : name.substr(dot + 1);
}

}  // namespace opc
