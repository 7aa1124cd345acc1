// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/Progress.hpp"
#include "disk/SourceTree.hpp"
#include "opc/ztservices/FileSystem.hpp"

/// How the tree of a package differs from another tree.
namespace ztpkg {

enum class EntryKind { File, Folder, Link };
EntryKind kindOf(opc::ztservices::FileSystemEntry const& entry);

/// An entry of a tree. What is not recorded is absent.
struct TreeItem {
  EntryKind kind = EntryKind::File;
  std::optional<std::uint64_t> size = {};  ///< of a file
  std::optional<std::uint32_t> permissions = {};
  std::optional<boost::posix_time::ptime> time = {};
  bool hasUnrecordableTime = false;  ///< the disk has a time that no package can record
  std::u16string target = {};        ///< of a link
};

/// What the package records of an entry. The size of a file whose contents are missing is absent.
TreeItem itemOf(opc::ztservices::FileSystemManager const& manager, opc::ztservices::FileSystemEntry const& entry);
/// What the disk has; the target of a link is not looked up.
TreeItem itemOf(FileFacts const& facts);
/// Whether the two files differ in size, or in a recorded time or recorded permissions.
bool haveOtherFacts(TreeItem const& ours, TreeItem const& theirs);

/// The tree that a package is compared with: its entries without the root, by code units of their paths.
class OtherTree {
 public:
  virtual ~OtherTree() = default;
  virtual std::size_t count() const = 0;
  virtual std::u16string pathOf(std::size_t index) const = 0;
  virtual TreeItem itemAt(std::size_t index) = 0;
  /// Whether the entry of the package, a file, has the content of the file at that index. The sizes are equal.
  virtual bool hasSameContent(opc::ztservices::FileSystemManager& manager, opc::ztservices::FileSystemEntry const& file,
                              std::size_t index) = 0;
};

/// A surveyed directory (borrowed).
class DirectoryTree final : public OtherTree {
 public:
  DirectoryTree(SourceTree& source, Progress& progress);

  std::size_t count() const override { return places_.size(); }
  std::u16string pathOf(std::size_t index) const override;
  TreeItem itemAt(std::size_t index) override;
  /// Of a path that the tree has.
  std::size_t indexOf(std::u16string const& path) const;
  bool hasSameContent(opc::ztservices::FileSystemManager& manager, opc::ztservices::FileSystemEntry const& file,
                      std::size_t index) override;

 private:
  struct Place {
    bool isFolder;
    std::size_t index;  // in the folders or leaves of the source
  };
  std::u16string const& textOf(Place const& place) const;

  SourceTree& source_;
  Progress& progress_;
  std::vector<Place> places_;
};

/// The file system of another package (borrowed); its paths begin with a slash, also where the manifest has none.
class PackageTree final : public OtherTree {
 public:
  explicit PackageTree(opc::ztservices::FileSystemManager& manager);

  std::size_t count() const override { return entries_.size(); }
  std::u16string pathOf(std::size_t index) const override;
  TreeItem itemAt(std::size_t index) override;
  bool hasSameContent(opc::ztservices::FileSystemManager& manager, opc::ztservices::FileSystemEntry const& file,
                      std::size_t index) override;

 private:
  opc::ztservices::FileSystemManager& manager_;
  std::vector<opc::ztservices::FileSystemEntry> entries_;
};

/// One entry that differs.
struct Difference {
  enum class Change : char { Added = 'A', Deleted = 'D', Modified = 'M', Type = 'T' };

  Change change = Change::Added;
  std::u16string path;
  EntryKind kind = EntryKind::File;    ///< in the other tree; of a deleted entry in the package
  std::vector<char const*> what = {};  ///< of a modified entry: "size", "content", "time", "permissions", "target"

  char letter() const { return static_cast<char>(change); }
  /// Whether the content may differ, and is to be stored anew.
  bool hasOtherContent = false;
};

/// What a comparison does with entries whose paths do not begin with a slash, as manifests of other makers may have
/// them: throw Failure (bad-name), because such an entry has no path that a tree on the disk could change, or take the
/// path from the root.
enum class SlashlessPaths { Refuse, FromRoot };

struct ComparisonRules {
  /// Compares contents too; otherwise files of one size and time are taken for equal.
  bool readContents = false;
  /// Whether a path belongs to the comparison; empty for all.
  std::function<bool(std::u16string const& path)> isWanted = {};
  /// Whether the size of a file says nothing, because it was converted when it was stored; empty for none.
  std::function<bool(std::u16string const& path)> isConverted = {};
  SlashlessPaths slashless = SlashlessPaths::Refuse;
};

/// Finds what makes the package another tree than `other`, in order of path. The visitor must not change the package.
void compareTrees(opc::ztservices::FileSystemManager& manager, OtherTree& other, ComparisonRules const& rules,
                  std::function<void(Difference const&)> const& visit);

}  // namespace ztpkg
