// SPDX-License-Identifier: Apache-2.0
#include "container/RandomAccessBytes.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "container/Faults.hpp"

namespace opc::model::zip {
namespace {

// Small at first, so that a wrong guess is cheap; growing, so that a long row takes few steps.
constexpr std::size_t kFirstWindow = 16u << 10, kGrowth = 4, kWindow = 1u << 20;
constexpr std::uint64_t kGap = 4096;  // the largest between pieces that still follow one another

void checkRange(std::uint64_t size, std::uint64_t offset, std::size_t count) {
  if (offset > size || count > size - offset) throw damagedArchive("it ends too early");
}

class FileBytes final : public RandomAccessBytes {
 public:
  FileBytes(std::string path, FileHandle file, std::uint64_t size)
      : path_(std::move(path)), file_(std::move(file)), size_(size) {}

  std::uint64_t size() const override { return size_; }

  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    checkRange(size_, offset, count);
    boost::system::error_code error;
    std::size_t const got = file_.readAt(offset, buffer, count, error);
    if (error) throw couldNotOpen(path_, error.value());
    if (got < count) throw damagedArchive("it became shorter while it was open");
  }

  int descriptor() const override { return file_.descriptor(); }

 private:
  std::string path_;
  FileHandle file_;
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

struct stat statusOf(int descriptor, std::string const& path) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) throw couldNotOpen(path, errno);
  return status;
}

}  // namespace

unsigned char const* ReadAhead::bytes(Source const& source, std::uint64_t offset, std::size_t count) {
  bool const known = id_ == source.id && offset >= begin_;
  std::uint64_t const at = offset - begin_;
  if (known && at <= filled_ && count <= filled_ - at) return buffer_.data.get() + at;
  bool const follows = known && at > 0 && at <= filled_ + kGap;  // at 0 it is the same piece with more bytes
  std::uint64_t const left = offset < source.size ? source.size - offset : 0;
  window_ = follows ? std::clamp(window_ * kGrowth, kFirstWindow, kWindow) : 0;
  read(source, offset, std::max(count, static_cast<std::size_t>(std::min<std::uint64_t>(left, window_))));
  return buffer_.data.get();
}

void ReadAhead::read(Source const& source, std::uint64_t offset, std::size_t count) {
  id_ = nullptr;
  if (buffer_.size < count) buffer_ = Buffer(count);
  source.readAt(offset, buffer_.data.get(), count);
  id_ = source.id;
  begin_ = offset;
  filled_ = count;
}

RandomAccessBytes::~RandomAccessBytes() = default;

std::shared_ptr<RandomAccessBytes const> openFileBytes(std::string const& path) {
  if (path.find('\0') != std::string::npos) throw couldNotOpen(path, EINVAL);
  boost::system::error_code error;
  FileHandle file =
      FileHandle::open(path.c_str(), O_RDONLY | O_NONBLOCK, error);  // does not wait for the writer of a fifo
  if (error) throw couldNotOpen(path, error.value());
  struct stat const status = statusOf(file.descriptor(), path);
  if (S_ISDIR(status.st_mode)) throw couldNotOpen(path, EISDIR);
  if (!S_ISREG(status.st_mode)) throw couldNotOpen(path, EINVAL);
  return std::make_shared<FileBytes>(path, std::move(file), static_cast<std::uint64_t>(status.st_size));
}

void requireWritable(std::string const& path) {
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) throw couldNotOpen(path, errno);
}

FileIdentity identityOf(RandomAccessBytes const& file, std::string const& path) {
  return FileIdentity::of(statusOf(file.descriptor(), path));
}

std::shared_ptr<RandomAccessBytes const> makeMemoryBytes(std::vector<unsigned char> bytes) {
  return std::make_shared<MemoryBytes>(std::move(bytes));
}

}  // namespace opc::model::zip
