// SPDX-License-Identifier: Apache-2.0
#include "opc/model/URI.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "text/Ascii.hpp"
#include "text/Unicode.hpp"

namespace opc::model {
namespace {

bool isOneOf(char16_t c, std::string_view set) { return c < 0x80 && set.find(static_cast<char>(c)) < set.size(); }
bool isUnreserved(char16_t c) { return ascii::isLetter(c) || ascii::isDigit(c) || isOneOf(c, "-._~"); }
/// Characters of a URI path, with the percent sign of existing encodings.
bool isPathCharacter(char16_t c) { return isUnreserved(c) || isOneOf(c, "!$&'()*+,;=:@/%"); }

void appendEncoded(std::u16string& out, std::string_view utf8) {
  for (char const c : utf8) {
    auto const byte = static_cast<unsigned char>(c);
    out += {u'%', static_cast<char16_t>(upperHexDigit(byte >> 4)), static_cast<char16_t>(upperHexDigit(byte & 15))};
  }
}

/// Encodes every character that `keep` refuses. `keep` refuses all characters beyond ASCII.
template <typename Keep>
std::u16string percentEncoded(std::u16string_view text, Keep const& keep) {
  std::u16string encoded;
  encoded.reserve(text.size());
  while (!text.empty()) {
    std::u16string_view const before = text;
    char32_t const c = unicode::takeCodePoint(text);
    if (keep(before.front()))
      encoded += before.front();
    else
      appendEncoded(encoded, toUTF8String(before.substr(0, c < 0x10000 ? 1 : 2)));
  }
  return encoded;
}

std::u16string_view withoutQueryAndFragment(std::u16string_view reference) {
  return reference.substr(0, reference.find_first_of(u"?#"));
}

/// The value of two hexadecimal digits at the beginning of the text, or a negative number.
int encodedByte(std::u16string_view text) {
  if (text.size() < 2 || hexValue(text[0]) < 0 || hexValue(text[1]) < 0) return -1;
  return hexValue(text[0]) * 16 + hexValue(text[1]);
}

/// ECMA-376-2, A.3, steps 2 to 5: percent signs that encode nothing are encoded, encoded slashes and
/// characters that need no encoding are decoded, and backslashes become slashes.
std::u16string withNecessaryEncodings(std::u16string_view path) {
  std::u16string result;
  result.reserve(path.size());
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] != u'%') {
      result += path[i];
      continue;
    }
    int const byte = encodedByte(path.substr(i + 1));
    auto const c = static_cast<char16_t>(byte);
    if (byte < 0) {
      result += u"%25";
      continue;
    }
    if (c == u'/' || c == u'\\')
      result += u'/';
    else if (isUnreserved(c))
      result += c;
    else
      result += path.substr(i, 3);
    i += 2;
  }
  return result;
}

/// ECMA-376-2, A.3, steps 6 to 9: no empty segments, none of three or more dots, no dots at the ends of others.
std::u16string withPlainSegments(std::u16string_view path) {
  std::u16string result;
  for (std::size_t begin = 0; begin <= path.size();) {
    std::size_t const end = std::min(path.find(u'/', begin), path.size());
    std::u16string_view segment = path.substr(begin, end - begin);
    std::size_t const last = segment.find_last_not_of(u'.');
    if (last != std::u16string_view::npos) segment = segment.substr(0, last + 1);
    if (!segment.empty() && (last != std::u16string_view::npos || segment.size() < 3)) {
      if (!result.empty()) result += u'/';
      result += segment;
    }
    begin = end + 1;
  }
  return path.starts_with(u'/') ? u"/" + result : result;
}

/// The path of a reference, prepared for resolving (ECMA-376-2, A.1 to A.3).
std::u16string prepared(std::u16string_view path) {
  return withPlainSegments(withNecessaryEncodings(percentEncoded(path, isPathCharacter)));
}

/// RFC 3986, 5.2.4, for a path that begins with a slash.
std::u16string withoutDotSegments(std::u16string_view path) {
  std::u16string result;
  for (std::size_t begin = 1;;) {
    std::size_t const end = std::min(path.find(u'/', begin), path.size());
    std::u16string_view const segment = path.substr(begin, end - begin);
    bool const isLast = end == path.size();
    if (segment == u"." || segment == u"..") {
      if (segment.size() == 2 && !result.empty()) result.erase(result.rfind(u'/'));
      if (isLast) result += u'/';
    } else {
      (result += u'/') += segment;
    }
    if (isLast) return result;
    begin = end + 1;
  }
}

}  // namespace

bool URI::hasScheme() const {
  if (text_.empty() || !ascii::isLetter(text_.front())) return false;
  for (char16_t const c : text_) {
    if (c == u':') return true;
    if (!ascii::isLetter(c) && !ascii::isDigit(c) && !isOneOf(c, "+-.")) return false;
  }
  return false;
}

URI URI::resolvedAgainst(URI const& base) const {
  if (hasScheme() || text_.starts_with(u"//")) throw InvalidURI(detail::messages::invalidURI(text_));
  std::u16string_view const basePath = withoutQueryAndFragment(base.text_);
  try {
    std::u16string const reference = prepared(withoutQueryAndFragment(text_));
    std::u16string path;
    if (reference.empty())
      path = basePath;
    else if (reference.front() == u'/')
      path = reference;
    else
      path = std::u16string(basePath.substr(0, basePath.rfind(u'/') + 1)).append(reference);
    if (!path.starts_with(u'/')) path.insert(path.begin(), u'/');
    return URI(percentEncoded(withoutDotSegments(path), isPathCharacter));
  } catch (InvalidText const&) {
    throw InvalidURI(detail::messages::invalidURI(text_));
  }
}

std::u16string URI::encodeComponent(std::u16string const& component, std::string const& allowed) {
  return percentEncoded(component, [&](char16_t c) { return isUnreserved(c) || isOneOf(c, allowed); });
}

}  // namespace opc::model
