// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <string>

#include "io/FileHandle.hpp"
#include "text/PosixError.hpp"
#include "text/Unicode.hpp"

namespace opc {

inline constexpr mode_t kNewFolderMode = 0777;  // less the umask

/// A path as the system takes it: UTF-8 in every locale. False where it holds a NUL, which would cut it
/// short, or a lone surrogate.
inline bool toNativePath(std::u16string const& path, std::string& native) {
  return path.find(u'\0') == std::u16string::npos && unicode::appendUTF8(native, path);
}

/// A path for the calls of the system that take a folder and a path. Of a path that is too long for one call the front
/// is opened.
class NativePath {
 public:
  NativePath(std::string path, boost::system::error_code& error);
  /// EINVAL for a path that toNativePath() refuses.
  NativePath(std::u16string const& path, boost::system::error_code& error);

  int folder() const { return front_.isOpen() ? front_.descriptor() : AT_FDCWD; }
  char const* path() const { return path_.c_str(); }

 private:
  void openFront(boost::system::error_code& error);

  FileHandle front_;
  std::string path_;
};

/// Passes the path to a system call that takes a folder and a path and returns 0, or -1 with errno. Returns whether it
/// succeeded, and sets or clears `error`.
template <typename Path, typename Call>
bool callOnPath(Path const& path, boost::system::error_code& error, Call call) {
  NativePath const native(path, error);
  if (!error && call(native.folder(), native.path()) != 0) error = lastPosixError();
  return !error;
}

}  // namespace opc
