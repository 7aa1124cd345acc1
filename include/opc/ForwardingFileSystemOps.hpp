// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ios>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/FileSystemOps.hpp"

namespace opc {

/// Passes every operation on to other operations, which it borrows. Wrappers derive from it and override the operations
/// that they change: to filter, count, check or redirect. openForAdding and createForRestoring are passed on too: a
/// wrapper that changes how files are opened, or their permissions or times, overrides these as well.
///
/// Used by as many threads as the other operations allow.
class ZT_API ForwardingFileSystemOps : public FileSystemOps {
 public:
  using ErrorCode = boost::system::error_code;
  using Paths = std::vector<std::u16string>;

  /// `inner` must outlive the object.
  explicit ForwardingFileSystemOps(FileSystemOps& inner) : inner_(&inner) {}
  // A wrapper around another one would become its copy.
  ForwardingFileSystemOps(ForwardingFileSystemOps const&) = delete;
  ForwardingFileSystemOps& operator=(ForwardingFileSystemOps const&) = delete;

  bool exists(std::u16string const& path, ErrorCode& error) override;
  bool isFile(std::u16string const& path) override;
  bool isSymlink(std::u16string const& path) override;
  bool isAbsolutePath(std::u16string const& path) override;
  void getFiles(std::u16string const& root, Paths& files, bool recursive, ErrorCode& error) override;
  void getFolders(std::u16string const& root, Paths& folders, bool recursive, ErrorCode& error) override;
  void createFolder(std::u16string const& path, ErrorCode& error) override;
  void createFolders(std::u16string const& path, ErrorCode& error) override;
  void createSymlink(std::u16string const& target, std::u16string const& linkPath, ErrorCode& error) override;
  std::u16string getLinkTarget(std::u16string const& path) override;
  std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                  ErrorCode& error) override;
  std::unique_ptr<FileOutputStream> createOutputStream(std::u16string const& path, std::ios::openmode mode,
                                                       ErrorCode& error) override;
  OpenedFile openForAdding(std::u16string const& path) override;
  std::unique_ptr<FileOutputStream> createForRestoring(std::u16string const& path, Perms::Perms_tag permissions,
                                                       boost::posix_time::ptime const& time, ErrorCode& error) override;
  std::optional<std::uint64_t> getFileSize(std::u16string const& path) override;
  Perms::Perms_tag getPermissions(std::u16string const& path, ErrorCode& error) override;
  void setPermissions(std::u16string const& path, Perms::Perms_tag permissions, ErrorCode& error) override;
  boost::posix_time::ptime getLastModifiedTime(std::u16string const& path, ErrorCode& error) override;
  void setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time, ErrorCode& error) override;
  std::u16string appendPath(std::u16string const& base, std::u16string const& relative) override;
  std::u16string getParentPath(std::u16string const& path) override;
  std::u16string getExtension(std::u16string const& path) override;

 protected:
  FileSystemOps& inner() const { return *inner_; }

 private:
  FileSystemOps* inner_;
};

}  // namespace opc
