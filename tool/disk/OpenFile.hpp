// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <utility>

namespace ztpkg {

/// Owns an open folder, or a file or terminal from which secrets are read: the library's streams would leave them in
/// their buffers. Calls that fail leave the reason in errno.
class OpenFile {
 public:
  /// Close-on-exec is added to the flags. The path is UTF-8.
  OpenFile(std::string const& path, int flags, mode_t mode = 0);
  OpenFile(std::u16string const& path, int flags);
  /// Of an open folder.
  OpenFile(int folder, std::string const& path, int flags);
  /// Owns an open descriptor.
  static OpenFile adopt(int descriptor) { return OpenFile(descriptor); }
  OpenFile(OpenFile&& other) noexcept : descriptor_(other.release()) {}
  OpenFile& operator=(OpenFile&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~OpenFile() { close(); }

  bool isOpen() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }
  int release() { return std::exchange(descriptor_, -1); }

  /// Reads until the buffer is full or the file ends; -1 on an error. Goes on after signals.
  ssize_t read(void* buffer, std::size_t count) const;
  /// False on an error. The file is closed whatever the outcome.
  bool close();

 private:
  explicit OpenFile(int descriptor) : descriptor_(descriptor) {}

  int descriptor_;
};

}  // namespace ztpkg
