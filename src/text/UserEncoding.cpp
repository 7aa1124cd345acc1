// SPDX-License-Identifier: Apache-2.0
#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "opc/Strings.hpp"
#include "text/Ascii.hpp"
#include "text/Escape.hpp"
#include "text/I18n.hpp"
#include "text/Unicode.hpp"

namespace opc {
namespace {

constexpr char kASCII[] = "US-ASCII";
constexpr char kUTF8[] = "UTF-8";

/// One direction of iconv: from UTF-16 of this machine to a named encoding.
class Encoder {
 public:
  explicit Encoder(std::string const& encoding)
      : handle_(iconv_open(encoding.c_str(), std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE")) {}
  ~Encoder() {
    if (isKnown()) iconv_close(handle_);
  }
  Encoder(Encoder const&) = delete;
  Encoder& operator=(Encoder const&) = delete;

  bool isKnown() const { return handle_ != iconv_t(-1); }  // NOLINT(performance-no-int-to-ptr)
  std::string encode(std::u16string_view text);

 private:
  void encodeWhatFits(std::u16string_view& text, std::string& out);
  void encodeEscaped(char32_t codePoint, std::string& out);

  iconv_t handle_;
};

// Encodes the front of `text` as far as possible and removes it. An empty `text` returns to the initial shift state.
void Encoder::encodeWhatFits(std::u16string_view& text, std::string& out) {
  std::array<char, 1024> buffer;
  // iconv takes a writable pointer and only reads.
  char* in = text.empty() ? nullptr : reinterpret_cast<char*>(const_cast<char16_t*>(text.data()));
  std::size_t inLeft = text.size() * sizeof(char16_t);
  bool full = true;
  while (full) {
    char* to = buffer.data();
    std::size_t room = buffer.size();
    full = iconv(handle_, in ? &in : nullptr, &inLeft, &to, &room) == std::size_t(-1) && errno == E2BIG;
    out.append(buffer.data(), to);
  }
  text.remove_prefix(text.size() - inLeft / sizeof(char16_t));
}

// The escape is ASCII, and is written as such if the encoding lacks even that.
void Encoder::encodeEscaped(char32_t codePoint, std::string& out) {
  std::u16string escaped;
  escape::append(escaped, codePoint);
  std::u16string_view rest = escaped;
  encodeWhatFits(rest, out);
  out.append(rest.begin(), rest.end());
}

std::string Encoder::encode(std::u16string_view text) {
  std::string out;
  while (!text.empty()) {
    encodeWhatFits(text, out);
    if (!text.empty()) encodeEscaped(unicode::takeCodePoint(text), out);
  }
  encodeWhatFits(text, out);
  return out;
}

std::string encodeUTF8(std::u16string const& text) {
  std::u16string shown;
  shown.reserve(text.size());
  for (std::u16string_view rest = text; !rest.empty();) {
    char32_t const codePoint = unicode::takeCodePoint(rest);
    if (unicode::isSurrogate(codePoint))
      escape::append(shown, codePoint);
    else
      unicode::append(shown, codePoint);
  }
  std::string utf8;
  unicode::appendUTF8(utf8, shown);
  return utf8;
}

// Messages are narrow strings, so that only an encoding that keeps ASCII is usable.
bool carriesASCII(std::string const& encoding) {
  std::u16string printable;
  for (char16_t c = u' '; c <= u'~'; ++c) printable += c;
  Encoder encoder(encoding);
  return encoder.isKnown() && encoder.encode(printable) == std::string(printable.begin(), printable.end());
}

// Locale names spell encodings freely ("utf8", "iso88591"); these are the registered spellings.
std::string registeredName(std::string name) {
  std::string key;
  for (char& c : name) {
    c = ascii::upper(c);
    if (c != '-' && c != '_') key += c;
  }
  if (key == "UTF8") return kUTF8;
  if (key == "ASCII" || key == "USASCII" || key == "ANSIX3.41968") return kASCII;
  if (key.starts_with("ISO8859") && key.size() > 7) return "ISO-8859-" + key.substr(7);
  return name;
}

// Empty optional where the environment names a locale that is not installed.
std::optional<std::string> installedLocaleEncoding() {
  locale_t const locale = newlocale(LC_CTYPE_MASK, "", locale_t(nullptr));
  if (!locale) return std::nullopt;
  std::string const name = nl_langinfo_l(CODESET, locale);
  freelocale(locale);
  return name;
}

// The variables that decide about the locale, in order of rank. An empty one counts as absent.
constexpr char const* kLocaleVariables[] = {"LC_ALL", "LC_CTYPE", "LANG"};

std::string valueOf(char const* variable) {
  char const* const value = std::getenv(variable);
  return value ? value : "";
}

std::string localeName() {
  std::string name;
  for (char const* variable : kLocaleVariables)
    if (name.empty()) name = valueOf(variable);
  return name;
}

// The part between the dot and the modifier of "de_DE.ISO-8859-15@euro".
std::string encodingOfLocaleName(std::string const& locale) {
  std::size_t const dot = locale.find('.');
  if (dot == std::string::npos) return {};
  std::string const name = locale.substr(dot + 1, locale.find('@', dot) - dot - 1);
  bool const plain = !name.empty() && name.find('/') == std::string::npos;  // a slash would pass iconv options
  return plain && carriesASCII(name) ? name : std::string();
}

std::string findUserDefaultEncoding() {
  std::string const name = installedLocaleEncoding().value_or(encodingOfLocaleName(localeName()));
  return name.empty() ? kASCII : registeredName(name);
}

}  // namespace

// Finding a locale takes several system calls, and a listing converts thousands of names, so that the result is kept
// while the environment is the same.
std::string getUserDefaultEncoding() {
  thread_local std::string knownEnvironment, encoding;
  std::string environment = valueOf("LOCPATH");  // where glibc looks for locales
  for (char const* variable : kLocaleVariables) environment += '\0' + valueOf(variable);
  if (encoding.empty() || environment != knownEnvironment) {
    encoding = findUserDefaultEncoding();
    knownEnvironment = std::move(environment);
  }
  return encoding;
}

std::string toUDEString(std::u16string const& text) {
  if (ascii::isAscii(std::u16string_view(text))) return {text.begin(), text.end()};
  std::string const encoding = getUserDefaultEncoding();
  if (encoding == kUTF8) return encodeUTF8(text);
  if (encoding == kASCII) return toASCIIString(text);
  Encoder encoder(encoding);
  return encoder.isKnown() ? encoder.encode(text) : toASCIIString(text);
}

}  // namespace opc

namespace fl::i18n {

std::u16string getGlobalLocaleEncodingName() { return opc::toString(opc::getUserDefaultEncoding()); }

}  // namespace fl::i18n
