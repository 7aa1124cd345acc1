// SPDX-License-Identifier: Apache-2.0
#include "disk/LinkTarget.hpp"

#include <unistd.h>

#include "opc/Strings.hpp"
#include "text/Escape.hpp"
#include "text/PosixError.hpp"
#include "text/Unicode.hpp"

namespace opc {
namespace {

constexpr std::size_t kFirstSize = 256;

std::string readTarget(int folder, char const* name, boost::system::error_code& error) {
  std::string target(kFirstSize, '\0');
  while (true) {
    ssize_t const length = ::readlinkat(folder, name, target.data(), target.size());
    if (length < 0) {
      error = lastPosixError();
      return {};
    }
    bool const whole = static_cast<std::size_t>(length) < target.size();
    target.resize(whole ? static_cast<std::size_t>(length) : target.size() * 2);
    if (whole) return target;
  }
}

}  // namespace

void throwCouldNotReadLink(std::u16string const& path, boost::system::error_code error) {
  throw Exception("Could not read symbolic link: " + toUDEString(escapeForDisplay(path)) + ": " + error.message(),
                  error);
}

std::u16string readLink(int folder, char const* name, std::u16string const& path) {
  boost::system::error_code error;
  std::string const target = readTarget(folder, name, error);
  if (error) throwCouldNotReadLink(path, error);
  std::u16string text;
  if (unicode::appendUTF16(text, target) != target.size())
    throw InvalidText("Target of symbolic link is not valid UTF-8: " + toUDEString(escapeForDisplay(path)) + ": " +
                          escape::bytes(target),
                      posixError(EILSEQ));
  return text;
}

}  // namespace opc
