// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <ios>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Streams.hpp"

namespace opc {

/// Permission bits of a file with their POSIX values.
struct Perms {
  enum Perms_tag : std::uint32_t {
    None = 0,
    OthersExecute = 01,
    OthersWrite = 02,
    OthersRead = 04,
    GroupExecute = 010,
    GroupWrite = 020,
    GroupRead = 040,
    OwnerExecute = 0100,
    OwnerWrite = 0200,
    OwnerRead = 0400,
    Sticky = 01000,
    SetGroupID = 02000,
    SetUserID = 04000,
    NotKnown = 0xFFFF
  };
};

/// Everything that the library does on a disk goes through an object of this class, so that an
/// application can route it elsewhere. Paths are UTF-16. Operations with an error_code never throw for
/// ordinary failures: they set it, and clear it on success. Two operations of one object may run on two
/// threads where the implementation says so.
class ZT_API FileSystemOps {
 public:
  virtual ~FileSystemOps();

  /// Whether anything is there, a dangling symbolic link included.
  virtual bool exists(std::u16string const& path, boost::system::error_code& error) = 0;
  /// A regular file; a symbolic link is none, whatever it points to.
  virtual bool isFile(std::u16string const& path) = 0;
  virtual bool isSymlink(std::u16string const& path) = 0;
  virtual bool isAbsolutePath(std::u16string const& path) = 0;

  /// Fills `files` with the full paths of the regular files and symbolic links under `root` (with
  /// `recursive` false: directly in it), sorted by code unit. Folders are walked, not listed; symbolic
  /// links are listed and not followed; sockets, fifos and devices are skipped.
  virtual void getFiles(std::u16string const& root, std::vector<std::u16string>& files, bool recursive,
                        boost::system::error_code& error) = 0;
  /// The same walk for folders: fills `folders` with the full paths of those under `root`, without it.
  virtual void getFolders(std::u16string const& root, std::vector<std::u16string>& folders, bool recursive,
                          boost::system::error_code& error) = 0;

  /// Makes one directory; an existing one is an error.
  virtual void createFolder(std::u16string const& path, boost::system::error_code& error) = 0;
  /// Makes a directory and any missing ancestors; an existing one is none.
  virtual void createFolders(std::u16string const& path, boost::system::error_code& error) = 0;
  /// Makes a symbolic link at `linkPath` whose content is `target`, unresolved.
  virtual void createSymlink(std::u16string const& target, std::u16string const& linkPath,
                             boost::system::error_code& error) = 0;
  /// The target text of a symbolic link. Throws opc::Exception with the system's code where there is none.
  virtual std::u16string getLinkTarget(std::u16string const& path) = 0;

  /// A stream over the file, owned by the caller; null on an error: EINVAL for fifos and sockets, at which a
  /// reader might wait for ever. Errors while reading are thrown.
  virtual std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                          boost::system::error_code& error) = 0;
  /// A stream over the file, owned by the caller; null on an error. An existing file is truncated; the
  /// write is complete only when commit() reports no error.
  virtual std::unique_ptr<FileOutputStream> createOutputStream(std::u16string const& path, std::ios::openmode mode,
                                                               boost::system::error_code& error) = 0;

  virtual Perms::Perms_tag getPermissions(std::u16string const& path, boost::system::error_code& error) = 0;
  virtual void setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                              boost::system::error_code& error) = 0;
  virtual boost::posix_time::ptime getLastModifiedTime(std::u16string const& path,
                                                       boost::system::error_code& error) = 0;
  virtual void setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                   boost::system::error_code& error) = 0;

  /// `base` joined with `relative` by the platform's separator. The result always stays textually beneath
  /// `base`: a leading separator of `relative` does not make it absolute.
  virtual std::u16string appendPath(std::u16string const& base, std::u16string const& relative) = 0;
  virtual std::u16string getParentPath(std::u16string const& path) = 0;
  /// The extension of the last component, in the convention of the implementation.
  virtual std::u16string getExtension(std::u16string const& path) = 0;

 protected:
  FileSystemOps() = default;
  FileSystemOps(FileSystemOps const&) = default;
  FileSystemOps& operator=(FileSystemOps const&) = default;
};

/// The local disk. Stateless: one object may be used by any number of threads. Paths are UTF-8 on disk in
/// every locale; a path with a NUL or a lone surrogate is an error (invalid_argument), and so is a name
/// found on disk that is not UTF-8 (illegal_byte_sequence, thrown by getFiles as InvalidText that shows
/// it escaped). Permissions and times are those of what a link points to; a time that the time type or the
/// file system cannot hold is an error (result_out_of_range), and so are unknown ones to be set and stream
/// modes that would not begin at the first byte (invalid_argument). createOutputStream does not write through
/// a symbolic link (too_many_symbolic_link_levels). getExtension returns the extension
/// without its dot ("txt"); names that begin or end with their only dot have none.
class ZT_API LocalFileSystemOps : public FileSystemOps {
 public:
  bool exists(std::u16string const& path, boost::system::error_code& error) override;
  bool isFile(std::u16string const& path) override;
  bool isSymlink(std::u16string const& path) override;
  bool isAbsolutePath(std::u16string const& path) override;
  void getFiles(std::u16string const& root, std::vector<std::u16string>& files, bool recursive,
                boost::system::error_code& error) override;
  void getFolders(std::u16string const& root, std::vector<std::u16string>& folders, bool recursive,
                  boost::system::error_code& error) override;
  void createFolder(std::u16string const& path, boost::system::error_code& error) override;
  void createFolders(std::u16string const& path, boost::system::error_code& error) override;
  void createSymlink(std::u16string const& target, std::u16string const& linkPath,
                     boost::system::error_code& error) override;
  std::u16string getLinkTarget(std::u16string const& path) override;
  std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                  boost::system::error_code& error) override;
  std::unique_ptr<FileOutputStream> createOutputStream(std::u16string const& path, std::ios::openmode mode,
                                                       boost::system::error_code& error) override;
  Perms::Perms_tag getPermissions(std::u16string const& path, boost::system::error_code& error) override;
  void setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                      boost::system::error_code& error) override;
  boost::posix_time::ptime getLastModifiedTime(std::u16string const& path, boost::system::error_code& error) override;
  void setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                           boost::system::error_code& error) override;
  std::u16string appendPath(std::u16string const& base, std::u16string const& relative) override;
  std::u16string getParentPath(std::u16string const& path) override;
  std::u16string getExtension(std::u16string const& path) override;
};

/// Chooses the operations that serve a path, so that a caller can route some directories elsewhere. The
/// object returned is borrowed and outlives its use by the caller.
class ZT_API FileSystemOpsSelector {
 public:
  virtual ~FileSystemOpsSelector();
  virtual FileSystemOps& getForPath(std::u16string const& path) = 0;
};

}  // namespace opc
