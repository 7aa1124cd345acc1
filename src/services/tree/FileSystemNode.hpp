// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "opc/FileSystemOps.hpp"

namespace opc::ztservices {

/// A UTF-16 text in compact form: ASCII, such as every part name, takes one byte a character.
class CompactText {
 public:
  CompactText() = default;
  explicit CompactText(std::u16string_view text);

  std::u16string toString() const;

 private:
  std::string bytes_;  // ASCII, or kWide and the code units in their memory form
};

/// The numbers are fixed.
enum class FileSystemNodeType : std::uint32_t { File = 0, Link = 1, Folder = 2 };

inline constexpr std::u16string_view kRootPath = u"/";
inline constexpr Perms::Perms_tag kUnknownPermissions = Perms::NotKnown;

/// The size of a content that was compressed before it was encrypted, where it is not known.
inline constexpr std::uint64_t kUnknownSize = UINT64_MAX;

/// One entry of the tree. Unknown permissions and the unknown time leave their fields absent. Several slashes at the
/// beginning of a path become one: an empty name directly below the root would have the root's own path.
struct FileSystemNode {
  FileSystemNode() = default;
  FileSystemNode(FileSystemNodeType type, std::u16string const& fullPath, std::u16string content,
                 Perms::Perms_tag permissions, boost::posix_time::ptime const& time);

  /// Derived from parent path and base name.
  std::u16string fullPath() const;

  FileSystemNodeType type = FileSystemNodeType::File;
  std::u16string parentPath;  // empty for the root
  std::u16string baseName;    // "/" for the root
  std::u16string content;     // part name of a file, target of a link, own path of a folder
  std::optional<Perms::Perms_tag> permissions;
  std::optional<boost::posix_time::ptime> lastModified;
  /// The size of a file's content before it was compressed and then encrypted, perhaps kUnknownSize; absent for every
  /// other content.
  std::optional<std::uint64_t> deflatedFrom;
  /// FileSystemTree::revision() of the tree that the node was read from; 0 for one that was made by other means.
  std::uint64_t revision = 0;
};

FileSystemNode makeFolderNode(std::u16string const& path, Perms::Perms_tag permissions,
                              boost::posix_time::ptime const& time);
FileSystemNode makeFileNode(std::u16string const& path, std::u16string const& contentPart, Perms::Perms_tag permissions,
                            boost::posix_time::ptime const& time);
FileSystemNode makeLinkNode(std::u16string const& path, std::u16string const& target, Perms::Perms_tag permissions,
                            boost::posix_time::ptime const& time);

}  // namespace opc::ztservices
