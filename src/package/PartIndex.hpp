// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "container/Archive.hpp"
#include "opc/model/PartName.hpp"
#include "package/Interned.hpp"
#include "package/RelationshipSet.hpp"

/// The parts of a package. Packages with a million parts are normal, so a part takes one map node, and a copy of its
/// name only until the archive holds the name.
namespace opc::model::detail {

/// A part's exact name without its leading slash, as in the ZIP archive: a copy, or a view into the directory of the
/// archive that the package reads from.
class PartKey {
 public:
  static PartKey copyOf(std::string_view text);
  static PartKey viewOf(std::string_view text) { return {text, false}; }
  PartKey(PartKey&& other) noexcept;
  PartKey& operator=(PartKey&&) = delete;
  ~PartKey();

  std::string_view text() const { return {data_, size_}; }
  /// Replaces a copy by a view of the same text elsewhere, which keeps the order of a map.
  void viewInstead(std::string_view same) const noexcept;

 private:
  PartKey(std::string_view text, bool owns)
      : data_(text.data()), size_(static_cast<std::uint32_t>(text.size())), owns_(owns) {}

  mutable char const* data_;
  std::uint32_t size_;
  mutable bool owns_;
};

/// Ignores ASCII case and orders "/" before all other characters, so that the names that continue a name by whole
/// segments follow it directly.
struct NameLess {
  using is_transparent = void;

  static bool less(std::string_view a, std::string_view b);

  bool operator()(PartKey const& a, PartKey const& b) const { return less(a.text(), b.text()); }
  bool operator()(PartKey const& a, std::string_view b) const { return less(a.text(), b); }
  bool operator()(std::string_view a, PartKey const& b) const { return less(a, b.text()); }
  bool operator()(std::string_view a, std::string_view b) const { return less(a, b); }
};

/// Where a part's bytes are.
enum class Place : std::uint8_t {
  Nowhere,  // it has none
  Archive,  // item `number` of the archive
  Pieces,   // list `number` of the package's lists of pieces
  Store,    // content `number` of the store
  Outdated  // a relationships part whose relationships have changed since it was written
};

struct PartRecord {
  MediaType const* type = nullptr;
  std::unique_ptr<RelationshipSet> relationships;  // the content of a relationships part
  std::uint32_t number = 0;                        // its meaning depends on the place
  Place place = Place::Nowhere;
  bool isStored = false;  // new content is not compressed
  bool isMarkup = false;  // new content is compressed well at any level

  bool isInArchive() const { return place == Place::Archive || place == Place::Pieces; }
};

using PartTable = std::map<PartKey, PartRecord, NameLess>;

/// An item of the archive that is no part. Saves keep it, and no part may take its name.
struct LooseItem {
  std::uint32_t index;
  std::uint16_t nameLength;  // without the suffix of a piece
  bool isUntyped;            // a default content type for its extension would make it a part
};

/// The parts of a package, and the items of its archive that are no parts, by name. In a package that was read, no two
/// names are equal apart from ASCII case, and no part's name continues another's. Names of parts are narrow strings
/// with their leading slash (PartNameRules.hpp).
///
/// Names from the archive are views into its directory, which the index keeps alive.
class PartIndex {
 public:
  using iterator = PartTable::iterator;
  using const_iterator = PartTable::const_iterator;

  iterator begin() { return parts_.begin(); }
  iterator end() { return parts_.end(); }
  const_iterator begin() const { return parts_.begin(); }
  const_iterator end() const { return parts_.end(); }
  std::size_t size() const { return parts_.size(); }

  /// The part of an equivalent name, or end().
  iterator find(std::string_view name);
  const_iterator find(std::string_view name) const;
  /// The part of exactly that name, or end().
  iterator findExactly(PartName const& name);
  /// The same; throws PartNotFound.
  iterator get(PartName const& name);
  static std::string nameOf(const_iterator part);
  static PartName partNameOf(const_iterator part);

  /// In the order of NameLess.
  std::vector<LooseItem> const& items() const { return items_; }
  std::string_view nameOf(LooseItem const& item) const;
  /// The beginning of the item's name that no part may take.
  std::string_view takenBy(LooseItem const& item) const { return nameOf(item).substr(0, item.nameLength); }

  /// The name of an existing part or item that clashes with the name: the shortest that the name equals or continues,
  /// else the first that continues it.
  std::optional<std::string> existingClash(std::string_view name);
  /// The same, and clashes by the name's own segments (Package::isPartDerivedFromExistingPartName).
  std::optional<std::u16string> clash(std::u16string const& name);

  /// Neither checks the name.
  iterator insert(std::string_view name, MediaType const* type);
  void erase(iterator part) noexcept;
  /// How often a part was erased. While the number stays, so do pointers to entries.
  std::uint64_t erasures() const { return erasures_; }

  /// For PackageReader: the archive whose names are viewed, then its parts (fastest in the order of NameLess), then its
  /// other items. add() returns an existing part of the name and false.
  void read(std::shared_ptr<zip::Archive const> archive);
  std::pair<iterator, bool> add(std::string_view key, MediaType const* type);
  void setItems(std::vector<LooseItem> items);
  /// The same items in another archive. All names that are views must already be views into it.
  void moveTo(std::shared_ptr<zip::Archive const> archive, std::vector<LooseItem> items) noexcept;

 private:
  LooseItem const* findItem(std::string_view key) const;
  /// The same, given the first part that is not ordered before the name.
  std::optional<std::string> existingClash(std::string_view name, iterator next);

  std::shared_ptr<zip::Archive const> archive_;
  PartTable parts_;
  std::uint64_t erasures_ = 0;
  std::vector<LooseItem> items_;

  /// The last name found free since the index changed, and the part before which it would be inserted: callers usually
  /// insert a name directly after they ask about it.
  struct FreeName {
    std::string name;
    iterator next;
  };
  std::optional<FreeName> free_;
};

}  // namespace opc::model::detail
