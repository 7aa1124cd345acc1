// SPDX-License-Identifier: Apache-2.0
#include "disk/ConfinedOutputStream.hpp"

#include <fcntl.h>

namespace opc {
namespace {

using boost::system::error_code;

// Before anything is written; what comes into the way later shows when the file is moved.
error_code checkNothingInTheWay(Place const& place, bool replace) {
  struct stat status;
  if (::fstatat(place.folder.descriptor(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
    return errno == ENOENT ? error_code() : lastPosixError();
  if (S_ISDIR(status.st_mode)) return posixError(EISDIR);
  return replace ? error_code() : posixError(EEXIST);
}

}  // namespace

std::unique_ptr<ConfinedOutputStream> ConfinedOutputStream::create(Place place, mode_t mode, bool replace,
                                                                   error_code& error) {
  error = checkNothingInTheWay(place, replace);
  if (error) return nullptr;
  FileHandle file;
  TemporaryName temporary =
      TemporaryName::makeFile(place.folder.descriptor(), temporaryNameForExtraction, O_WRONLY, file, error);
  if (error) return nullptr;
  return std::unique_ptr<ConfinedOutputStream>(
      new ConfinedOutputStream(std::move(place), std::move(temporary), std::move(file), mode, replace));
}

ConfinedOutputStream::ConfinedOutputStream(Place place, TemporaryName temporary, FileHandle file, mode_t mode,
                                           bool replace)
    : FileOutputStream(nullptr),
      place_(std::move(place)),
      temporary_(std::move(temporary)),
      buffer_(std::move(file)),
      mode_(mode),
      replace_(replace) {
  rdbuf(&buffer_);
}

void ConfinedOutputStream::commit(error_code& error) {
  if (!finished_) result_ = finish();
  finished_ = true;
  error = result_;
}

error_code ConfinedOutputStream::finish() {
  bool const chmodFailed = ::fchmod(buffer_.descriptor(), mode_) != 0;
  error_code const chmodError = chmodFailed ? lastPosixError() : error_code();
  error_code error = buffer_.commit();
  if (!error && bad()) error = posixError(EIO);  // something other than the file failed, such as memory
  if (!error) error = chmodError;
  if (!error) temporary_.moveTo(place_.name.c_str(), replace_, error);
  if (!error) temporary_.remove(error);
  return error;
}

}  // namespace opc
