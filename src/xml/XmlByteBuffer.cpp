// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlByteBuffer.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "text/Unicode.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::model {
namespace {

constexpr std::size_t kLongestEscape = 6;  // &quot;

constexpr std::string_view escapeInText(char16_t unit) {
  switch (unit) {
    case u'&':
      return "&amp;";
    case u'<':
      return "&lt;";
    case u'>':
      return "&gt;";
    case u'\r':
      return "&#xD;";
    default:
      return {};
  }
}

constexpr std::string_view escapeInAttribute(char16_t unit) {
  switch (unit) {
    case u'&':
      return "&amp;";
    case u'<':
      return "&lt;";
    case u'"':
      return "&quot;";
    case u'\t':
      return "&#x9;";
    case u'\n':
      return "&#xA;";
    case u'\r':
      return "&#xD;";
    default:
      return {};
  }
}

constexpr std::string_view escapeNothing(char16_t) { return {}; }

using Plain = std::array<bool, 128>;

/// The ASCII characters that are written as they are.
constexpr Plain plainWith(std::string_view (*escapeOf)(char16_t)) {
  Plain plain{};
  for (std::size_t unit = 0; unit < plain.size(); ++unit)
    plain[unit] = (unit >= 0x20 || unit == u'\n' || unit == u'\t') && escapeOf(static_cast<char16_t>(unit)).empty();
  return plain;
}

}  // namespace

void XmlByteBuffer::require(std::size_t count) {
  if (capacity_ - size_ >= count) return;
  std::size_t const capacity = std::max({size_ + count, 2 * capacity_, std::size_t{1024}});
  std::unique_ptr<char[]> bytes(new char[capacity]);  // not zeroed: every byte is written before it is read
  if (size_ > 0) std::memcpy(bytes.get(), bytes_.get(), size_);
  bytes_ = std::move(bytes);
  capacity_ = capacity;
}

void XmlByteBuffer::append(std::string_view bytes) {
  require(bytes.size());
  if (!bytes.empty()) std::memcpy(bytes_.get() + size_, bytes.data(), bytes.size());
  size_ += bytes.size();
}

void XmlByteBuffer::appendBlanks(std::size_t count) {
  require(count);
  std::fill_n(bytes_.get() + size_, count, ' ');
  size_ += count;
}

template <XmlByteBuffer::Escapes escapeOf>
void XmlByteBuffer::encode(std::u16string_view text) {
  static constexpr Plain kPlain = plainWith(escapeOf);
  require(text.size() * kLongestEscape);
  char* out = bytes_.get() + size_;
  char16_t const* at = text.data();
  char16_t const* const end = at + text.size();
  while (at != end) {
    if (*at < kPlain.size() && kPlain[*at]) {
      *out++ = static_cast<char>(*at++);
      continue;
    }
    std::string_view const escape = escapeOf(*at);
    if (escape.empty()) {
      out = unicode::encodeUTF8(takeXmlCharacter(at, end), out);
    } else {
      out = std::copy(escape.begin(), escape.end(), out);
      ++at;
    }
  }
  size_ = static_cast<std::size_t>(out - bytes_.get());
}

void XmlByteBuffer::appendName(std::u16string_view name) { encode<escapeNothing>(name); }

void XmlByteBuffer::appendText(std::u16string_view text) { encode<escapeInText>(text); }

void XmlByteBuffer::appendAttributeValue(std::u16string_view value) { encode<escapeInAttribute>(value); }

}  // namespace opc::model
