// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>
#include <optional>
#include <string>

namespace ztpkg {

/// What `list` tells of a file, folder or link; what does not apply or is not recorded is absent.
struct EntryRecord {
  enum class Type { File, Folder, Link };

  std::u16string path;
  Type type = Type::File;
  std::optional<std::uint64_t> size;
  std::optional<std::uint64_t> storedSize;
  std::optional<std::uint32_t> permissions;
  std::optional<std::u16string> modified;  ///< ISO 8601
  std::optional<std::u16string> target;
  std::optional<std::u16string> contentType;
  std::optional<std::u16string> part;
  std::optional<bool> encrypted;
};

/// What `info` tells of a part.
struct PartRecord {
  std::u16string name;
  std::u16string contentType;
  std::uint64_t size = 0;
  std::uint64_t storedSize = 0;
  std::optional<std::string> sha256;
};

/// What `info` tells of a relationship; an internal target is resolved to a part name where that is possible.
struct RelationshipRecord {
  std::u16string source;
  std::u16string id;
  std::u16string type;
  std::u16string target;
  bool external = false;
};

/// What `info` tells of the file system; all but the first is absent where there is none, and all but the
/// first three where it is encrypted and there is no key.
struct FileSystemRecord {
  bool present = false;
  bool encrypted = false;
  bool hasPassword = false;  ///< whether its key is that of a password
  std::optional<std::u16string> manifestVersion;
  std::optional<std::u16string> createdByPlatform;
  std::optional<std::u16string> createdByEncoding;
  std::optional<std::uint64_t> entries;
};

}  // namespace ztpkg
