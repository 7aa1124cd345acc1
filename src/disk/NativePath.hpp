// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <string>

#include "text/PosixError.hpp"
#include "text/Unicode.hpp"

namespace opc {

inline constexpr mode_t kNewFolderMode = 0777;  // less the umask

/// A path as the system takes it: UTF-8 in every locale. False where it holds a NUL, which would cut it
/// short, or a lone surrogate.
inline bool toNativePath(std::u16string const& path, std::string& native) {
  return path.find(u'\0') == std::u16string::npos && unicode::appendUTF8(native, path);
}

/// Passes the path to a system call that returns 0, or -1 with errno. Returns whether it succeeded, and sets or clears
/// `error`.
template <typename Call>
bool callOnPath(std::u16string const& path, boost::system::error_code& error, Call call) {
  std::string native;
  if (!toNativePath(path, native))
    error = posixError(EINVAL);
  else if (call(native.c_str()) != 0)
    error = lastPosixError();
  else
    error.clear();
  return !error;
}

}  // namespace opc
