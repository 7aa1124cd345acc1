// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "opc/FileIdentity.hpp"
#include "text/PosixError.hpp"

namespace opc {

/// Makes a system call again while signals interrupt it, and returns its result.
template <typename Call>
auto repeatInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// Owns one open file or folder of the disk. Every call repeats what a signal interrupts, and sets or clears `error`.
/// The const calls may run on several threads.
class FileHandle {
 public:
  static constexpr mode_t kOrdinaryMode = 0666;  ///< of new files, less the umask

  FileHandle() = default;
  explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
  FileHandle(FileHandle&& other) noexcept : descriptor_(other.release()) {}
  FileHandle& operator=(FileHandle&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileHandle();

  /// Opens with close-on-exec, in the working directory or, for a relative path, in a folder. Not open, with `error`
  /// set, where the system refuses.
  static FileHandle open(char const* path, int flags, boost::system::error_code& error);
  static FileHandle openAt(int folder, char const* path, int flags, mode_t mode, boost::system::error_code& error);

  bool isOpen() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }
  int release() { return std::exchange(descriptor_, -1); }

  /// Up to `count` bytes; 0 at the end and on an error.
  std::size_t read(void* buffer, std::size_t count, boost::system::error_code& error);
  /// Fills the buffer; fewer bytes only at the end of the file and on an error.
  std::size_t readAt(std::uint64_t offset, void* buffer, std::size_t count, boost::system::error_code& error) const;

  /// All bytes, or an error.
  void writeAll(void const* data, std::size_t count, boost::system::error_code& error);
  void writeAllAt(std::uint64_t offset, void const* data, std::size_t count, boost::system::error_code& error) const;
  /// Appends a range of another open file at this one's position, by the kernel where it can. A source that is too
  /// short is EIO.
  void copyFrom(int source, std::uint64_t offset, std::uint64_t count, boost::system::error_code& error);
  /// Starts writing the range to the disk without waiting for it. Errors show in sync().
  void startSync(std::uint64_t offset, std::uint64_t count) const;
  void sync(boost::system::error_code& error) const;

  bool getStatus(struct stat& status, boost::system::error_code& error) const;
  void setSize(std::uint64_t size, boost::system::error_code& error) const;
  void setMode(mode_t mode, boost::system::error_code& error) const;
  /// The time of the last change of the content; that of the last access stays.
  void setModificationTime(timespec const& time, boost::system::error_code& error) const;
  void setOwner(uid_t owner, gid_t group, boost::system::error_code& error) const;

  /// Takes the advisory lock (flock) without waiting; EWOULDBLOCK where another open file has it. The lock goes with
  /// the last descriptor of the open file.
  void tryLock(boost::system::error_code& error) const;
  void unlock() const noexcept;

  /// Another handle of the open file: position and lock are common.
  FileHandle share(boost::system::error_code& error) const;
  /// Where writeAll() and copyFrom() write next.
  void setPosition(std::uint64_t position, boost::system::error_code& error) const;

  /// The file is closed afterwards whatever the outcome.
  void close(boost::system::error_code& error);

 private:
  int descriptor_ = -1;
};

/// As FileHandle::readAt, for a descriptor that another object owns.
std::size_t readAt(int descriptor, std::uint64_t offset, void* buffer, std::size_t count,
                   boost::system::error_code& error);

/// FileHandle::kOrdinaryMode less the umask of this process. The umask is read and not set, as umask() must: setting
/// it would for a moment give files of other threads too wide a mode.
mode_t modeOfNewFiles();

/// Lists the entries of an open folder.
class DirectoryStream {
 public:
  /// Takes over a folder that is open for reading. Lists nothing where `error` is set.
  DirectoryStream(FileHandle folder, boost::system::error_code& error);

  int descriptor() const { return ::dirfd(stream_.get()); }
  /// The next entry but "." and ".."; null at the end and on an error.
  dirent const* next(boost::system::error_code& error);

 private:
  struct Closer {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };

  std::unique_ptr<DIR, Closer> stream_;
};

}  // namespace opc
