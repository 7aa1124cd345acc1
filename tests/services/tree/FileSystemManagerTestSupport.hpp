// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/conversion.hpp>
#include <cstddef>
#include <gtest/gtest.h>
#include <ios>
#include <istream>
#include <memory>
#include <set>
#include <string>
#include <typeinfo>
#include <vector>

#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "samples/BytesSource.hpp"
#include "support/TestSupport.hpp"

namespace zt_test {

using opc::model::AccessMode;
using opc::model::ContentType;
using opc::model::Package;
using opc::model::PartName;
using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
using opc::ztservices::RestoreMode;
using opc::ztservices::TransformMode;
using TextSource = opc::ztservices::samples::BytesSource;

inline constexpr char16_t kManifest[] = u"/metadata/filesystemManifest.xml";
inline constexpr char16_t kManifestV1[] = u"/metadata/filesystemManifestV1.xml";

/// A time that files may have on a disk.
inline auto const kTime = boost::posix_time::from_time_t(1'111'111'111);
inline constexpr auto kRestore = RestoreMode::TimeAndPermissions;

/// Content whose reading fails after a few bytes.
class FailingSource final : public opc::ztservices::IContentSource, private opc::InputStream {
 public:
  ContentType getContentType() override { return ContentType(u"application/octet-stream"); }
  opc::InputStream& getInputStream() override { return *this; }

 private:
  void reset() override {}
  void clear() override {}
  bool isEnd() override { return false; }
  std::size_t read(void* buffer, std::size_t count) override;

  bool started_ = false;
};

/// The operations that a FaultyDisk can refuse.
enum class Operation {
  Exists,
  GetFiles,
  CreateFolder,
  CreateFolders,
  CreateSymlink,
  CreateInputStream,
  CreateOutputStream,
  Write,
  Commit,
  GetPermissions,
  SetPermissions,
  GetLastModifiedTime,
  SetLastModifiedTime
};

/// The local disk, but for one operation that fails with an error code.
class FaultyDisk final : public opc::LocalFileSystemOps {
 public:
  FaultyDisk(Operation failing, boost::system::errc::errc_t code) : failing_(failing), code_(make_error_code(code)) {}

  boost::system::error_code const& code() const { return code_; }

  bool exists(std::u16string const& path, boost::system::error_code& error) override;
  void getFiles(std::u16string const& root, std::vector<std::u16string>& files, bool recursive,
                boost::system::error_code& error) override;
  void createFolder(std::u16string const& path, boost::system::error_code& error) override;
  void createFolders(std::u16string const& path, boost::system::error_code& error) override;
  void createSymlink(std::u16string const& target, std::u16string const& linkPath,
                     boost::system::error_code& error) override;
  std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                  boost::system::error_code& error) override;
  std::unique_ptr<opc::FileOutputStream> createOutputStream(std::u16string const& path, std::ios::openmode mode,
                                                            boost::system::error_code& error) override;
  opc::Perms::Perms_tag getPermissions(std::u16string const& path, boost::system::error_code& error) override;
  void setPermissions(std::u16string const& path, opc::Perms::Perms_tag permissions,
                      boost::system::error_code& error) override;
  boost::posix_time::ptime getLastModifiedTime(std::u16string const& path, boost::system::error_code& error) override;
  void setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                           boost::system::error_code& error) override;

 private:
  bool fails(Operation operation, boost::system::error_code& error) const;

  Operation failing_;
  boost::system::error_code code_;
};

/// A new package in memory with a manager on it.
struct NewFileSystem {
  std::unique_ptr<Package> package = Package::createInMemory();
  FileSystemManager manager{*package};
};

std::u16string numbered(std::u16string text, std::size_t number);

/// What a package holds after a save, in a package of its own.
std::unique_ptr<Package> reopen(Package& package, AccessMode mode = AccessMode::ReadWrite);

FileSystemEntry addText(FileSystemManager& manager, std::u16string const& path, std::string const& text);
FileSystemEntry createPlainFile(FileSystemManager& manager, std::u16string const& path);
std::string textAt(FileSystemManager& manager, std::u16string const& path);

/// The names of the content parts, in order.
std::vector<std::u16string> contentParts(Package const& package);
std::vector<std::u16string> pathsOf(std::vector<FileSystemEntry> const& entries);
std::vector<std::u16string> leafs(FileSystemManager const& manager);

void addPart(Package& package, std::u16string const& name, std::u16string const& type, std::string const& text);
std::string textOfPart(Package const& package, std::u16string const& name);

/// A package of another maker, with a manifest of these fileEntry elements and the parts /c ("content"), /fsroot/c
/// ("shared") and /word/document.xml ("document").
std::unique_ptr<Package> foreignPackage(std::string const& entries);
/// One element; `kind` is File, Folder or SymLink.
std::string entryOf(std::string const& name, std::string const& content, std::string const& kind = "File");

/// Of a file on the local disk.
opc::Perms::Perms_tag permissionsOf(std::u16string const& path);
boost::posix_time::ptime timeOf(std::u16string const& path);

/// The error code of the exception of that class that the call throws.
template <typename Exception, typename Call>
boost::system::error_code codeOf(Call call) {
  try {
    call();
  } catch (Exception const& thrown) {
    return thrown.getErrorCode();
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

}  // namespace zt_test
