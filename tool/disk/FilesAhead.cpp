// SPDX-License-Identifier: Apache-2.0
#include "disk/FilesAhead.hpp"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace ztpkg {
namespace {

constexpr std::uint64_t kSmall = 1u << 20;
constexpr std::uint64_t kBudget = 4u << 20;  // of content that the caller is not done with
constexpr std::uint64_t kEntrySize = 1024;   // what a file takes besides its content

class HeldStream final : public std::istream {
 public:
  explicit HeldStream(FileContent content) : std::istream(nullptr), buffer_(std::move(content)) { rdbuf(&buffer_); }

 private:
  HeldInput buffer_;
};

struct Entry {
  std::uint64_t size = kEntrySize;  // counted whether the file was read or is left to the disk
  std::optional<opc::OpenedFile> file;
};

/// Whether the stream has exactly as many bytes as the content: pseudo file systems do not know sizes.
bool hasExactly(std::istream& from, FileContent& content) {
  auto const count = static_cast<std::streamsize>(content.size());
  return from.rdbuf()->sgetn(content.data(), count) == count && from.rdbuf()->sgetc() == std::char_traits<char>::eof();
}

Entry read(opc::FileSystemOps& disk, std::u16string const& path) {
  Entry entry;
  opc::OpenedFile file = disk.openForAdding(path);
  if (!file.content || file.permissionsError || file.timeError || !file.size || !file.identity) return entry;
  entry.size += *file.size;
  if (*file.size > kSmall) return entry;
  FileContent content(static_cast<std::size_t>(*file.size));
  if (!hasExactly(*file.content, content)) return entry;
  if (file.getIdentityNow() != file.identity) return entry;
  file.getIdentityNow = nullptr;
  file.content = std::make_unique<HeldStream>(std::move(content));
  entry.file = std::move(file);
  return entry;
}

// A failure repeats for the caller, who reports it.
Entry tryRead(opc::FileSystemOps& disk, std::u16string const& path) noexcept try {
  return read(disk, path);
} catch (...) {
  return {};
}

}  // namespace

HeldInput::HeldInput(FileContent content) : content_(std::move(content)) {
  setg(content_.data(), content_.data(), content_.data() + content_.size());
}

HeldInput::pos_type HeldInput::seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode mode) {
  char const* const base = from == std::ios::beg ? eback() : from == std::ios::cur ? gptr() : egptr();
  return seekpos(base - eback() + offset, mode);
}

HeldInput::pos_type HeldInput::seekpos(pos_type position, std::ios::openmode) {
  off_type const offset = position;
  if (offset < 0 || offset > egptr() - eback()) return pos_type(off_type(-1));
  setg(eback(), eback() + offset, egptr());
  return position;
}

struct FilesAhead::Impl {
  opc::FileSystemOps& disk;
  Paths paths;
  std::mutex mutex{};
  std::condition_variable hasEntry{};
  std::condition_variable hasRoom{};
  std::deque<Entry> entries{};
  std::size_t position = 0;  // of the first entry among the paths
  std::uint64_t held = 0;    // sizes of the entries, and of the one that the caller has
  std::uint64_t taken = 0;   // size of that one
  bool isEnding = false;
  bool hasFailed = false;  // for want of memory: the disk reads the files behind the entries
  std::thread thread{};

  void work() noexcept {
    for (std::u16string const& path : paths) {
      Entry entry = tryRead(disk, path);
      std::unique_lock lock(mutex);
      hasFailed = !tryHold(std::move(entry));
      hasEntry.notify_one();
      // Once there is enough it sleeps until half is gone, so that the threads seldom wake each other.
      if (held >= kBudget) hasRoom.wait(lock, [this] { return isEnding || held <= kBudget / 2; });
      if (isEnding || hasFailed) return;
    }
  }

  bool tryHold(Entry entry) noexcept try {
    std::uint64_t const size = entry.size;
    entries.push_back(std::move(entry));
    held += size;
    return true;
  } catch (std::bad_alloc const&) {
    return false;
  }

  Entry takeFirst() {
    std::unique_lock lock(mutex);
    held -= taken;
    taken = 0;
    if (held <= kBudget / 2) hasRoom.notify_one();
    hasEntry.wait(lock, [this] { return hasFailed || !entries.empty(); });
    ++position;
    if (entries.empty()) return {};
    Entry entry = std::move(entries.front());
    entries.pop_front();
    taken = entry.size;
    return entry;
  }

  std::optional<opc::OpenedFile> take(std::u16string const& path) {
    auto const first = paths.begin() + static_cast<std::ptrdiff_t>(position);
    auto const found = first != paths.end() && *first == path ? first : std::lower_bound(first, paths.end(), path);
    if (!thread.joinable() || found == paths.end() || *found != path) return std::nullopt;
    Entry entry;
    for (auto skipped = found - first; skipped >= 0; --skipped) entry = takeFirst();
    return std::move(entry.file);
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

FilesAhead::FilesAhead(opc::FileSystemOps& disk, Paths paths)
    : ForwardingOps(disk), impl_(new Impl{disk, std::move(paths)}) {
  try {
    impl_->thread = std::thread([impl = impl_.get()] { impl->work(); });
  } catch (std::system_error const&) {
    return;  // the disk can read everything
  }
}

FilesAhead::~FilesAhead() { impl_->stop(); }

opc::OpenedFile FilesAhead::openForAdding(std::u16string const& path) {
  auto held = impl_->take(path);
  return held ? std::move(*held) : inner().openForAdding(path);
}

bool FilesAhead::isHeld(opc::OpenedFile const& file) {
  return dynamic_cast<HeldStream const*>(file.content.get()) != nullptr;
}

}  // namespace ztpkg
