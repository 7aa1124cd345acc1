// SPDX-License-Identifier: Apache-2.0
#include "secrets/PasswordText.hpp"

#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <initializer_list>
#include <string>

#include "cli/Errors.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

constexpr char kUTF8[] = "UTF-8";
constexpr char kASCII[] = "US-ASCII";

/// iconv from a named encoding to UTF-16 of this machine.
class Decoder {
 public:
  explicit Decoder(std::string const& encoding)
      : handle_(iconv_open(std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE", encoding.c_str())) {}
  ~Decoder() {
    if (isKnown()) iconv_close(handle_);
  }
  Decoder(Decoder const&) = delete;
  Decoder& operator=(Decoder const&) = delete;

  /// Whether the bytes are text of the encoding. `out` has as many code units as there are bytes and is cut to those
  /// that are used.
  bool decode(SecretBytes const& bytes, std::u16string& out) {
    if (!isKnown()) return false;
    std::size_t const units = convert(bytes, out);
    // iconv keeps a copy in a buffer of its own; as many other characters overwrite it.
    std::u16string ignored(bytes.size(), u'\0');
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    convert(SecretBytes(bytes.size(), ' '), ignored);
    if (units > out.size()) return false;
    out.resize(units);
    return true;
  }

 private:
  bool isKnown() const { return handle_ != iconv_t(-1); }  // NOLINT(performance-no-int-to-ptr)

  /// The number of code units; more than `out` has if the bytes cannot be converted.
  std::size_t convert(SecretBytes const& bytes, std::u16string& out) {
    char* in = const_cast<char*>(bytes.data());  // only read
    std::size_t inLeft = bytes.size();
    char* to = reinterpret_cast<char*>(out.data());
    std::size_t room = out.size() * sizeof(char16_t);
    bool const whole = iconv(handle_, &in, &inLeft, &to, &room) != std::size_t(-1) &&
                       iconv(handle_, nullptr, nullptr, &to, &room) != std::size_t(-1);
    return whole ? out.size() - room / sizeof(char16_t) : out.size() + 1;
  }

  iconv_t handle_;
};

// Decodes by the first encoding that fits. Refuses NUL, which would end the password in other programs.
Password decode(SecretBytes const& bytes, std::initializer_list<std::string> encodings) {
  if (bytes.empty()) throw Failure(Report{Exit::Key, "bad-password", "the password is empty", {}});
  return Password(bytes.size(), [&](std::u16string& text) {
    auto const isTextIn = [&](std::string const& encoding) { return Decoder(encoding).decode(bytes, text); };
    if (std::ranges::find(bytes, '\0') == bytes.end() && std::ranges::any_of(encodings, isTextIn)) return;
    wipe(text.data(), text.size() * sizeof(char16_t));
    throw Failure(Report{Exit::Key, "bad-password", "the password is not text in " + *(encodings.end() - 1), {}});
  });
}

// In the C locale terminals and files hold UTF-8, as elsewhere.
std::string encodingOfUser() {
  std::string const encoding = opc::getUserDefaultEncoding();
  return encoding == kASCII ? kUTF8 : encoding;
}

}  // namespace

Password typedPassword(SecretBytes const& bytes) { return decode(bytes, {encodingOfUser()}); }
Password storedPassword(SecretBytes const& bytes) { return decode(bytes, {kUTF8, encodingOfUser()}); }

}  // namespace ztpkg
