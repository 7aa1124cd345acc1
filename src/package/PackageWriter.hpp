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
/// order of their names. The state is left as it is (relationships parts that were outdated are in the
/// spool); adopt() then binds it to what was written.
class PackageWriter {
 public:
  explicit PackageWriter(PackageState& state) : state_(state) {}

  void write(zip::ArchiveSink& sink);

  /// Has the state read from the archive, which holds what was written, and forget its spool. Throws, and
  /// leaves the state alone, when the archive does not.
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
