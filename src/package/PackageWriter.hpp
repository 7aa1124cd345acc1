// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "container/ArchiveWriter.hpp"
#include "package/PackageState.hpp"

namespace opc::model::detail {

/// Writes a package as it is now: the content types, the package's relationships, then all items in the
/// order of their names. Relationships parts that have changed are written into the store first; nothing else of the
/// state changes until adopt().
class PackageWriter {
 public:
  explicit PackageWriter(PackageState& state) : state_(state) {}

  void write(zip::ArchiveSink& sink);

  /// From now on the state reads from the archive, which has to hold what was written; its store starts again.
  /// Otherwise throws and changes nothing.
  void adopt(std::shared_ptr<zip::Archive const> archive);

 private:
  struct Item {
    std::string_view name;
    PartTable::value_type* part;  // null: an item that is no part
    std::uint32_t source;         // item of the old archive, for what is copied
    std::uint32_t ordinal;        // among the pieces of the part, or the items that are no parts
  };

  void collectItems();
  void collectPart(PartTable::value_type& part);
  void writeContentTypes(zip::ArchiveWriter& writer);
  static bool isCopied(Item const& item);
  void writeItem(zip::ArchiveWriter& writer, Item const& item) const;
  void requireWritten(zip::Archive const& archive) const;

  PackageState& state_;
  std::vector<Item> items_;  // in the order of writing, behind the content types
  std::map<std::string, MediaType const*> defaults_;
};

}  // namespace opc::model::detail
