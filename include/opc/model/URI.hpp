// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "opc/Export.hpp"

namespace opc::model {

/// A URI reference, kept as it was written. A value; thread-safe as values are.
class ZT_API URI {
 public:
  URI() = default;
  explicit URI(std::u16string text) : text_(std::move(text)) {}
  explicit URI(char16_t const* text) : text_(text) {}

  std::u16string const& toString() const { return text_; }

  /// Whether the reference begins with a scheme (RFC 3986, 3.1) and so is not relative.
  bool hasScheme() const;

  /// The reference resolved against an absolute package path, without its query and fragment: the URI of a
  /// part. Its path is first made one that part names may have (ECMA-376-2, A.1 to A.3): what a URI cannot
  /// hold is percent-encoded, what need not be is not, backslashes become slashes, empty segments and dots
  /// at the ends of segments go; then RFC 3986, 5.2. Throws InvalidURI for a reference with a scheme or an
  /// authority.
  URI resolvedAgainst(URI const& base) const;

  static char16_t getSlash() { return u'/'; }
  static char16_t getDot() { return u'.'; }

  /// Percent-encodes (upper-case hexadecimal of the UTF-8 bytes) every character of the component that is
  /// neither unreserved (RFC 3986, 2.3) nor in `allowed`. A lone surrogate throws opc::InvalidText.
  static std::u16string encodeComponent(std::u16string const& component, std::string const& allowed);

  friend bool operator==(URI const&, URI const&) = default;

 private:
  std::u16string text_;
};

}  // namespace opc::model
