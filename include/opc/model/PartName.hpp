// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <string>

#include "opc/Export.hpp"
#include "opc/model/URI.hpp"

namespace opc::model {

/// The name of a part. Any text can be held, so that a package can be asked about names that no part may
/// bear; Package::createPart refuses those that are not valid. Equality and order are by code unit;
/// packages treat names that differ only in ASCII case as equivalent (ECMA-376-2, 9.1.1.3 and 9.1.1.4).
class ZT_API PartName {
 public:
  PartName() = default;
  explicit PartName(URI const& uri) : text_(uri.toString()) {}
  explicit PartName(std::u16string text) : text_(std::move(text)) {}
  explicit PartName(char16_t const* text) : text_(text) {}

  URI getURI() const { return URI(text_); }
  std::u16string const& toString() const { return text_; }

  /// Whether a part may bear the name: ECMA-376-2, 9.1.1.1 (grammar) and 9.1.1.2.
  bool isValid() const;

  /// Whether this is the name of a relationships part, "/_rels/.rels" or ".../_rels/NAME.rels" in any ASCII
  /// case (ECMA-376-2, 9.3.3).
  bool isRelationshipsPart() const;

  /// Equal when the case of ASCII letters is ignored.
  bool isEquivalentTo(PartName const& other) const;

  friend bool operator==(PartName const&, PartName const&) = default;
  friend std::strong_ordering operator<=>(PartName const&, PartName const&) = default;

 private:
  std::u16string text_;
};

}  // namespace opc::model
