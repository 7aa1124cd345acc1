// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>

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

}  // namespace opc::model::detail
