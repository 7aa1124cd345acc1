// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

#include "opc/Export.hpp"
#include "opc/Text.hpp"

namespace opc::model {

/// A URI reference (RFC 3986, 4.1), kept as it was written. Any text can be held; operations that need a valid
/// reference check it. A value; different threads may read one object.
class ZT_API URI {
 public:
  /// The empty reference.
  URI() = default;
  explicit URI(std::u16string text) : text_(std::move(text)) {}
  explicit URI(char16_t const* text) : text_(text) {}
  explicit URI(Utf8Text auto const& text) : text_(toUTF16(text)) {}

  std::u16string const& toString() const { return text_; }

  /// Whether the reference begins with a scheme (RFC 3986, 3.1) and so is not relative.
  bool hasScheme() const;

  /// The reference resolved against an absolute package path, without its query and fragment: the URI of a part, if the
  /// package has one of that name. The path is first converted to the form of part names (ECMA-376-2, A.1 to A.3):
  /// characters that a URI cannot hold are percent-encoded, needless encodings decoded, backslashes converted to
  /// slashes, empty segments and the dots at the ends of segments removed. Then RFC 3986, 5.2 applies. Throws
  /// InvalidURI for a reference with a scheme or an authority.
  URI resolvedAgainst(URI const& base) const;

  /// The separator of segments, and the dot of "." and ".." segments and of extensions.
  static char16_t getSlash() { return u'/'; }
  static char16_t getDot() { return u'.'; }

  /// Percent-encodes every character of the component that is neither unreserved (RFC 3986, 2.3) nor one of the ASCII
  /// characters in `allowed`, as upper-case hexadecimal of its UTF-8 bytes. A percent sign is encoded again unless
  /// allowed. Throws opc::InvalidText for a lone surrogate.
  static std::u16string encodeComponent(std::u16string const& component, std::string const& allowed);

  /// Compares the texts; equivalent references that are written differently are not equal.
  friend bool operator==(URI const&, URI const&) = default;

 private:
  std::u16string text_;
};

}  // namespace opc::model
