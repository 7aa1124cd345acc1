// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// Conversions between the UTF-16 of the interface and the narrow strings of the system, and questions about texts
/// and paths. Every function may be called from any thread. The result depends on the arguments alone; only
/// toUDEString and getUserDefaultEncoding also read the environment, at each call.
///
/// Nothing here changes its arguments, and whatever throws has no effect. Every function that returns a string may
/// throw std::bad_alloc.
namespace opc {

/// A text is not valid in the encoding that the caller names. Carries the system's code EILSEQ.
class ZT_API InvalidText : public Exception {
 public:
  using Exception::Exception;
};

/// The contents of a file are not text: no known character set fits, or they hold bytes that their character set
/// does not have.
class ZT_API UndecodableText : public Exception {
 public:
  using Exception::Exception;
};

/// Converts UTF-8 to UTF-16. Where `strict`, ill-formed input throws InvalidText, which names the first such byte;
/// otherwise each ill-formed piece becomes U+FFFD.
ZT_API std::u16string toString(std::string const& utf8, bool strict = true);

/// Converts UTF-16 to UTF-8. A lone surrogate throws InvalidText, whose message shows the text escaped.
ZT_API std::string toUTF8String(std::u16string_view text);

/// Converts UTF-16 to the platform's wide string, which is UTF-32 here. A lone surrogate becomes U+FFFD.
ZT_API std::wstring toWideString(std::u16string const& text);

/// Converts UTF-16 to the user's default encoding, for messages. A lone surrogate, and each character that the
/// encoding does not have, becomes \u{HEX}. Nothing is dropped.
ZT_API std::string toUDEString(std::u16string const& text);

/// Converts UTF-16 to ASCII. Each other character becomes \u{HEX} of its code point.
ZT_API std::string toASCIIString(std::u16string const& text);

/// Makes a name safe to show on a terminal. Escaped as \u{HEX} are control characters, characters that steer the
/// direction of writing, line and paragraph separators, lone surrogates, and U+FFFE and U+FFFF. Tab, line feed and
/// carriage return become \t, \n and \r. A backslash that would read as the beginning of an escape becomes \\.
ZT_API std::u16string escapeForDisplay(std::u16string_view text);

/// Whether two strings are equal when case is ignored, by Unicode's simple case folding: character by character, in
/// every alphabet and independent of the locale. (Part names and content types are compared by ASCII case alone:
/// PartName::isEquivalentTo, ContentType's operator==.)
ZT_API bool caselessCompare(std::u16string_view a, std::u16string_view b);

/// Whether the string holds a Unicode white-space character.
ZT_API bool hasWhitespace(std::u16string_view text);

/// Name of the encoding of the user's locale, as the environment gives it at the time of the call: "UTF-8",
/// "ISO-8859-1", or "US-ASCII" for the C locale.
ZT_API std::string getUserDefaultEncoding();

/// The lower-case and the upper-case hexadecimal digit of a value from 0 to 15.
constexpr char hexDigit(unsigned value) noexcept { return "0123456789abcdef"[value]; }
constexpr char upperHexDigit(unsigned value) noexcept { return "0123456789ABCDEF"[value]; }

/// The value of a hexadecimal digit in either case; -1 for every other character.
constexpr int hexValue(char16_t digit) noexcept {
  if (digit >= u'0' && digit <= u'9') return digit - u'0';
  if (digit >= u'a' && digit <= u'f') return digit - u'a' + 10;
  return digit >= u'A' && digit <= u'F' ? digit - u'A' + 10 : -1;
}

/// Rank of a code unit in the order of paths: "/" comes first, the others follow in their own order.
constexpr unsigned pathRank(char16_t unit) noexcept { return unit == u'/' ? 0u : unit < u'/' ? unit + 1u : unit; }

/// Orders "/"-separated paths so that everything below a folder follows directly on the folder.
struct ZT_API PathLess {
  using is_transparent = void;
  bool operator()(std::u16string_view a, std::u16string_view b) const noexcept;
};

/// Whether `path` continues `folder` by at least one slash. Both are compared as they are written; no path is below
/// the folder "/", which ends in its slash.
ZT_API bool isBelowPath(std::u16string_view path, std::u16string_view folder) noexcept;

namespace detail {

ZT_API std::u16string toStringFromUTF8String(std::string const& utf8, bool strict);

/// The last component of a "/"-separated path: what follows its last slash; "/" for the root.
ZT_API std::u16string getFilename(std::u16string const& path);

/// The path without its last component: what precedes its last slash; "/" for an absolute path of one component;
/// empty for a path without a slash and for the root. Slashes are taken as they come: the parent of "/a/" is "/a".
ZT_API std::u16string getParentPath(std::u16string const& path);

}  // namespace detail
}  // namespace opc
