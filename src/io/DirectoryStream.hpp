// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dirent.h>

#include <memory>

#include "io/FileHandle.hpp"

namespace opc {

/// Lists the entries of an open folder.
class DirectoryStream {
 public:
  /// Takes over a folder that is open for reading. Lists nothing where `error` is set.
  DirectoryStream(FileHandle folder, boost::system::error_code& error);

  int descriptor() const { return ::dirfd(stream_.get()); }
  /// The next entry but "." and ".."; null at the end and on an error.
  dirent const* next(boost::system::error_code& error);

 private:
  struct Closer {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };

  std::unique_ptr<DIR, Closer> stream_;
};

}  // namespace opc
