// SPDX-License-Identifier: Apache-2.0
#include "container/RandomAccessBytes.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "container/ZipErrors.hpp"
#include "io/FileIo.hpp"

namespace opc::model::zip {
namespace {

void checkRange(std::uint64_t size, std::uint64_t offset, std::size_t count) {
  if (offset > size || count > size - offset) throw damagedArchive("it ends too early");
}

class FileBytes final : public RandomAccessBytes {
 public:
  FileBytes(std::string path, Descriptor file, std::uint64_t size)
      : path_(std::move(path)), file_(std::move(file)), size_(size) {}

  std::uint64_t size() const override { return size_; }

  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    checkRange(size_, offset, count);
    int const error = readFully(file_.get(), offset, buffer, count);
    if (error == kEndOfFile) throw damagedArchive("it became shorter while it was open");
    if (error) throw couldNotOpen(path_, error);
  }

  int descriptor() const override { return file_.get(); }

 private:
  std::string path_;
  Descriptor file_;
  std::uint64_t size_;
};

class MemoryBytes final : public RandomAccessBytes {
 public:
  explicit MemoryBytes(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}

  std::uint64_t size() const override { return bytes_.size(); }

  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    checkRange(bytes_.size(), offset, count);
    std::copy_n(bytes_.data() + offset, count, static_cast<unsigned char*>(buffer));
  }

  int descriptor() const override { return -1; }

 private:
  std::vector<unsigned char> bytes_;
};

int openForReading(std::string const& path) {
  if (path.find('\0') != std::string::npos) throw couldNotOpen(path, EINVAL);
  int fd;
  do fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a fifo must not make it wait
  while (fd < 0 && errno == EINTR);
  if (fd < 0) throw couldNotOpen(path, errno);
  return fd;
}

}  // namespace

RandomAccessBytes::~RandomAccessBytes() = default;

std::shared_ptr<RandomAccessBytes const> openFileBytes(std::string const& path) {
  Descriptor file(openForReading(path));
  struct stat status {};
  if (fstat(file.get(), &status) != 0) throw couldNotOpen(path, errno);
  if (S_ISDIR(status.st_mode)) throw couldNotOpen(path, EISDIR);
  if (!S_ISREG(status.st_mode)) throw couldNotOpen(path, EINVAL);
  return std::make_shared<FileBytes>(path, std::move(file), static_cast<std::uint64_t>(status.st_size));
}

std::shared_ptr<RandomAccessBytes const> makeMemoryBytes(std::vector<unsigned char> bytes) {
  return std::make_shared<MemoryBytes>(std::move(bytes));
}

}  // namespace opc::model::zip
