// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iconv.h>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace i18n_test {

/// UTF-8 text in another character set, by the C library, which knows nothing of ICU.
inline std::string encode(std::string text, std::string const& charset) {
  iconv_t const handle = iconv_open(charset.c_str(), "UTF-8");
  if (handle == iconv_t(-1)) throw std::runtime_error("iconv does not know " + charset);
  std::string out(text.size() * 4 + 64, '\0');
  char* in = text.data();
  char* to = out.data();
  std::size_t inLeft = text.size(), room = out.size();
  bool const good = iconv(handle, &in, &inLeft, &to, &room) != std::size_t(-1) &&
                    iconv(handle, nullptr, nullptr, &to, &room) != std::size_t(-1);
  iconv_close(handle);
  if (!good) throw std::runtime_error(charset + " lacks a character of: " + text.substr(text.size() - inLeft));
  return out.substr(0, static_cast<std::size_t>(to - out.data()));
}

}  // namespace i18n_test
