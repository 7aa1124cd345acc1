// SPDX-License-Identifier: Apache-2.0
#include "disk/OpenFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "opc/Strings.hpp"

namespace ztpkg {

OpenFile::OpenFile(std::string const& path, int flags, mode_t mode)
    : descriptor_(::open(path.c_str(), flags | O_CLOEXEC, mode)) {}

OpenFile::OpenFile(int folder, std::string const& path, int flags)
    : descriptor_(::openat(folder, path.c_str(), flags | O_CLOEXEC)) {}

OpenFile::OpenFile(std::u16string const& path, int flags) : OpenFile(opc::toUTF8String(path), flags) {}

ssize_t OpenFile::read(void* buffer, std::size_t count) const {
  auto* const to = static_cast<char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    ssize_t const got = ::read(descriptor_, to + done, count - done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

bool OpenFile::close() {
  int const descriptor = release();
  return descriptor < 0 || ::close(descriptor) == 0;
}

}  // namespace ztpkg
