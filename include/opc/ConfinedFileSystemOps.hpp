// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ios>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Text.hpp"

namespace opc {

/// Options of a ConfinedFileSystemOps.
struct Confinement {
  bool replaceExisting = true;     ///< a file or link takes the place of one that is there; else file_exists
  bool allowOutsideLinks = false;  ///< links may be made whose targets leave the root
  bool makeHoles = false;          ///< long runs of zeros become holes of a file, which take no room
  bool allowInexactTimes = false;  ///< a time that the disk cannot hold becomes the nearest; else result_out_of_range
};

/// The local disk beneath one root directory, for extracting untrusted packages. Nothing outside the root is read,
/// written or changed, whatever paths and links a package holds and whatever another process does to the folders
/// meanwhile. A root folder that is moved stays the root.
///
/// Paths are the root, as given to the constructor, or begin with it and a slash; others, and those with a
/// ".." segment, are refused (operation_not_permitted). Each operation walks from the open root and goes
/// through no symbolic link (too_many_symbolic_link_levels). Links may be made whose targets stay beneath
/// the root: relative ones, or absolute ones that begin with the root; those that go up after they went down
/// only where they go down by folders that are there (operation_not_permitted). Links themselves, not what
/// they point to, have permissions and times here, and those permissions cannot be changed.
///
/// A file is written under a temporary name (".ztservices-" and random characters, mode 0600) and takes its own by
/// commit(), with the mode 0666 less the umask of the constructor's time; without commit() nothing remains.
/// Files are made in folders that stay open between calls: a folder that is moved stays the same folder until exists(),
/// createFolder() or createFolders() is called for its path. Special permission bits (set-user-ID, set-group-ID,
/// sticky) are dropped. In all else it behaves as LocalFileSystemOps. Any number of threads may use one object, and
/// streams may outlive it.
class ZT_API ConfinedFileSystemOps final : public FileSystemOps {
 public:
  /// Makes the root and its missing ancestors, and holds it open; the path of the root itself may lead through links.
  /// Throws opc::Exception with the system's code. What was made stays when the object is destroyed.
  explicit ConfinedFileSystemOps(std::u16string const& root, Confinement const& confinement = {});
  /// The same for a path as UTF-8 (opc/Text.hpp).
  explicit ConfinedFileSystemOps(Utf8Text auto const& root, Confinement const& confinement = {})
      : ConfinedFileSystemOps(toUTF16(root), confinement) {}
  ~ConfinedFileSystemOps() override;
  ConfinedFileSystemOps(ConfinedFileSystemOps const&) = delete;
  ConfinedFileSystemOps& operator=(ConfinedFileSystemOps const&) = delete;

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
  bool isThreadSafe() const override { return true; }
  Perms::Perms_tag getPermissions(std::u16string const& path, boost::system::error_code& error) override;
  void setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                      boost::system::error_code& error) override;
  boost::posix_time::ptime getLastModifiedTime(std::u16string const& path, boost::system::error_code& error) override;
  void setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                           boost::system::error_code& error) override;
  std::u16string appendPath(std::u16string const& base, std::u16string const& relative) override;
  std::u16string getParentPath(std::u16string const& path) override;
  std::u16string getExtension(std::u16string const& path) override;

  /// Removes a file, a link itself, or an empty folder; the root stays (operation_not_permitted).
  void remove(std::u16string const& path, boost::system::error_code& error);
  /// Removes from a folder the temporary files and links of killed processes. Those in use stay, and those that cannot
  /// be removed. A missing folder is no error.
  void removeLeftovers(std::u16string const& folder, boost::system::error_code& error);

 private:
  class Root;

  std::unique_ptr<Root const> root_;
  Confinement confinement_;
  LocalFileSystemOps text_;  // for what looks at the text of a path alone
};

}  // namespace opc
