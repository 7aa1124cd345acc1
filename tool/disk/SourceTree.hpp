// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ios>
#include <istream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/Errors.hpp"
#include "cli/Progress.hpp"
#include "disk/FilesAhead.hpp"
#include "disk/Glob.hpp"
#include "disk/TreeListing.hpp"
#include "opc/FileIdentity.hpp"
#include "opc/ForwardingFileSystemOps.hpp"

namespace ztpkg {

/// The directory that is stored, or one file or link of it, as a tree of its own whose root is "/". That hides from the
/// library a root with a backslash or with several names. Leaves out excluded paths and finds, before anything is
/// written, everything that cannot be stored. Errors are thrown as Failure and name the path on disk.
class SourceTree final : public opc::ForwardingFileSystemOps {
 public:
  struct Rules {
    std::vector<Glob> exclude;
    bool skipOutsideLinks = false;
    bool oneFileSystem = false;
    bool keepGoing = false;  ///< what cannot be read, or changes, is left out
    std::u16string given;    ///< the root as the user names it; empty for the working directory
    std::u16string place;    ///< folder of this tree that the directory appears as; empty for the root
    std::u16string only;     ///< name of the one file or link that the tree holds; empty for all there are
    std::optional<std::set<std::u16string>> named;  ///< the paths of what is stored, with all below; absent for all
    std::uint64_t longestFile = UINT64_MAX;         ///< longer ones cannot be stored
    Paths ownFiles;                                 ///< resolved paths of the package that is being written
    Paths otherRoots;  ///< further absolute names of the root, by which links may point below it
  };

  /// `root` is resolved: no component of it is a link. `disk` is used on two threads. `progress`, borrowed, counts the
  /// files and bytes that are read.
  SourceTree(opc::FileSystemOps& disk, std::u16string root, Rules rules, Progress& progress);

  /// Lists and checks everything. Throws Failure with all problems.
  void survey();

  std::u16string diskPath(std::u16string const& path) const;
  /// The same path as the user gives the root, for messages.
  std::u16string givenPath(std::u16string const& path) const;

  /// The files and links, and the folders, that the survey found, as paths of this tree.
  Paths const& leaves() const { return leaves_; }
  Paths const& folders() const { return folders_; }
  /// What the survey found of a leaf, by its index; zeros of a link.
  FileFacts const& factsOf(std::size_t leaf) const { return facts_[leaf]; }
  bool isLinkLeaf(std::size_t leaf) const { return facts_[leaf].identity.inode == 0; }
  /// Forgets the leaves and folders that the survey found, except these paths, which are in code-unit order.
  void restrictTo(Paths const& paths);
  std::size_t linkCount() const { return linkCount_; }
  std::size_t fileCount() const { return leaves_.size() - linkCount_; }
  std::uint64_t fileBytes() const { return fileBytes_; }
  /// For each item that is neither stored nor excluded a line that begins with "left out"; of many fifos, sockets and
  /// devices the first ones and their number.
  std::vector<std::string> leftOut() const;

  /// With keepGoing: the faults of what could not be read. Files among `broken` were added all the same, with anything
  /// for their content, and are to be removed again.
  std::vector<Report> const& faults() const { return faults_; }
  Paths const& broken() const { return broken_; }

  /// Throws Failure for a leaf that is not added: the library leaves out what was neither file nor link when it looked.
  /// To be called once all were to be added.
  void checkAdded(std::function<bool(std::u16string const& path)> const& isAdded);

  /// Throws Failure if the file that was read last changed meanwhile. Also to be called after the last file.
  void checkLastFile();

  /// The file that was opened last, as a path of this tree.
  std::u16string const& lastFile() const { return lastFile_.path; }

  bool isFile(std::u16string const& path) override;
  bool isSymlink(std::u16string const& path) override;
  void getFiles(std::u16string const& root, Paths& files, bool recursive, ErrorCode& error) override;
  std::u16string getLinkTarget(std::u16string const& path) override;
  std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                  ErrorCode& error) override;
  /// Throws Failure, naming the path on disk, for every error, and for another file than the survey found.
  opc::OpenedFile openForAdding(std::u16string const& path) override;
  opc::Perms::Perms_tag getPermissions(std::u16string const& path, ErrorCode& error) override;
  boost::posix_time::ptime getLastModifiedTime(std::u16string const& path, ErrorCode& error) override;
  std::optional<std::uint64_t> getFileSize(std::u16string const& path) override;

 private:
  /// The file that was opened last.
  struct LastFile {
    std::u16string path;  // empty for none
    opc::FileIdentity identity;
    std::function<std::optional<opc::FileIdentity>()> getIdentityNow;  // while it is open; empty where it cannot change
    bool hasChanged = false;
  };
  ListedItem singleSource() const;
  bool isExcluded(std::u16string const& path) const;
  bool isWanted(std::u16string const& path);
  bool isNamed(std::u16string const& path) const;
  bool leadsToNamed(std::u16string const& path) const;
  void addMissing();
  void take(ListedItem& item);
  void takeLeaf(ListedItem& item);
  void takeLink(std::u16string const& path);
  bool leavesOut(ListedItem const& item);
  void checkName(std::u16string const& path);
  /// An absolute link target as a path of this tree; none where it does not lie in it.
  std::optional<std::u16string> targetWithinRoot(std::u16string const& target) const;
  FilesAhead& readerAhead();
  void checkIsListed(std::u16string const& path, opc::OpenedFile const& file);
  void noteChange();
  [[noreturn]] void throwChanged(std::u16string const& path) const;
  bool tolerates(Failure const& failure);
  opc::OpenedFile openListed(std::u16string const& path);
  void keepUnreadable();
  void addProblem(Exit exit, std::string code, std::string const& message, std::u16string const& path);

  std::u16string root_;
  Rules rules_;
  Progress* progress_;
  Paths leaves_, folders_;
  std::vector<FileFacts> facts_;                                            // of each leaf; zeros of links
  std::vector<std::pair<std::u16string, char const*>> leftOut_, specials_;  // with the reasons
  std::size_t nextLeaf_ = 0;                                                // behind the one that was opened last
  std::size_t linkCount_ = 0;                                               // among leaves_
  std::uint64_t fileBytes_ = 0;
  std::vector<Report> problems_, faults_;
  std::set<std::u16string> missing_;  // of the paths that are named
  Paths broken_;
  std::unique_ptr<FilesAhead> ahead_;  // of the leaves, from the first that is opened
  LastFile lastFile_;
};

}  // namespace ztpkg
