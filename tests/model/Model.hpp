// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <map>
#include <memory>
#include <string>

#include "opc/model/Package.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "opc/ztservices/CoreProperties.hpp"
#include "opc/ztservices/FileSystem.hpp"

/// The plain model that random edits of packages are held against.
namespace zt_model {

/// Stands for what cannot be read.
inline constexpr char kUnreadable[] = "(unreadable)";

enum class Kind { File, Folder, Link };

/// What a user knows of an entry.
struct Node {
  Kind kind = Kind::Folder;
  opc::Perms::Perms_tag permissions = opc::Perms::NotKnown;
  boost::posix_time::ptime time{};
  std::string type{};     // of a file
  std::string content{};  // of a file; the target of a link
  bool isReadable = true;
  /// The part of the content, where other entries may share it, and whether the part stays when they go. Not compared.
  std::string part{};
  bool isKept = false;

  bool operator==(Node const& other) const;
};

using Entries = std::map<std::u16string, Node>;

/// The entries, and everything else in the package that is not a manager's own: parts, relationships, items of the
/// container, properties and cipher entries, as text by name.
struct Model {
  Entries entries;
  std::map<std::string, std::string> others;

  bool has(std::u16string const& path) const { return path == u"/" || entries.contains(path); }
  bool hasChildren(std::u16string const& path) const;
  /// Whether nothing has the path, and only folders are above it.
  bool isFree(std::u16string const& path) const;
  /// Adds or replaces an entry, and adds the folders above it.
  void set(std::u16string const& path, Node node);
  /// Whether an entry that is no folder stands above the path.
  bool isBelowLeaf(std::u16string const& path) const;
  /// Removes an entry and everything below it. A part that is more than content stays.
  void remove(std::u16string const& path);
  /// Gives an entry another path, with everything below it.
  void move(std::u16string const& from, std::u16string const& to);
  /// Gives a file other content. The files that share its part keep theirs.
  void rewrite(std::u16string const& path, std::string const& content);

  /// What a save keeps: a manifest does not list folders with entries below them, which lose permissions and times.
  Model saved() const;

  bool operator==(Model const&) const = default;
};

/// A package with the managers through which it is edited.
struct Edited {
  std::unique_ptr<opc::model::Package> package;
  opc::ztservices::FileSystemManager files{*package};
  opc::ztservices::CorePropertiesManager properties{*package};
  opc::ztservices::CipherDataManager ciphers{*package};
};

/// The selector of the cipher entry with that number.
opc::model::RelationshipSelector cipherSelector(unsigned number);
inline constexpr unsigned kCipherSelectors = 3;

/// Everything of the package, read through its managers.
Model observe(Edited& edited);
/// What the first difference is; empty for equal models.
std::string differenceOf(Model const& expected, Model const& seen);

}  // namespace zt_model
