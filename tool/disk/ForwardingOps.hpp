// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ios>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "opc/FileSystemOps.hpp"

namespace ztpkg {

/// Passes every operation on to other operations, which it borrows. Wrappers derive from it.
class ForwardingOps : public opc::FileSystemOps {
 public:
  using ErrorCode = boost::system::error_code;
  using Paths = std::vector<std::u16string>;

  explicit ForwardingOps(opc::FileSystemOps& inner) : inner_(&inner) {}
  ForwardingOps(ForwardingOps const&) = delete;  // one wrapper around another must not become its copy
  ForwardingOps& operator=(ForwardingOps const&) = delete;

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
  std::unique_ptr<opc::FileOutputStream> createOutputStream(std::u16string const& path, std::ios::openmode mode,
                                                            ErrorCode& error) override;
  opc::OpenedFile openForAdding(std::u16string const& path) override;
  std::unique_ptr<opc::FileOutputStream> createForRestoring(std::u16string const& path,
                                                            opc::Perms::Perms_tag permissions,
                                                            boost::posix_time::ptime const& time,
                                                            ErrorCode& error) override;
  opc::Perms::Perms_tag getPermissions(std::u16string const& path, ErrorCode& error) override;
  void setPermissions(std::u16string const& path, opc::Perms::Perms_tag permissions, ErrorCode& error) override;
  boost::posix_time::ptime getLastModifiedTime(std::u16string const& path, ErrorCode& error) override;
  void setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time, ErrorCode& error) override;
  std::u16string appendPath(std::u16string const& base, std::u16string const& relative) override;
  std::u16string getParentPath(std::u16string const& path) override;
  std::u16string getExtension(std::u16string const& path) override;

 protected:
  opc::FileSystemOps& inner() const { return *inner_; }

 private:
  opc::FileSystemOps* inner_;
};

}  // namespace ztpkg
