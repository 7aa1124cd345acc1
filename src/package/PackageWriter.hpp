// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "container/Archive.hpp"
#include "container/ArchiveWriter.hpp"
#include "container/AtomicFile.hpp"
#include "container/Spool.hpp"
#include "io/FileHandle.hpp"
#include "package/PackageState.hpp"
#include "package/Watching.hpp"

namespace opc::model::detail {

/// Writes the present state of a package. write() and shareFile() put changed relationships parts into the store first,
/// and shareFile() takes the store's file away. Nothing else of the state changes until adopt().
class PackageWriter {
 public:
  PackageWriter(PackageState& state, Watching& watching) : state_(state), watching_(watching) {}

  /// Writes the content types, then the items of the old archive in their order, and then new ones in the order of
  /// their names, the package's relationships first.
  void write(zip::ArchiveSink& target);

  /// The store's file, where it holds all items of a new package and only the content types and the directory are
  /// missing; otherwise a handle that is not open. The store does not write to that file any more: when the save fails,
  /// the next one copies the contents.
  FileHandle shareFile();
  /// Completes the file of shareFile(): the content types in front, the directory behind the items.
  void complete(zip::AtomicFile& target);

  /// Has the state read from the archive, which must hold what was written, and restarts its store. Otherwise throws
  /// and changes nothing.
  void adopt(std::shared_ptr<zip::Archive const> archive);

 private:
  struct Item {
    std::string_view name;
    PartTable::value_type* part;  // null for an item that is no part
    std::uint32_t source;         // item of the old archive that is copied, or that has the name; else kNone
    std::uint32_t ordinal;        // among the pieces of the part, or the items that are no parts
  };

  static constexpr std::uint32_t kNone = UINT32_MAX;

  void announceWork() const;
  void collectItems();
  void findFormerItems();
  std::shared_ptr<zip::Spool const> orderAsStored();
  bool fillRoom();
  void collectPart(PartTable::value_type& part);
  zip::Content const& contentTypes();
  static bool isCopied(Item const& item);
  std::size_t endOfRun(std::size_t begin) const;
  void writeRun(zip::ArchiveWriter& writer, std::size_t begin, std::size_t end) const;
  std::uint64_t storedSize(Item const& item) const;
  void requireWritten(zip::Archive const& archive) const;

  PackageState& state_;
  Watching& watching_;
  std::vector<Item> items_;  // in the order of writing, behind the content types
  std::map<std::string, MediaType const*> defaults_;
  std::optional<zip::Content> contentTypes_;  // once they are written
  std::vector<unsigned char> first_;          // the room in front of the items: the content types and their header
  std::uint16_t firstHeader_ = 0;             // size of that header
};

}  // namespace opc::model::detail
