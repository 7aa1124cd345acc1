// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "opc/Streams.hpp"
#include "opc/model/Relationship.hpp"
#include "package/Interned.hpp"

namespace opc::model {
class XmlStreamReader;

struct RelationshipRecord {
  std::u16string id;
  detail::TextPool::Text type;
  std::u16string target;
  TargetMode mode;
  detail::TextPool::Text source;  // name of the source part, "/" for the package
};

}  // namespace opc::model

/// The relationships of one source, and the XML of the part that holds them.
namespace opc::model::detail {

/// The name of the part that an internal relationship targets. Names that differ only in ASCII case are equivalent
/// (ECMA-376-2, 9.1.1), so look it up without regard to case. Absent for an external relationship and for a target that
/// resolves to no name.
std::optional<std::string> targetNameOf(RelationshipRecord const& relationship);

/// The relationships of one source, in order.
class RelationshipSet {
 public:
  using Record = std::shared_ptr<RelationshipRecord const>;

  bool contains(std::u16string_view id) const { return positions_.find(id) != positions_.end(); }
  /// Null where no relationship has the id.
  Record find(std::u16string_view id) const;
  bool hasType(std::u16string_view type) const;
  bool empty() const { return records_.empty(); }
  /// By position.
  std::map<std::uint64_t, Record> const& records() const { return records_; }

  /// The first of rId1, rId2 ... that no relationship has.
  std::u16string freeId();
  /// The set must not contain the id.
  void append(Record record);
  /// False where no relationship has the id.
  bool remove(std::u16string_view id);

 private:
  std::map<std::uint64_t, Record> records_;
  std::map<std::u16string_view, std::uint64_t> positions_;  // keys are texts of the records
  std::uint64_t nextPosition_ = 0;
  // Every rIdN below firstUntried_ is taken or in freed_, so that no number is tried twice.
  std::uint64_t firstUntried_ = 1;
  std::set<std::uint64_t> freed_;
};

/// How many relationships the parts of a package may hold together, and how many have been read.
struct RelationshipCount {
  std::uint64_t maximum;
  std::uint64_t taken = 0;
};

/// Reads a relationships part (ECMA-376-2, 9.3) of a source (empty: the package) into the set. Processes markup
/// compatibility (9.3.4) and drops content that it leaves out. Throws what the reader throws, and InvalidXMLDocument
/// for faults of relationships.
void readRelationships(XmlStreamReader& reader, InputStream& input, std::string const& source, TextPool& texts,
                       RelationshipCount& count, RelationshipSet& relationships);

/// Writes a relationships part. Does not close the stream.
void writeRelationships(RelationshipSet const& relationships, OutputStream& output);

/// Whether an internal relationship may have the target: a relative reference to anything except a relationships part.
/// `source` is "/" for the package.
bool isInternalTarget(std::u16string const& target, std::u16string const& source);

}  // namespace opc::model::detail
