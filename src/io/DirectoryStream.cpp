// SPDX-License-Identifier: Apache-2.0
#include "io/DirectoryStream.hpp"

#include <cerrno>
#include <string_view>

namespace opc {

DirectoryStream::DirectoryStream(FileHandle folder, boost::system::error_code& error)
    : stream_(::fdopendir(folder.descriptor())) {
  error = stream_ ? boost::system::error_code() : lastPosixError();
  if (stream_) folder.release();
}

dirent const* DirectoryStream::next(boost::system::error_code& error) {
  using namespace std::string_view_literals;
  dirent const* entry = nullptr;
  do {
    errno = 0;
    entry = ::readdir(stream_.get());
  } while (entry && (entry->d_name == "."sv || entry->d_name == ".."sv));
  error = entry ? boost::system::error_code() : lastPosixError();  // no error at the end of the folder
  return entry;
}

}  // namespace opc
