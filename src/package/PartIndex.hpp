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

/// The parts of a package. A million of them are a normal case, so that a part takes a map node of
/// 72 bytes, and a name of its own only until its archive holds it.
namespace opc::model::detail {

/// A part's exact name without its leading slash, as an item of a ZIP archive bears it: a copy, or a view
/// into the directory of the archive that the package reads from.
class PartKey {
 public:
  static PartKey copyOf(std::string_view text);
  static PartKey viewOf(std::string_view text) { return {text, false}; }
  PartKey(PartKey&& other) noexcept;
  PartKey& operator=(PartKey&&) = delete;
  ~PartKey();

  std::string_view text() const { return {data_, size_}; }
  /// Lets go of a copy in favour of the same text elsewhere; so the order of a map is not touched.
  void viewInstead(std::string_view same) const noexcept;

 private:
  PartKey(std::string_view text, bool owns)
      : data_(text.data()), size_(static_cast<std::uint32_t>(text.size())), owns_(owns) {}

  mutable char const* data_;
  std::uint32_t size_;
  mutable bool owns_;
};

/// Ignores ASCII case, and has "/" before everything else, so that the names that continue a name by whole
/// segments stand right behind it.
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
  Nowhere,  // there are none
  Archive,  // item `number` of the archive
  Pieces,   // list `number` of the package's lists of pieces
  Store,    // content `number` of the store of what was written
  Outdated  // a relationships part that is to be written anew from its relationships
};

struct PartRecord {
  MediaType const* type = nullptr;
  std::unique_ptr<RelationshipSet> relationships;  // of a relationships part: what it holds
  std::uint32_t number = 0;                        // what it counts depends on the place
  Place place = Place::Nowhere;
  bool isStored = false;  // new content is to be stored, not compressed

  bool isInArchive() const { return place == Place::Archive || place == Place::Pieces; }
};

using PartTable = std::map<PartKey, PartRecord, NameLess>;

/// An item of the archive that is no part. It is kept, and no part may take its name.
struct LooseItem {
  std::uint32_t index;
  std::uint16_t nameLength;  // of a piece: without what makes it one
  bool isUntyped;            // giving its extension a content type would make it a part
};

/// The parts of a package, and the items of its archive that are no parts, by name. No two names are equal but for
/// ASCII case, and no part's name continues another's, once a package is read. Names of parts are narrow strings with
/// their leading slash (PartNameRules.hpp).
///
/// Names that were read are views into the archive's directory, which the index keeps alive.
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
  /// The part of the item's name that no part may take.
  std::string_view takenBy(LooseItem const& item) const { return nameOf(item).substr(0, item.nameLength); }

  /// The name of an existing part or item because of which a part of that name cannot be: the shortest that
  /// the name equals or continues, else the first that continues it.
  std::optional<std::string> existingClash(std::string_view name);
  /// The same, and what the name's own segments forbid (Package::isPartDerivedFromExistingPartName).
  std::optional<std::u16string> clash(std::u16string const& name);

  /// Neither checks anything about the name.
  iterator insert(std::string_view name, MediaType const* type);
  void erase(iterator part) noexcept;

  /// For who reads a package: the archive that names are views of, then its parts (fastest in the order of NameLess),
  /// then its other items. add() returns the part that has the name already, if any does.
  void read(std::shared_ptr<zip::Archive const> archive);
  std::pair<iterator, bool> add(std::string_view key, MediaType const* type);
  void setItems(std::vector<LooseItem> items);
  /// The same items in another archive, to which the names of all parts that were views already belong.
  void moveTo(std::shared_ptr<zip::Archive const> archive, std::vector<LooseItem> items) noexcept;

 private:
  LooseItem const* findItem(std::string_view key) const;
  /// What the other says, by whoever has looked up the first part that does not stand before one of that name.
  std::optional<std::string> existingClash(std::string_view name, iterator next);

  std::shared_ptr<zip::Archive const> archive_;
  PartTable parts_;
  std::vector<LooseItem> items_;

  /// A name that clashes with nothing, as far as was seen since the last change of the index, and the part before which
  /// one of that name will stand: who asks about a name goes on to use it.
  struct FreeName {
    std::string name;
    iterator next;
  };
  std::optional<FreeName> free_;
};

}  // namespace opc::model::detail
