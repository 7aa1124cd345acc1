// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <functional>
#include <ios>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "opc/Exception.hpp"
#include "opc/Export.hpp"
#include "opc/FileIdentity.hpp"
#include "opc/Streams.hpp"

namespace opc {

/// Permission bits of a file with their POSIX values; values are combined by "or". NotKnown stands for unknown
/// permissions and is no combination of bits.
///
/// A mode in its usual notation, such as Perms(0644), stands wherever permissions are taken.
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

  /// Throws opc::Exception for bits beyond 07777.
  constexpr explicit Perms(std::uint32_t mode)
      : bits_(mode <= 07777 ? static_cast<Perms_tag>(mode) : throw Exception("Not a mode of permissions")) {}

  constexpr operator Perms_tag() const { return bits_; }

 private:
  Perms_tag bits_;
};

/// A file that is open for reading, with the attributes that it had when it was opened.
struct OpenedFile {
  std::unique_ptr<std::istream> content;  ///< null on an error, and then the rest is unknown
  Perms::Perms_tag permissions = Perms::NotKnown;
  boost::posix_time::ptime time;
  std::optional<std::uint64_t> size;  ///< in bytes, where the disk knows it
  /// Of a regular file, where the disk knows it: when it was opened, and now. The call needs `content`, and none
  /// returned means that the disk cannot say. Equal ones show that the content did not change in between.
  std::optional<FileIdentity> identity;
  std::function<std::optional<FileIdentity>()> getIdentityNow;
  boost::system::error_code openError, permissionsError, timeError;
};

/// FileSystemManager reads and writes trees on a disk through an object of this class, so that an application can route
/// them elsewhere: to memory, to another host, or through checks of its own. Paths are UTF-16.
///
/// Operations with an error_code set it for ordinary failures instead of throwing, and clear it on success. After a
/// failure nothing is made or changed, unless the operation says otherwise. Operations without one return false, or
/// throw opc::Exception. Exceptions beside that (out of memory) pass through.
///
/// One thread at a time uses an object, unless isThreadSafe() says more. Callers borrow the object and keep it
/// alive for longer than what they give it to; the streams that it makes may outlive it only where the implementation
/// says so.
class ZT_API FileSystemOps {
 public:
  virtual ~FileSystemOps();

  /// Whether anything is there, a dangling symbolic link included. A missing file is no error.
  virtual bool exists(std::u16string const& path, boost::system::error_code& error) = 0;
  /// Whether a regular file, or a symbolic link, is there; links are not followed. False where the disk cannot tell.
  virtual bool isFile(std::u16string const& path) = 0;
  virtual bool isSymlink(std::u16string const& path) = 0;
  /// Whether the path names the same place from every working directory; looks at the text alone.
  virtual bool isAbsolutePath(std::u16string const& path) = 0;

  /// Fills `files` with the full paths of the regular files and symbolic links under `root` (with
  /// `recursive` false: directly in it), sorted by code unit. Former contents are dropped. Folders are walked, not
  /// listed; symbolic links are listed and not followed; sockets, fifos and devices are skipped. On an error `files`
  /// has everything that could be listed, and the error is the first one.
  virtual void getFiles(std::u16string const& root, std::vector<std::u16string>& files, bool recursive,
                        boost::system::error_code& error) = 0;
  /// The same walk for folders: fills `folders` with the full paths of those under `root`, without the root.
  virtual void getFolders(std::u16string const& root, std::vector<std::u16string>& folders, bool recursive,
                          boost::system::error_code& error) = 0;

  /// Makes one directory; an existing one is an error.
  virtual void createFolder(std::u16string const& path, boost::system::error_code& error) = 0;
  /// Makes a directory and any missing ancestors; an existing directory is no error. After a failure ancestors may
  /// remain.
  virtual void createFolders(std::u16string const& path, boost::system::error_code& error) = 0;
  /// Makes a symbolic link at `linkPath` whose content is `target`, to the letter; the target need not exist.
  virtual void createSymlink(std::u16string const& target, std::u16string const& linkPath,
                             boost::system::error_code& error) = 0;
  /// The target text of a symbolic link. Throws opc::Exception with the system's code where there is no link.
  virtual std::u16string getLinkTarget(std::u16string const& path) = 0;

  /// A stream over the file from its first byte on, owned by the caller; null on an error: EINVAL for fifos and
  /// sockets, at which a reader might wait for ever. The stream's buffer throws StreamError for a failure while
  /// reading.
  virtual std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                          boost::system::error_code& error) = 0;
  /// A stream over the file, owned by the caller; null on an error. An existing file is truncated; the
  /// write is complete only when commit() reports no error. A fifo that nobody reads is an error and not waited for.
  virtual std::unique_ptr<FileOutputStream> createOutputStream(std::u16string const& path, std::ios::openmode mode,
                                                               boost::system::error_code& error) = 0;

  /// Opens a regular file for reading, as createInputStream. Content, permissions and time belong to one file, whatever
  /// happens to the path meanwhile. A symbolic link in its place is an error (too_many_symbolic_link_levels).
  ///
  /// The default implementation calls createInputStream, getPermissions and getLastModifiedTime, until one fails. It
  /// follows links where they do, and another process may replace the file between the calls.
  virtual OpenedFile openForAdding(std::u16string const& path);
  /// A stream as of createOutputStream whose commit() also sets the time and then the permissions. A not-a-date-time
  /// and NotKnown leave what a new file gets. Until commit() nothing appears under the path; then the file does, with
  /// its content, time and permissions, and nothing looks it up by its path again. On an error nothing appears.
  ///
  /// The default implementation calls createOutputStream and, in commit(), setLastModifiedTime and setPermissions by
  /// path: until then the file has another mode. Its stream uses this object, which must live until then.
  virtual std::unique_ptr<FileOutputStream> createForRestoring(std::u16string const& path, Perms::Perms_tag permissions,
                                                               boost::posix_time::ptime const& time,
                                                               boost::system::error_code& error);

  /// Whether any number of threads may use the object at a time, each of them other streams, and nothing appears under
  /// the name of a file of createForRestoring() before its commit(). FileSystemManager uses an object on threads of its
  /// own only where this is true. False by default, also in classes that are derived from LocalFileSystemOps.
  virtual bool isThreadSafe() const;

  /// The size in bytes of the regular file at the path, where it is known without reading the file. FileSystemManager
  /// asks for it for Progress alone. The default knows no size.
  virtual std::optional<std::uint64_t> getFileSize(std::u16string const& path);

  /// The permission bits of what is at the path; NotKnown on an error. Setting sets exactly these bits, and NotKnown is
  /// an error.
  virtual Perms::Perms_tag getPermissions(std::u16string const& path, boost::system::error_code& error) = 0;
  virtual void setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                              boost::system::error_code& error) = 0;
  /// The time of the last change of the contents, in UTC, as precise as the disk keeps it down to the microsecond;
  /// not-a-date-time on an error. Setting a special time is an error.
  virtual boost::posix_time::ptime getLastModifiedTime(std::u16string const& path,
                                                       boost::system::error_code& error) = 0;
  virtual void setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                   boost::system::error_code& error) = 0;

  /// `base` joined with `relative` by the platform's separator. The result always stays textually beneath
  /// `base`: a leading separator of `relative` does not make it absolute.
  virtual std::u16string appendPath(std::u16string const& base, std::u16string const& relative) = 0;
  /// The path without its last component. The three look at the text alone.
  virtual std::u16string getParentPath(std::u16string const& path) = 0;
  /// The extension of the last component, with or without its dot by the convention of the implementation; empty where
  /// there is none. FileContentSource derives content types from it.
  virtual std::u16string getExtension(std::u16string const& path) = 0;

 protected:
  FileSystemOps() = default;
  FileSystemOps(FileSystemOps const&) = default;
  FileSystemOps& operator=(FileSystemOps const&) = default;
};

/// The local disk. Stateless: any number of threads may use one object, and streams may outlive it. Relative paths
/// start at the working directory. New folders and files get 0777 and 0666 less the umask.
///
/// Paths are UTF-8 on disk in every locale and may be longer than the system takes at once (PATH_MAX). A path with a
/// NUL or a lone surrogate is an error (invalid_argument), and a name on disk that is not UTF-8 is one of getFiles and
/// getFolders (illegal_byte_sequence). getLinkTarget throws InvalidText, with that code, for a target that is not
/// UTF-8; the exception shows it escaped.
///
/// Permissions and times are those of what a link points to. A time that the time type or the file system cannot hold
/// is an error (result_out_of_range); so are unknown permissions or times to be set, and stream modes that would not
/// begin at the first byte (invalid_argument). createInputStream follows links; createOutputStream does not write
/// through one (too_many_symbolic_link_levels). getExtension returns the extension without its dot ("txt"); names that
/// begin or end with their only dot have none.
///
/// createForRestoring writes under a temporary name (".ztservices-" and random characters, mode 0600) in the folder of
/// the file and replaces a regular file that is there. In an object of a derived class openForAdding and
/// createForRestoring call the single operations, as FileSystemOps does: the class may override any of them.
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
  OpenedFile openForAdding(std::u16string const& path) override;
  std::unique_ptr<FileOutputStream> createForRestoring(std::u16string const& path, Perms::Perms_tag permissions,
                                                       boost::posix_time::ptime const& time,
                                                       boost::system::error_code& error) override;
  bool isThreadSafe() const override;
  std::optional<std::uint64_t> getFileSize(std::u16string const& path) override;
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

/// Chooses the operations that serve a path, so that an application can route some directories elsewhere. The caller
/// borrows the object that is returned; it must live as long as the caller that asked, which keeps it until it asks
/// again. The same path may be asked for any number of times.
class ZT_API FileSystemOpsSelector {
 public:
  virtual ~FileSystemOpsSelector();
  virtual FileSystemOps& getForPath(std::u16string const& path) = 0;
};

}  // namespace opc
