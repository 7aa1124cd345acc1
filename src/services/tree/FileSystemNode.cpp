// SPDX-License-Identifier: Apache-2.0
#include "services/tree/FileSystemNode.hpp"

#include <utility>

#include "opc/Strings.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {
FileSystemNode::FileSystemNode(FileSystemNodeType nodeType, std::u16string const& givenPath, std::u16string nodeContent,
                               Perms::Perms_tag nodePermissions, boost::posix_time::ptime const& time)
    : type(nodeType), content(std::move(nodeContent)) {
  std::u16string const fullPath(paths::withoutRepeatedLeadingSlashes(givenPath));
  if (fullPath == kRootPath) {
    baseName = kRootPath;
  } else {
    parentPath = detail::getParentPath(fullPath);
    baseName = detail::getFilename(fullPath);
  }
  if (nodePermissions != kUnknownPermissions) permissions = nodePermissions;
  if (!time.is_not_a_date_time()) lastModified = time;
}

std::u16string FileSystemNode::fullPath() const {
  if (parentPath.empty()) return baseName;
  if (parentPath == kRootPath) return parentPath + baseName;
  return parentPath + u'/' + baseName;
}

FileSystemNode makeFolderNode(std::u16string const& path, Perms::Perms_tag permissions,
                              boost::posix_time::ptime const& time) {
  return {FileSystemNodeType::Folder, path, std::u16string(paths::withoutRepeatedLeadingSlashes(path)), permissions,
          time};
}

FileSystemNode makeFileNode(std::u16string const& path, std::u16string const& contentPart, Perms::Perms_tag permissions,
                            boost::posix_time::ptime const& time) {
  return {FileSystemNodeType::File, path, contentPart, permissions, time};
}

FileSystemNode makeLinkNode(std::u16string const& path, std::u16string const& target, Perms::Perms_tag permissions,
                            boost::posix_time::ptime const& time) {
  return {FileSystemNodeType::Link, path, target, permissions, time};
}

}  // namespace opc::ztservices
