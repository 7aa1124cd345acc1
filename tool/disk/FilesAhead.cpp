// SPDX-License-Identifier: Apache-2.0
#include "disk/FilesAhead.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <boost/date_time/posix_time/conversion.hpp>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "disk/OpenFile.hpp"

namespace ztpkg {
namespace {

constexpr std::uint64_t kSmall = 1u << 20;
constexpr std::uint64_t kBudget = 4u << 20;  // of content that the caller is not done with
constexpr std::uint64_t kEntrySize = 1024;   // what a file takes besides its content
constexpr std::uint32_t kPermissionBits = 07777;
constexpr std::int64_t kLastSecond = 253'402'300'799;  // of the year 9999

struct Entry {
  std::uint64_t size;  // counted whether it was read or is left to the caller
  std::optional<FilesAhead::File> file;
};

bool isUnchanged(struct stat const& a, struct stat const& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_mode == b.st_mode && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

boost::posix_time::ptime timeOf(struct stat const& status) {
  return boost::posix_time::from_time_t(status.st_mtim.tv_sec) +
         boost::posix_time::microseconds(status.st_mtim.tv_nsec / 1000);
}

bool isWanted(struct stat const& status) {
  return S_ISREG(status.st_mode) && static_cast<std::uint64_t>(status.st_size) <= kSmall &&
         status.st_mtim.tv_sec >= 0 && status.st_mtim.tv_sec <= kLastSecond;
}

bool getStatus(OpenFile const& file, struct stat& status) {
  return file.isOpen() && fstat(file.descriptor(), &status) == 0;
}

/// Reads all that there is; some file systems make contents up and do not know their size.
bool hasExactly(OpenFile const& file, char* bytes, std::size_t size) {
  char more = 0;
  return file.read(bytes, size) == static_cast<ssize_t>(size) && file.read(&more, 1) == 0;
}

Entry read(std::u16string const& path) {
  Entry entry{kEntrySize, std::nullopt};
  OpenFile const file(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  struct stat before {
  }, after{};
  if (!getStatus(file, before)) return entry;
  entry.size += static_cast<std::uint64_t>(before.st_size);
  if (!isWanted(before)) return entry;
  FileContent content(static_cast<std::size_t>(before.st_size));
  if (!hasExactly(file, content.data(), content.size()) || !getStatus(file, after) || !isUnchanged(before, after))
    return entry;
  auto const permissions = static_cast<opc::Perms::Perms_tag>(after.st_mode & kPermissionBits);
  entry.file = FilesAhead::File{std::move(content), permissions, timeOf(after)};
  return entry;
}

// Whatever goes wrong goes wrong again for the caller, who can tell it.
Entry tryRead(std::u16string const& path) noexcept try { return read(path); } catch (...) {
  return {kEntrySize, std::nullopt};
}

}  // namespace

struct FilesAhead::Impl {
  std::vector<std::u16string> paths;
  std::mutex mutex{};
  std::condition_variable hasEntry{};
  std::condition_variable hasRoom{};
  std::deque<Entry> entries{};
  std::uint64_t held = 0;   // sizes of the entries, and of the one that the caller has
  std::uint64_t taken = 0;  // size of that one
  bool isEnding = false;
  std::thread thread{};

  void work() {
    for (std::u16string const& path : paths) {
      Entry entry = tryRead(path);
      std::unique_lock lock(mutex);
      held += entry.size;
      entries.push_back(std::move(entry));
      hasEntry.notify_one();
      // Once there is enough it sleeps until much of that is gone, so that the two seldom wake one another.
      if (held >= kBudget) hasRoom.wait(lock, [this] { return isEnding || held <= kBudget / 2; });
      if (isEnding) return;
    }
  }

  Entry take() {
    std::unique_lock lock(mutex);
    held -= taken;
    if (held <= kBudget / 2) hasRoom.notify_one();
    hasEntry.wait(lock, [this] { return !entries.empty(); });
    Entry entry = std::move(entries.front());
    entries.pop_front();
    taken = entry.size;
    return entry;
  }

  void stop() {
    {
      std::lock_guard const lock(mutex);
      isEnding = true;
    }
    hasRoom.notify_one();
    if (thread.joinable()) thread.join();
  }
};

FilesAhead::FilesAhead(std::vector<std::u16string> paths) : impl_(new Impl{std::move(paths)}) {
  try {
    impl_->thread = std::thread([impl = impl_.get()] { impl->work(); });
  } catch (std::system_error const&) {
    return;  // the caller can read everything
  }
}

FilesAhead::~FilesAhead() { impl_->stop(); }

std::optional<FilesAhead::File> FilesAhead::next() {
  if (!impl_->thread.joinable()) return std::nullopt;
  return impl_->take().file;
}

}  // namespace ztpkg
