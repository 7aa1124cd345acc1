// SPDX-License-Identifier: Apache-2.0
#include "disk/ConfinedOutputStream.hpp"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>

namespace opc {
namespace {

using boost::system::error_code;

constexpr mode_t kUnfinishedMode = 0600;

// Before anything is written; what comes into the way later shows when the file is moved.
error_code checkNothingInTheWay(Place const& place, bool replace) {
  struct stat status;
  if (::fstatat(place.folder.number(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
    return errno == ENOENT ? error_code() : lastPosixError();
  if (S_ISDIR(status.st_mode)) return posixError(EISDIR);
  return replace ? error_code() : posixError(EEXIST);
}

bool isNotSupported(int error) { return error == EINVAL || error == ENOSYS || error == ENOTSUP; }

// For file systems that cannot rename without replacing: a hard link does not replace anything either.
int linkAndUnlink(int folder, char const* from, char const* to) {
  int const linked = ::linkat(folder, from, folder, to, 0);
  return linked == 0 ? ::unlinkat(folder, from, 0) : linked;
}

}  // namespace

error_code moveInFolder(int folder, char const* from, char const* to, bool replace) {
  int moved = ::renameat2(folder, from, folder, to, replace ? 0 : RENAME_NOREPLACE);
  if (moved != 0 && !replace && isNotSupported(errno)) moved = linkAndUnlink(folder, from, to);
  return moved == 0 ? error_code() : lastPosixError();
}

std::string temporaryName() {
  static std::atomic<unsigned long> counter{0};
  return ".ztservices-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
}

std::unique_ptr<ConfinedOutputStream> ConfinedOutputStream::create(Place place, mode_t mode, bool replace,
                                                                   error_code& error) {
  error = checkNothingInTheWay(place, replace);
  if (error) return nullptr;
  std::string temporary;
  int file = -1;
  do {
    temporary = temporaryName();  // one that a killed process left behind may bear it
    file = ::openat(place.folder.number(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    kUnfinishedMode);
  } while (file < 0 && (errno == EEXIST || errno == EINTR));
  if (file < 0) {
    error = lastPosixError();
    return nullptr;
  }
  return std::unique_ptr<ConfinedOutputStream>(
      new ConfinedOutputStream(std::move(place), std::move(temporary), FileDescriptor(file), mode, replace));
}

ConfinedOutputStream::ConfinedOutputStream(Place place, std::string temporary, FileDescriptor file, mode_t mode,
                                           bool replace)
    : FileOutputStream(nullptr),
      place_(std::move(place)),
      temporary_(std::move(temporary)),
      buffer_(std::move(file)),
      mode_(mode),
      replace_(replace) {
  rdbuf(&buffer_);
}

ConfinedOutputStream::~ConfinedOutputStream() {
  if (!finished_ || result_) ::unlinkat(place_.folder.number(), temporary_.c_str(), 0);
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
  if (!error) error = moveInFolder(place_.folder.number(), temporary_.c_str(), place_.name.c_str(), replace_);
  return error;
}

}  // namespace opc
