// SPDX-License-Identifier: Apache-2.0
#include "package/SystemCalls.hpp"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <mutex>

namespace zt_test::calls {
namespace {

/// No allocation: the calls may come from anywhere.
struct Script {
  bool isOn = false;
  int number = 0;
  char const* name = nullptr;
  Fault fault = Fault::None;
  int error = 0;
  bool faulted = false;
  std::size_t count = 0;
  std::array<char const*, 4096> seen{};
};
std::mutex mutex;  // calls come from the package's threads too
Script script;

/// The fault of the call that is about to be made.
Fault next(char const* name) {
  std::lock_guard const lock(mutex);
  if (!script.isOn) return Fault::None;
  if (script.count < script.seen.size()) script.seen[script.count] = name;
  bool const isIt =
      script.name ? std::strcmp(script.name, name) == 0 : ++script.count == static_cast<std::size_t>(script.number);
  if (script.name) ++script.count;
  if (!isIt) return Fault::None;
  script.faulted = true;
  if (script.fault == Fault::Killed) kill(getpid(), SIGKILL);
  return script.fault;
}

int error() {
  std::lock_guard const lock(mutex);
  return script.error;
}

/// Whether the call fails without being made; errno is set then.
bool fails(char const* name) {
  Fault const fault = next(name);
  if (fault == Fault::Fails) errno = error();
  if (fault == Fault::Interrupted) errno = EINTR;
  return fault == Fault::Fails || fault == Fault::Interrupted;
}

/// The same for calls that move `count` bytes, or fewer.
bool failsOrShortens(char const* name, std::size_t& count) {
  Fault const fault = next(name);
  if (fault == Fault::Short && count > 1) count /= 2;
  if (fault == Fault::Fails) errno = error();
  if (fault == Fault::Interrupted) errno = EINTR;
  return fault == Fault::Fails || fault == Fault::Interrupted;
}

// With words of 32 bits the kernel takes offsets in two words, in an order of each processor, and describes files by
// structures of its own: the C library's functions make these calls. Owners and times have calls of their own.
#if __SIZEOF_POINTER__ == 4
constexpr long chownCall = SYS_fchown32;
constexpr long utimensCall = SYS_utimensat_time64;

template <class Result, class... Arguments>
Result makeCall(char const* name, Arguments... arguments) {
  return reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

ssize_t writeAt(int file, void const* data, size_t count, off_t offset) {
  return makeCall<ssize_t>("pwrite64", file, data, count, offset);
}
ssize_t readAt(int file, void* data, size_t count, off_t offset) {
  return makeCall<ssize_t>("pread64", file, data, count, offset);
}
int truncate(int file, off_t size) { return makeCall<int>("ftruncate64", file, size); }
int statAt(int directory, char const* path, struct stat* status, int flags) {
  return makeCall<int>("__fstatat64_time64", directory, path, status, flags);
}
#else
constexpr long chownCall = SYS_fchown;
constexpr long utimensCall = SYS_utimensat;

ssize_t writeAt(int file, void const* data, size_t count, off_t offset) {
  return syscall(SYS_pwrite64, file, data, count, offset);
}
ssize_t readAt(int file, void* data, size_t count, off_t offset) {
  return syscall(SYS_pread64, file, data, count, offset);
}
int truncate(int file, off_t size) { return static_cast<int>(syscall(SYS_ftruncate, file, size)); }
int statAt(int directory, char const* path, struct stat* status, int flags) {
  return static_cast<int>(syscall(SYS_newfstatat, directory, path, status, flags));
}
#endif

bool isDirectory(int file) {
  struct stat status {};
  return statAt(file, "", &status, AT_EMPTY_PATH) == 0 && S_ISDIR(status.st_mode);
}

int openFile(char const* name, int directory, char const* path, int flags, mode_t mode) {
  if (fails(name)) return -1;
  return static_cast<int>(syscall(SYS_openat, directory, path, flags | O_LARGEFILE, mode));
}

mode_t modeFrom(int flags, va_list arguments) {
  bool const hasMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return hasMode ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

void begin(int number, Fault fault, int error) {
  std::lock_guard const lock(mutex);
  script = Script{.isOn = true, .number = number, .fault = fault, .error = error};
}

void begin(char const* name, int error) {
  std::lock_guard const lock(mutex);
  script = Script{.isOn = true, .name = name, .fault = Fault::Fails, .error = error};
}

Seen end() {
  std::lock_guard const lock(mutex);
  script.isOn = false;
  auto const count = static_cast<std::ptrdiff_t>(std::min(script.count, script.seen.size()));
  return {{script.seen.begin(), script.seen.begin() + count}, script.faulted};
}

}  // namespace zt_test::calls

namespace calls = zt_test::calls;

extern "C" {

int open(char const* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  mode_t const mode = calls::modeFrom(flags, arguments);
  va_end(arguments);
  return calls::openFile("open", AT_FDCWD, path, flags, mode);
}

int openat(int directory, char const* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  mode_t const mode = calls::modeFrom(flags, arguments);
  va_end(arguments);
  return calls::openFile("openat", directory, path, flags, mode);
}

/// A close that fails has closed the file all the same.
int close(int file) {
  bool const failed = calls::fails("close");
  int const error = errno;
  auto const result = static_cast<int>(syscall(SYS_close, file));
  if (!failed) return result;
  errno = error;
  return -1;
}

/// What a program says on its standard error is how a test learns of the fault.
ssize_t write(int file, void const* data, size_t count) {
  if (file != STDERR_FILENO && calls::failsOrShortens("write", count)) return -1;
  return syscall(SYS_write, file, data, count);
}

ssize_t pwrite(int file, void const* data, size_t count, off_t offset) {
  if (calls::failsOrShortens("pwrite", count)) return -1;
  return calls::writeAt(file, data, count, offset);
}

ssize_t read(int file, void* data, size_t count) {
  if (calls::failsOrShortens("read", count)) return -1;
  return syscall(SYS_read, file, data, count);
}

ssize_t pread(int file, void* data, size_t count, off_t offset) {
  if (calls::failsOrShortens("pread", count)) return -1;
  return calls::readAt(file, data, count, offset);
}

ssize_t copy_file_range(int from, off64_t* fromOffset, int to, off64_t* toOffset, size_t count, unsigned flags) {
  if (calls::failsOrShortens("copy_file_range", count)) return -1;
  return syscall(SYS_copy_file_range, from, fromOffset, to, toOffset, count, flags);
}

/// Where nothing is to go wrong the disk is spared: what is synced outlives a failing power supply alone.
int fsync(int file) { return calls::fails(calls::isDirectory(file) ? "fsync directory" : "fsync") ? -1 : 0; }

int flock(int file, int operation) noexcept {
  if (calls::fails("flock")) return -1;
  return static_cast<int>(syscall(SYS_flock, file, operation));
}

int fchmod(int file, mode_t mode) noexcept {
  if (calls::fails("fchmod")) return -1;
  return static_cast<int>(syscall(SYS_fchmod, file, mode));
}

int fchown(int file, uid_t owner, gid_t group) noexcept {
  if (calls::fails("fchown")) return -1;
  return static_cast<int>(syscall(calls::chownCall, file, owner, group));
}

int fstat(int file, struct stat* status) noexcept {
  if (calls::fails("fstat")) return -1;
  return calls::statAt(file, "", status, AT_EMPTY_PATH);
}

int fstatat(int directory, char const* path, struct stat* status, int flags) noexcept {
  if (calls::fails("fstatat")) return -1;
  return calls::statAt(directory, path, status, flags);
}

int stat(char const* path, struct stat* status) noexcept {
  if (calls::fails("stat")) return -1;
  return calls::statAt(AT_FDCWD, path, status, 0);
}

int lstat(char const* path, struct stat* status) noexcept {
  if (calls::fails("lstat")) return -1;
  return calls::statAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

/// Its memory is the C library's, which alone can make one.
DIR* fdopendir(int directory) {
  if (calls::fails("fdopendir")) return nullptr;
  static auto const next = reinterpret_cast<DIR* (*)(int)>(dlsym(RTLD_NEXT, "fdopendir"));
  return next(directory);
}

dirent* readdir(DIR* directory) {
  if (calls::fails("readdir")) return nullptr;
  static auto const next = reinterpret_cast<dirent* (*)(DIR*)>(dlsym(RTLD_NEXT, "readdir64"));
  return next(directory);
}

int mkdirat(int directory, char const* path, mode_t mode) noexcept {
  if (calls::fails("mkdirat")) return -1;
  return static_cast<int>(syscall(SYS_mkdirat, directory, path, mode));
}

int symlinkat(char const* target, int directory, char const* path) noexcept {
  if (calls::fails("symlinkat")) return -1;
  return static_cast<int>(syscall(SYS_symlinkat, target, directory, path));
}

ssize_t readlinkat(int directory, char const* path, char* target, size_t size) noexcept {
  if (calls::fails("readlinkat")) return -1;
  return syscall(SYS_readlinkat, directory, path, target, size);
}

int ftruncate(int file, off_t size) noexcept {
  if (calls::fails("ftruncate")) return -1;
  return calls::truncate(file, size);
}

int futimens(int file, timespec const* times) noexcept {
  if (calls::fails("futimens")) return -1;
  return static_cast<int>(syscall(calls::utimensCall, file, nullptr, times, 0));
}

int utimensat(int directory, char const* path, timespec const* times, int flags) noexcept {
  if (calls::fails("utimensat")) return -1;
  return static_cast<int>(syscall(calls::utimensCall, directory, path, times, flags));
}

ssize_t fgetxattr(int file, char const* name, void* value, size_t size) noexcept {
  if (calls::fails("fgetxattr")) return -1;
  return syscall(SYS_fgetxattr, file, name, value, size);
}

ssize_t flistxattr(int file, char* names, size_t size) noexcept {
  if (calls::fails("flistxattr")) return -1;
  return syscall(SYS_flistxattr, file, names, size);
}

int fsetxattr(int file, char const* name, void const* value, size_t size, int flags) noexcept {
  if (calls::fails("fsetxattr")) return -1;
  return static_cast<int>(syscall(SYS_fsetxattr, file, name, value, size, flags));
}

int fremovexattr(int file, char const* name) noexcept {
  if (calls::fails("fremovexattr")) return -1;
  return static_cast<int>(syscall(SYS_fremovexattr, file, name));
}

int renameat(int fromDirectory, char const* from, int toDirectory, char const* to) noexcept {
  if (calls::fails("renameat")) return -1;
  return static_cast<int>(syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, 0));
}

int renameat2(int fromDirectory, char const* from, int toDirectory, char const* to, unsigned flags) noexcept {
  if (calls::fails("renameat2")) return -1;
  return static_cast<int>(syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags));
}

int linkat(int fromDirectory, char const* from, int toDirectory, char const* to, int flags) noexcept {
  if (calls::fails("linkat")) return -1;
  return static_cast<int>(syscall(SYS_linkat, fromDirectory, from, toDirectory, to, flags));
}

int unlink(char const* path) noexcept {
  if (calls::fails("unlink")) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int unlinkat(int directory, char const* path, int flags) noexcept {
  if (calls::fails("unlinkat")) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, directory, path, flags));
}

}  // extern "C"
