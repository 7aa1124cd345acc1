// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <ios>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/Errors.hpp"
#include "cli/Progress.hpp"
#include "disk/FilesAhead.hpp"
#include "disk/ForwardingOps.hpp"
#include "disk/Glob.hpp"

namespace ztpkg {

/// The directory that is stored, or one file or link of it, seen as a tree of its own whose root is "/": so that a
/// root with a backslash, or with several names, is hidden from the library. Leaves out what is excluded and finds,
/// before anything is written, everything that cannot be stored. Errors are thrown as Failure and name the path on
/// disk.
class SourceTree final : public ForwardingOps {
 public:
  struct Rules {
    std::vector<Glob> exclude;
    bool skipOutsideLinks = false;
    std::u16string place;  ///< folder of this tree that the directory appears as; empty for the root
    std::u16string only;   ///< name of the one file or link that the tree holds; empty for all there are
    Paths ownFiles;        ///< resolved paths of the package that is being written
    Paths otherRoots;      ///< further absolute names of the root, by which links may point below it
  };

  /// `root` is resolved: no component of it is a link. `disk` is used on two threads. `progress`, borrowed, learns of
  /// what is read.
  SourceTree(opc::FileSystemOps& disk, std::u16string root, Rules rules, Progress& progress);

  /// Lists and checks everything; throws Failure with all problems there are.
  void survey();

  std::u16string diskPath(std::u16string const& path) const;

  /// What the survey found, as paths of this tree: files and links, folders, and the links and files of its
  /// own that were left out.
  Paths const& leaves() const { return leaves_; }
  Paths const& folders() const { return folders_; }
  std::size_t linkCount() const { return linkCount_; }
  std::size_t fileCount() const { return leaves_.size() - linkCount_; }
  std::uint64_t fileBytes() const { return fileBytes_; }
  Paths const& skippedLinks() const { return skippedLinks_; }
  Paths const& skippedOwn() const { return skippedOwn_; }

  /// Throws Failure when the file that was read last has changed meanwhile; once more after the last file.
  void checkLastFile();

  /// The file that was opened last, as a path of this tree.
  std::u16string const& lastFile() const { return lastFile_; }

  bool isFile(std::u16string const& path) override;
  /// A leaf that is neither file nor link any more is a Failure: the library would leave it out.
  bool isSymlink(std::u16string const& path) override;
  void getFiles(std::u16string const& root, Paths& files, bool recursive, ErrorCode& error) override;
  std::u16string getLinkTarget(std::u16string const& path) override;
  std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                  ErrorCode& error) override;
  /// Throws Failure, naming the path on disk, for every error.
  opc::OpenedFile openForAdding(std::u16string const& path) override;
  opc::Perms::Perms_tag getPermissions(std::u16string const& path, ErrorCode& error) override;
  boost::posix_time::ptime getLastModifiedTime(std::u16string const& path, ErrorCode& error) override;

 private:
  struct FileStatus {
    bool isLink = false;
    std::uint64_t size = 0;  // of a file
    int error = 0;           // why it cannot be read
  };

  Paths listed(bool folders);
  Paths listedOnDisk(bool folders);
  Paths singleSource() const;
  std::u16string unreadableFolder(std::u16string const& folder);
  bool isExcluded(std::u16string const& path) const;
  void checkName(std::u16string const& path);
  FileStatus statusOf(std::u16string const& path) const;
  std::vector<FileStatus> statusesOf(Paths const& paths) const;
  void checkLeaf(std::u16string const& path, FileStatus const& status);
  void checkLink(std::u16string const& path);
  /// An absolute link target as a path of this tree; none where it does not lie in it.
  std::optional<std::u16string> targetWithinRoot(std::u16string const& target) const;
  FilesAhead& readerAhead();
  [[noreturn]] void throwChanged(std::u16string const& path) const;
  void addProblem(Exit exit, std::string code, std::string const& message, std::u16string const& path);

  std::u16string root_;
  Rules rules_;
  Progress* progress_;
  Paths leaves_, folders_, skippedLinks_, skippedOwn_;
  std::size_t linkCount_ = 0;  // among leaves_
  std::uint64_t fileBytes_ = 0;
  std::vector<Report> problems_;
  std::unique_ptr<FilesAhead> ahead_;  // of the leaves, from the first that is opened
  std::u16string lastFile_;            // the one being read; empty for none
  bool isLastFixed_ = false;           // what it holds was read before, and together with its time
  boost::posix_time::ptime lastTime_;
};

}  // namespace ztpkg
