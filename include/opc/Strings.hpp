// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// Conversions between the UTF-16 of the interface and the narrow strings of the outside. All functions
/// are pure but for the user's default encoding, which is asked of the environment at each call; all may
/// be called from any thread.
namespace opc {

/// Text that is not valid in the encoding that it is said to be in.
class ZT_API InvalidText : public Exception {
 public:
  using Exception::Exception;
};

/// Contents of a file that are text of no known character set, or hold what is no character of theirs.
class ZT_API UndecodableText : public Exception {
 public:
  using Exception::Exception;
};

/// UTF-16 from UTF-8. Ill-formed input throws InvalidText when `strict`, otherwise each ill-formed piece
/// becomes U+FFFD.
ZT_API std::u16string toString(std::string const& utf8, bool strict = true);

/// UTF-8 from UTF-16; a lone surrogate throws InvalidText that shows it escaped.
ZT_API std::string toUTF8String(std::u16string_view text);

/// The platform's wide string (UTF-32 here). A lone surrogate becomes U+FFFD.
ZT_API std::wstring toWideString(std::u16string const& text);

/// Narrow string in the user's default encoding, for messages. What that encoding cannot carry, and lone
/// surrogates, show as \u{HEX}; nothing is dropped.
ZT_API std::string toUDEString(std::u16string const& text);

/// Narrow ASCII rendering: ASCII as it is, everything else as \u{HEX} of its code point.
ZT_API std::string toASCIIString(std::u16string const& text);

/// The text with control characters, characters that steer the direction of writing, line and paragraph
/// separators and lone surrogates shown as \u{HEX} (tab, line feed and carriage return as \t, \n, \r, a
/// backslash that would look like one of these as \\), so that a name can be shown safely.
ZT_API std::u16string escapeForDisplay(std::u16string_view text);

/// Whether two strings are equal when the case of ASCII letters is ignored.
ZT_API bool caselessCompare(std::u16string_view a, std::u16string_view b);

/// Whether the string holds any Unicode white-space character.
ZT_API bool hasWhitespace(std::u16string_view text);

/// Name of the user's default encoding as the environment's locale gives it ("UTF-8", "ISO-8859-1",
/// "US-ASCII" for the C locale).
ZT_API std::string getUserDefaultEncoding();

namespace detail {

ZT_API std::u16string toStringFromUTF8String(std::string const& utf8, bool strict);

/// Last component of a "/"-separated path: what follows its last slash; "/" for the root.
ZT_API std::u16string getFilename(std::u16string const& path);

/// The path without its last component: what precedes its last slash; "/" for a one-level absolute path;
/// empty where there is none. Slashes are taken as they come: the parent of "/a/" is "/a".
ZT_API std::u16string getParentPath(std::u16string const& path);

}  // namespace detail
}  // namespace opc
