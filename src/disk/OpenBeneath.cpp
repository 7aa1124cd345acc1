// SPDX-License-Identifier: Apache-2.0
#include "disk/OpenBeneath.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <linux/openat2.h>
#include <utility>

namespace opc {
namespace {

// The system gives up (EAGAIN) when folders are moved while it walks; who moves them for ever wins nothing.
constexpr int kMostTries = 128;

// The system accepts few others beside O_PATH.
int completed(int flags) { return flags | O_CLOEXEC | ((flags & O_PATH) ? 0 : O_NOCTTY); }

int openInOneStep(int folder, char const* path, int flags, mode_t mode) {
  open_how how{};
  how.flags = static_cast<__u64>(flags);
  how.mode = (flags & O_CREAT) ? mode : 0;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  long result = -1;
  for (int tries = 0; tries < kMostTries; ++tries) {
    result = ::syscall(SYS_openat2, folder, path, &how, sizeof how);
    if (result >= 0 || (errno != EAGAIN && errno != EINTR)) break;
  }
  return static_cast<int>(result);
}

bool isLink(int folder, char const* name) {
  struct stat status;
  return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

FileHandle openSegment(int folder, char const* name, int flags, mode_t mode, boost::system::error_code& error) {
  FileHandle opened = FileHandle::openAt(folder, name, flags | O_NOFOLLOW, mode, error);
  if (error == posixError(ENOTDIR) && isLink(folder, name)) error = posixError(ELOOP);
  return opened;
}

}  // namespace

FileHandle openBeneath(int folder, std::string const& path, int flags, mode_t mode, boost::system::error_code& error) {
  FileHandle opened(openInOneStep(folder, path.c_str(), completed(flags), mode));
  error = opened.isOpen() ? boost::system::error_code() : lastPosixError();
  bool const isMissing = error == posixError(ENOSYS) || error == posixError(EPERM);  // the latter from a sandbox
  return isMissing ? openBeneathBySegments(folder, path, flags, mode, error) : std::move(opened);
}

FileHandle openBeneathBySegments(int folder, std::string const& path, int flags, mode_t mode,
                                 boost::system::error_code& error) {
  FileHandle current;
  for (std::size_t start = 0, end = 0; end != path.npos; start = end + 1) {
    end = path.find('/', start);
    bool const isLast = end == path.npos;
    std::string const name = path.substr(start, isLast ? end : end - start);
    int const from = current.isOpen() ? current.descriptor() : folder;
    int const how = isLast ? flags : O_PATH | O_DIRECTORY;
    FileHandle next = openSegment(from, name.c_str(), how, mode, error);
    if (error) return {};
    current = std::move(next);
  }
  return current;
}

}  // namespace opc
