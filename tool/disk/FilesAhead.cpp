// SPDX-License-Identifier: Apache-2.0
#include "disk/FilesAhead.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <system_error>
#include <thread>
#include <typeinfo>
#include <utility>

#include "disk/OpenFile.hpp"

namespace ztpkg {
namespace {

constexpr std::uint64_t kSmall = 1u << 20;
constexpr std::uint64_t kBudget = 4u << 20;  // of content that the caller is not done with
constexpr std::uint64_t kEntrySize = 1024;   // what a file takes besides its content
constexpr std::size_t kFilesOfBatch = 64;
constexpr std::uint64_t kBytesOfBatch = 256u << 10;
constexpr mode_t kPermissionBits = 07777;

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

/// Reads a file of the local disk that is as it was listed; none for another one, which the disk is to open. One byte
/// more than the file has shows its end.
std::optional<Entry> readListed(std::u16string const& path, opc::FileIdentity const& listed) {
  Entry entry;
  entry.size += listed.size;
  if (listed.size > kSmall) return entry;
  auto const time = timeOf(listed);
  OpenFile const file(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY);
  if (!time || !file.isOpen()) return std::nullopt;
  auto const size = static_cast<std::size_t>(listed.size);
  FileContent content(size + 1);
  struct stat status {};
  bool const isWhole = ::read(file.descriptor(), content.data(), size + 1) == static_cast<ssize_t>(size);
  if (!isWhole || fstat(file.descriptor(), &status) != 0 || opc::FileIdentity::of(status) != listed)
    return std::nullopt;
  content.shrink(size);
  entry.file.emplace();
  entry.file->content = std::make_unique<HeldStream>(std::move(content));
  entry.file->permissions = static_cast<opc::Perms::Perms_tag>(status.st_mode & kPermissionBits);
  entry.file->time = *time;
  entry.file->size = listed.size;
  entry.file->identity = listed;
  return entry;
}

/// Entries in the order of their paths, and the sum of their sizes.
struct Batch {
  std::deque<Entry> entries{};
  std::uint64_t size = 0;

  void add(Entry entry) {
    size += entry.size;
    entries.push_back(std::move(entry));
  }
};

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
  std::span<std::u16string const> paths;
  std::span<FileFacts const> listed;
  OnDisk onDisk;
  bool isLocal = typeid(disk) == typeid(opc::LocalFileSystemOps);
  std::mutex mutex{};
  std::condition_variable hasEntries{};
  std::condition_variable hasRoom{};
  Batch ready{};           // handed over by the thread, not taken by the caller
  std::uint64_t held = 0;  // sizes of those, and of the batch that the caller has
  bool isWaiting = false;  // the caller, for entries
  bool isEnding = false;
  bool hasFailed = false;    // for want of memory: the disk reads the files behind the entries
  Batch own{};               // the caller's alone, as is
  std::size_t position = 0;  // that of its first entry among the paths
  std::thread thread{};

  // Waking a thread takes as long as reading a few files.
  void work() noexcept try {
    Batch batch;
    for (std::size_t i = 0; i < paths.size(); ++i) {
      batch.add(tryRead(i));
      bool const isFull = batch.entries.size() >= kFilesOfBatch || batch.size >= kBytesOfBatch;
      if ((isFull || i + 1 == paths.size()) && !handOver(batch)) return;
    }
  } catch (...) {
    std::lock_guard const lock(mutex);
    hasFailed = true;
    hasEntries.notify_one();
  }

  // A failure repeats for the caller, who reports it.
  Entry tryRead(std::size_t i) const noexcept try {
    std::u16string const path = onDisk(paths[i]);
    if (isLocal && !listed.empty() && listed[i].identity.inode != 0)
      if (auto entry = readListed(path, listed[i].identity)) return std::move(*entry);
    return read(disk, path);
  } catch (...) {
    return {};
  }

  /// False when nobody wants more.
  bool handOver(Batch& batch) {
    std::unique_lock lock(mutex);
    held += batch.size;
    for (Entry& entry : batch.entries) ready.add(std::move(entry));
    batch = {};
    if (isWaiting) hasEntries.notify_one();
    // Once there is enough it sleeps until half is gone, so that the threads seldom wake each other.
    if (held >= kBudget) hasRoom.wait(lock, [this] { return isEnding || held <= kBudget / 2; });
    return !isEnding;
  }

  /// Takes what is ready if the caller has nothing left, and waits for it. False where no more entries come.
  bool fetch() {
    if (!own.entries.empty()) return true;
    std::unique_lock lock(mutex);
    held -= own.size;
    own = {};
    if (held <= kBudget / 2) hasRoom.notify_one();
    isWaiting = true;
    hasEntries.wait(lock, [this] { return hasFailed || !ready.entries.empty(); });
    isWaiting = false;
    own = std::exchange(ready, {});
    return !own.entries.empty();
  }

  std::optional<opc::OpenedFile> takeFirst() {
    bool const isThere = fetch();
    ++position;
    if (!isThere) return std::nullopt;
    Entry entry = std::move(own.entries.front());
    own.entries.pop_front();
    return std::move(entry.file);
  }

  bool isNext(std::u16string const& path) const {
    return thread.joinable() && position < paths.size() && paths[position] == path;
  }

  std::optional<opc::OpenedFile> take(std::u16string const& path) {
    auto const first = paths.begin() + static_cast<std::ptrdiff_t>(position);
    auto const found = isNext(path) ? first : std::lower_bound(first, paths.end(), path);
    if (!thread.joinable() || found == paths.end() || *found != path) return std::nullopt;
    for (auto skipped = found - first; skipped > 0; --skipped) takeFirst();
    return takeFirst();
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

FilesAhead::FilesAhead(opc::FileSystemOps& disk, std::span<std::u16string const> paths,
                       std::span<FileFacts const> listed, OnDisk onDisk)
    : opc::ForwardingFileSystemOps(disk), impl_(new Impl{disk, paths, listed, std::move(onDisk)}) {
  if (!impl_->onDisk) impl_->onDisk = [](std::u16string const& path) { return path; };
  try {
    impl_->thread = std::thread([impl = impl_.get()] { impl->work(); });
  } catch (std::system_error const&) {
    return;  // the disk can read everything
  }
}

FilesAhead::~FilesAhead() { impl_->stop(); }

opc::OpenedFile FilesAhead::openForAdding(std::u16string const& path) {
  auto held = impl_->take(path);
  return held ? std::move(*held) : inner().openForAdding(impl_->onDisk(path));
}

bool FilesAhead::holdsNext(std::u16string const& path) {
  return impl_->isNext(path) && impl_->fetch() && impl_->own.entries.front().file;
}

bool FilesAhead::isHeld(opc::OpenedFile const& file) {
  return dynamic_cast<HeldStream const*>(file.content.get()) != nullptr;
}

}  // namespace ztpkg
