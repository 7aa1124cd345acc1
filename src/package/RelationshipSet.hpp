// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "opc/model/Relationship.hpp"
#include "package/Interned.hpp"

namespace opc::model::detail {

struct RelationshipRecord {
  std::u16string id;
  TextPool::Text type;
  std::u16string target;
  TargetMode mode;
  TextPool::Text source;  // name of the source part, "/" for the package
};

/// The name of the part that an internal relationship targets. Names that differ only in ASCII case are equivalent
/// (ECMA-376-2, 9.1.1), and so a look-up of this name ignores it. Absent for an external relationship and for a target
/// that resolves to no name.
std::optional<std::string> targetNameOf(RelationshipRecord const& relationship);

/// The relationships of one source, in order.
class RelationshipSet {
 public:
  using Record = std::shared_ptr<RelationshipRecord const>;

  bool contains(std::u16string_view id) const { return positions_.find(id) != positions_.end(); }
  bool hasType(std::u16string_view type) const;
  bool empty() const { return records_.empty(); }
  /// By position.
  std::map<std::uint64_t, Record> const& records() const { return records_; }

  /// The first of rId1, rId2 ... that no relationship has.
  std::u16string freeId();
  /// The id must not be in the set yet.
  void append(Record record);
  /// Answers whether there was one.
  bool remove(std::u16string_view id);

 private:
  std::map<std::uint64_t, Record> records_;
  std::map<std::u16string_view, std::uint64_t> positions_;  // keys are texts of the records
  std::uint64_t nextPosition_ = 0;
  // Every rIdN below firstUntried_ is taken or listed as freed, so that no number is tried twice.
  std::uint64_t firstUntried_ = 1;
  std::set<std::uint64_t> freed_;
};

}  // namespace opc::model::detail
