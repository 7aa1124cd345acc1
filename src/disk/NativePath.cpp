// SPDX-License-Identifier: Apache-2.0
#include "disk/NativePath.hpp"

#include <climits>
#include <cstddef>
#include <utility>

namespace opc {

NativePath::NativePath(std::string path, boost::system::error_code& error) : path_(std::move(path)) {
  error.clear();
  while (!error && path_.size() >= PATH_MAX) openFront(error);
}

NativePath::NativePath(std::u16string const& path, boost::system::error_code& error) {
  std::string native;
  if (!toNativePath(path, native))
    error = posixError(EINVAL);
  else
    *this = NativePath(std::move(native), error);
}

/// Takes off the path as many folders as one call takes.
void NativePath::openFront(boost::system::error_code& error) {
  std::size_t const slash = path_.rfind('/', PATH_MAX - 2);
  std::size_t const next = slash == path_.npos ? slash : path_.find_first_not_of('/', slash);
  if (next == path_.npos || slash == 0) {
    error = posixError(ENAMETOOLONG);  // no folder has so long a name
    return;
  }
  std::string const front = path_.substr(0, slash);
  front_ = FileHandle::openAt(folder(), front.c_str(), O_PATH | O_DIRECTORY, 0, error);
  path_.erase(0, next);
}

}  // namespace opc
