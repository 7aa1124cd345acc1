// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>

#include "opc/Export.hpp"
#include "opc/Text.hpp"
#include "opc/model/URI.hpp"

namespace opc::model {

/// The name of a part (ECMA-376-2, 9.1.1): an absolute path such as "/metadata/manifest.xml". Any text can be held, so
/// that callers can ask a package about names that no part may bear; Package::createPart refuses names that are not
/// valid. Equality and order are by code unit, while a package treats names that differ only in ASCII case as
/// equivalent (9.1.1.3 and 9.1.1.4). A value; different threads may read one object.
class ZT_API PartName {
 public:
  /// The empty name, which no part has.
  PartName() = default;
  explicit PartName(URI const& uri) : text_(uri.toString()) {}
  explicit PartName(std::u16string text) : text_(std::move(text)) {}
  explicit PartName(char16_t const* text) : text_(text) {}
  explicit PartName(Utf8Text auto const& text) : text_(toUTF16(text)) {}

  URI getURI() const { return URI(text_); }
  std::u16string const& toString() const { return text_; }

  /// Whether a part may bear the name by its grammar (ECMA-376-2, 9.1.1.1 and 9.1.1.2): ASCII; a leading slash; no
  /// empty segment and none that ends in a dot; no percent-encoded slash, backslash or unreserved character. The names
  /// of relationships parts are valid. Says nothing about clashes with other parts.
  bool isValid() const;

  /// Whether this is the name of a relationships part, "/_rels/.rels" or ".../_rels/NAME.rels" in any ASCII
  /// case (ECMA-376-2, 9.3.3).
  bool isRelationshipsPart() const;

  /// Whether the names are equal when the case of ASCII letters is ignored: equivalent names cannot stand together in a
  /// package.
  bool isEquivalentTo(PartName const& other) const;

  friend bool operator==(PartName const&, PartName const&) = default;
  friend std::strong_ordering operator<=>(PartName const&, PartName const&) = default;

 private:
  std::u16string text_;
};

}  // namespace opc::model

template <>
struct std::hash<opc::model::PartName> {
  std::size_t operator()(opc::model::PartName const& name) const noexcept {
    return std::hash<std::u16string>()(name.toString());
  }
};
