// SPDX-License-Identifier: Apache-2.0
#include "io/TemporaryName.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <exception>
#include <string_view>
#include <utility>
#include <vector>

#include "io/FileHandle.hpp"
#include "text/Unicode.hpp"

namespace opc {
namespace {

using boost::system::error_code;

constexpr std::string_view kMark = ".ztservices-";
constexpr std::size_t kRandomCharacters = 6, kMoreRandomCharacters = 10;
constexpr std::string_view kCharacters = "abcdefghijklmnopqrstuvwxyzABCDEF";  // 32, so that none is preferred
constexpr int kAttempts = 100;
constexpr mode_t kUnfinishedMode = 0600, kModeBits = 07777;
constexpr time_t kLongestRename = 10;  // seconds

/// The number of this process, without a system call for each name.
class OwnProcess {
 public:
  pid_t id() const { return isFollowed_ ? id_.load(std::memory_order_relaxed) : ::getpid(); }

 private:
  static inline std::atomic<pid_t> id_{::getpid()};
  bool isFollowed_ = ::pthread_atfork(nullptr, nullptr, [] { id_ = ::getpid(); }) == 0;
};

/// Draws as many bytes at once as the system gives without interruption, so that small files share a call. A process
/// after a fork draws its own: it would otherwise use, and remove, the names of the other one.
std::string randomCharacters(std::size_t count) {
  static OwnProcess const process;
  thread_local std::array<unsigned char, 256> bytes{};
  thread_local std::size_t next = bytes.size();
  thread_local pid_t drawnBy = 0;
  if (pid_t const own = process.id(); bytes.size() - next < count || drawnBy != own) {
    bool const isDrawn = getrandom(bytes.data(), bytes.size(), 0) > 0;
    next = isDrawn ? 0 : std::min(next, bytes.size() - count);
    drawnBy = own;
  }
  std::string text;
  while (text.size() < count) text += kCharacters[bytes[next++] % kCharacters.size()];
  return text;
}

std::string prefixFor(std::string name) {
  std::size_t const most = NAME_MAX - 1 - kMark.size() - kRandomCharacters;
  if (name.size() > most) {
    std::size_t end = most;
    while (end > 0 && unicode::isContinuation(name[end])) --end;
    name.resize(end);
  }
  return ("." + name).append(kMark);
}

bool isTemporary(std::string_view name, std::string_view prefix, std::size_t characters) {
  return name.size() == prefix.size() + characters && name.starts_with(prefix) &&
         name.find_first_not_of(kCharacters, prefix.size()) == std::string_view::npos;
}

template <typename Predicate>
std::vector<std::string> namesIn(int folder, Predicate const& isWanted) {
  std::vector<std::string> found;
  error_code error;
  FileHandle own = FileHandle::openAt(folder, ".", O_RDONLY | O_DIRECTORY, 0, error);
  if (error) return found;
  DirectoryStream listing(std::move(own), error);
  if (error) return found;
  while (dirent const* const entry = listing.next(error))
    if (isWanted(entry->d_name)) found.emplace_back(entry->d_name);
  return found;
}

void removeUnlessHeld(int folder, char const* name) {
  error_code error;
  FileHandle const file = FileHandle::openAt(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0, error);
  struct stat status {};
  if (error || !file.getStatus(status, error) || !S_ISREG(status.st_mode)) return;
  file.tryLock(error);
  // Its maker may have finished meanwhile, and another process may have taken the name.
  struct stat named {};
  bool const isStillNamed = fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && named.st_dev == status.st_dev &&
                            named.st_ino == status.st_ino;
  if (!error && isStillNamed) unlinkat(folder, name, 0);
}

/// Whether the file of an extraction has nothing but content yet: its time is set behind its last byte.
bool isUnfinished(struct stat const& status) {
  return (status.st_mode & kModeBits) == kUnfinishedMode && status.st_mtim.tv_sec == status.st_ctim.tv_sec &&
         status.st_mtim.tv_nsec == status.st_ctim.tv_nsec;
}

/// A finished file is no longer locked, and a link cannot be locked. Both get their own name at once.
bool isOld(struct stat const& status) { return ::time(nullptr) - status.st_ctim.tv_sec >= kLongestRename; }

void removeIfLeftOver(int folder, char const* name) {
  struct stat status {};
  if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (S_ISREG(status.st_mode) && (isUnfinished(status) || isOld(status))) removeUnlessHeld(folder, name);
  if (S_ISLNK(status.st_mode) && isOld(status)) ::unlinkat(folder, name, 0);
}

bool isNotSupported(int error) { return error == EINVAL || error == ENOSYS || error == ENOTSUP; }

}  // namespace

std::string temporaryNameFor(std::string const& name) { return prefixFor(name) + randomCharacters(kRandomCharacters); }

std::string temporaryNameForSpool() { return std::string(kMark) + randomCharacters(kRandomCharacters); }

std::string temporaryNameForExtraction() { return std::string(kMark) + randomCharacters(kMoreRandomCharacters); }

void removeOrphans(int folder, std::string const& name) noexcept try {
  auto const isOrphan = [prefix = prefixFor(name)](std::string_view found) {
    return isTemporary(found, prefix, kRandomCharacters) || isTemporary(found, kMark, kRandomCharacters);
  };
  for (std::string const& orphan : namesIn(folder, isOrphan)) removeUnlessHeld(folder, orphan.c_str());
} catch (std::exception const&) {
  return;  // out of memory; the next save tries again
}

void removeLeftovers(int folder) noexcept try {
  auto const isOfExtraction = [](std::string_view found) { return isTemporary(found, kMark, kMoreRandomCharacters); };
  for (std::string const& leftover : namesIn(folder, isOfExtraction)) removeIfLeftOver(folder, leftover.c_str());
} catch (std::exception const&) {
  return;  // out of memory; the next extraction tries again
}

TemporaryName::~TemporaryName() {
  error_code ignored;  // the caller has an error to report already, or nothing to keep
  remove(ignored);
}

template <typename Attempt>
TemporaryName TemporaryName::make(int folder, std::function<std::string()> const& makeName, error_code& error,
                                  Attempt attempt) {
  for (int attempts = 0; attempts < kAttempts; ++attempts) {
    std::string name = makeName();
    attempt(name.c_str());
    if (!error) return {folder, std::move(name)};
    if (error != posixError(EEXIST)) break;
  }
  return {};
}

TemporaryName TemporaryName::makeFile(int folder, std::function<std::string()> const& makeName, int access,
                                      FileHandle& file, error_code& error) {
  return make(folder, makeName, error, [&](char const* name) {
    file = FileHandle::openAt(folder, name, access | O_CREAT | O_EXCL | O_NOFOLLOW, kUnfinishedMode, error);
  });
}

/// The empty path, which names the descriptor itself, needs a privilege; /proc does not.
TemporaryName TemporaryName::makeLink(int folder, std::function<std::string()> const& makeName, FileHandle const& file,
                                      error_code& error) {
  std::string const self = "/proc/self/fd/" + std::to_string(file.descriptor());
  return make(folder, makeName, error, [&](char const* name) {
    bool const isLinked = ::linkat(AT_FDCWD, self.c_str(), folder, name, AT_SYMLINK_FOLLOW) == 0;
    error = isLinked ? error_code() : lastPosixError();
  });
}

void TemporaryName::moveTo(char const* name, bool replace, error_code& error) {
  char const* const from = name_.c_str();
  int moved =
      repeatInterrupted([&] { return ::renameat2(folder_, from, folder_, name, replace ? 0 : RENAME_NOREPLACE); });
  bool const isLinked = moved != 0 && !replace && isNotSupported(errno);
  if (isLinked) moved = ::linkat(folder_, from, folder_, name, 0);  // which does not replace anything either
  error = moved == 0 ? error_code() : lastPosixError();
  if (error) return;
  if (isLinked && ::unlinkat(folder_, from, 0) != 0) return;
  name_.clear();
}

void TemporaryName::remove(error_code& error) noexcept {
  bool const failed = !name_.empty() && ::unlinkat(folder_, name_.c_str(), 0) != 0;
  error = failed ? lastPosixError() : error_code();
  name_.clear();
}

}  // namespace opc
