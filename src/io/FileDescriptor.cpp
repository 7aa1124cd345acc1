// SPDX-License-Identifier: Apache-2.0
#include "io/FileDescriptor.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace opc {
namespace {

constexpr mode_t kNewFileMode = 0666;  // less the umask

template <typename Call>
auto repeatInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

}  // namespace

FileDescriptor::~FileDescriptor() {
  if (isOpen()) ::close(number_);
}

FileDescriptor FileDescriptor::open(char const* path, int flags, boost::system::error_code& error) {
  FileDescriptor file(repeatInterrupted([&] { return ::open(path, flags | O_CLOEXEC | O_NOCTTY, kNewFileMode); }));
  error = file.isOpen() ? boost::system::error_code() : lastPosixError();
  return file;
}

std::size_t FileDescriptor::read(void* buffer, std::size_t count, boost::system::error_code& error) {
  ssize_t const got = repeatInterrupted([&] { return ::read(number_, buffer, count); });
  error = got < 0 ? lastPosixError() : boost::system::error_code();
  return got < 0 ? 0 : static_cast<std::size_t>(got);
}

void FileDescriptor::writeAll(char const* data, std::size_t count, boost::system::error_code& error) {
  error.clear();
  while (count > 0 && !error) {
    ssize_t const taken = repeatInterrupted([&] { return ::write(number_, data, count); });
    if (taken <= 0) {
      error = taken < 0 ? lastPosixError() : posixError(EIO);  // a device that takes nothing would never end
    } else {
      data += taken;
      count -= static_cast<std::size_t>(taken);
    }
  }
}

// An interrupted close has closed the file all the same: to repeat it could close another one.
void FileDescriptor::close(boost::system::error_code& error) {
  bool const failed = ::close(release()) != 0 && errno != EINTR;
  error = failed ? lastPosixError() : boost::system::error_code();
}

}  // namespace opc
