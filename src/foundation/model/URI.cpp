// SPDX-License-Identifier: Apache-2.0
#include "opc/model/URI.hpp"

#include <string_view>

#include "foundation/model/Messages.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"

namespace opc::model {
namespace {

bool isAlpha(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }
bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
bool isOneOf(char16_t c, std::string_view set) { return c < 0x80 && set.find(static_cast<char>(c)) < set.size(); }
bool isUnreserved(char16_t c) { return isAlpha(c) || isDigit(c) || isOneOf(c, "-._~"); }
/// What may stand in the path of a URI, percent signs of existing encodings included.
bool isPathCharacter(char16_t c) { return isUnreserved(c) || isOneOf(c, "!$&'()*+,;=:@/%"); }

/// Encodes what `keep` does not keep.
template <typename Keep>
std::u16string percentEncoded(std::u16string_view text, Keep const& keep) {
  constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string encoded;
  encoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (keep(text[i])) {
      encoded += text[i];
      continue;
    }
    std::size_t const units = (text[i] & 0xFC00) == 0xD800 && i + 1 < text.size() ? 2 : 1;
    for (char const c : toUTF8String(text.substr(i, units))) {
      auto const byte = static_cast<unsigned char>(c);
      ((encoded += u'%') += kDigits[byte >> 4]) += kDigits[byte & 15];
    }
    i += units - 1;
  }
  return encoded;
}

std::u16string_view withoutQueryAndFragment(std::u16string_view reference) {
  return reference.substr(0, reference.find_first_of(u"?#"));
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
  if (text_.empty() || !isAlpha(text_.front())) return false;
  for (char16_t const c : text_) {
    if (c == u':') return true;
    if (!isAlpha(c) && !isDigit(c) && !isOneOf(c, "+-.")) return false;
  }
  return false;
}

URI URI::resolvedAgainst(URI const& base) const {
  if (hasScheme() || text_.starts_with(u"//")) throw InvalidURI(detail::messages::invalidURI(text_));
  std::u16string_view const reference = withoutQueryAndFragment(text_);
  std::u16string_view const basePath = withoutQueryAndFragment(base.text_);
  std::u16string path;
  if (reference.empty())
    path = basePath;
  else if (reference.front() == u'/')
    path = reference;
  else
    path = std::u16string(basePath.substr(0, basePath.rfind(u'/') + 1)).append(reference);
  if (!path.starts_with(u'/')) path.insert(path.begin(), u'/');
  try {
    return URI(percentEncoded(withoutDotSegments(path), isPathCharacter));
  } catch (InvalidText const&) {
    throw InvalidURI(detail::messages::invalidURI(text_));
  }
}

std::u16string URI::encodeComponent(std::u16string const& component, std::string const& allowed) {
  return percentEncoded(component, [&](char16_t c) { return isUnreserved(c) || isOneOf(c, allowed); });
}

}  // namespace opc::model
