// SPDX-License-Identifier: Apache-2.0
#include "io/FileStreams.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "opc/Strings.hpp"

namespace opc {
namespace {

constexpr std::size_t kOutputCapacity = 65'536;
constexpr std::size_t kSmallestBuffer = 4'096;
constexpr std::size_t kLargestBuffer = 65'536;
constexpr std::size_t kBlock = 4'096;          // of most file systems: the smallest hole
constexpr std::size_t kShortestHole = 65'536;  // shorter ones save little and cut files into pieces

int whenceOf(std::ios_base::seekdir direction) {
  if (direction == std::ios_base::beg) return SEEK_SET;
  return direction == std::ios_base::cur ? SEEK_CUR : SEEK_END;
}

// The buffer is no larger than the file needs: a tree can hold many files of a few bytes.
std::size_t bufferSizeFor(struct stat const& status) {
  if (!S_ISREG(status.st_mode)) return kLargestBuffer;
  auto const size = static_cast<std::size_t>(status.st_size);
  return std::clamp(size, kSmallestBuffer, kLargestBuffer);
}

// Accepts regular files and devices, which have content of their own. Reads of devices wait again.
boost::system::error_code checkReadable(FileHandle const& file, struct stat& status) {
  boost::system::error_code error;
  if (!file.getStatus(status, error)) return error;
  if (S_ISDIR(status.st_mode)) return posixError(EISDIR);
  if (S_ISREG(status.st_mode)) return {};  // reads of regular files never wait
  if (!S_ISCHR(status.st_mode) && !S_ISBLK(status.st_mode)) return posixError(EINVAL);
  int const flags = ::fcntl(file.descriptor(), F_GETFL);
  if (flags < 0 || ::fcntl(file.descriptor(), F_SETFL, flags & ~O_NONBLOCK) < 0) return lastPosixError();
  return {};
}

bool isZero(std::string_view block) {
  return block.front() == '\0' && std::memcmp(block.data(), block.data() + 1, block.size() - 1) == 0;
}

bool accept(bool isWrong, boost::system::error_code& error) {
  error = isWrong ? posixError(EINVAL) : boost::system::error_code();
  return !isWrong;
}

}  // namespace

std::size_t FileInputBuffer::readFile(char* to, std::size_t count) {
  boost::system::error_code error;
  std::size_t const got = file_.read(to, count, error);
  if (error)
    throw StreamError("Could not read from file: " + toUDEString(escapeForDisplay(path_)) + ": " + error.message(),
                      error);
  return got;
}

FileInputBuffer::int_type FileInputBuffer::underflow() {
  if (gptr() == egptr()) {
    if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(capacity_);
    std::size_t const got = readFile(buffer_.get(), capacity_);
    setg(buffer_.get(), buffer_.get(), buffer_.get() + got);
    if (got == 0) return traits_type::eof();
  }
  return traits_type::to_int_type(*gptr());
}

// Reads as large as the buffer go straight to the reader's memory.
std::streamsize FileInputBuffer::xsgetn(char_type* to, std::streamsize count) {
  std::streamsize done = 0;
  while (done < count) {
    std::streamsize const buffered = std::min<std::streamsize>(egptr() - gptr(), count - done);
    if (buffered > 0) {
      std::memcpy(to + done, gptr(), static_cast<std::size_t>(buffered));
      setg(eback(), gptr() + buffered, egptr());
      done += buffered;
    } else if (static_cast<std::size_t>(count - done) >= capacity_) {
      std::size_t const got = readFile(to + done, static_cast<std::size_t>(count - done));
      if (got == 0) break;
      done += static_cast<std::streamsize>(got);
    } else if (traits_type::eq_int_type(underflow(), traits_type::eof())) {
      break;
    }
  }
  return done;
}

FileInputBuffer::pos_type FileInputBuffer::seekoff(off_type offset, std::ios_base::seekdir direction,
                                                   std::ios_base::openmode which) {
  pos_type const failed(off_type(-1));
  if (!(which & std::ios_base::in)) return failed;
  off_type const buffered = egptr() - gptr();  // the file stands this much ahead of the reader
  if (direction == std::ios_base::cur && offset == 0) {
    off_type const position = ::lseek(file_.descriptor(), 0, SEEK_CUR);
    return position < 0 ? failed : pos_type(position - buffered);
  }
  if (direction == std::ios_base::cur) offset -= buffered;
  off_type const position = ::lseek(file_.descriptor(), offset, whenceOf(direction));
  if (position < 0) return failed;
  setg(buffer_.get(), buffer_.get(), buffer_.get());
  return pos_type(position);
}

FileInputBuffer::pos_type FileInputBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
  return seekoff(off_type(position), std::ios_base::beg, which);
}

FileInputStream::FileInputStream(FileHandle file, std::u16string path, std::size_t capacity)
    : std::istream(nullptr), buffer_(std::move(file), std::move(path), capacity) {
  rdbuf(&buffer_);
  exceptions(std::ios_base::badbit);
}

// Goes by blocks of the file, since no smaller part of it can be a hole.
void HoleWriter::write(FileHandle const& file, std::string_view data, boost::system::error_code& error) {
  while (!data.empty() && !error) {
    std::size_t count = std::min<std::size_t>(data.size(), kBlock - size_ % kBlock);
    if (isZero(data.substr(0, count))) {
      zeros_ += count;
    } else {
      while (count < data.size() && !isZero(data.substr(count, kBlock))) count += std::min(data.size() - count, kBlock);
      if (zeros_ < kShortestHole) writeShortRun(file, error);
      if (!error) file.writeAllAt(size_, data.data(), count, error);
      zeros_ = 0;
    }
    size_ += count;
    data.remove_prefix(count);
  }
}

void HoleWriter::writeShortRun(FileHandle const& file, boost::system::error_code& error) {
  static constexpr std::array<char, kShortestHole> kZeros{};
  if (zeros_ > 0) file.writeAllAt(size_ - zeros_, kZeros.data(), static_cast<std::size_t>(zeros_), error);
}

void HoleWriter::finish(FileHandle const& file, boost::system::error_code& error) {
  if (zeros_ >= kShortestHole)
    file.setSize(size_, error);
  else
    writeShortRun(file, error);
  zeros_ = 0;
}

// Best effort: only commit() reports errors.
FileOutputBuffer::~FileOutputBuffer() {
  if (file_.isOpen()) flushBuffer();
}

boost::system::error_code FileOutputBuffer::commit() {
  if (!file_.isOpen()) return firstError_;
  sync();
  boost::system::error_code closing;
  file_.close(closing);
  if (!firstError_) firstError_ = closing;
  setp(nullptr, nullptr);  // later writes fail instead of staying in the buffer
  return firstError_;
}

// Writes nothing after an error: bytes behind a gap would pass for content.
bool FileOutputBuffer::writeFile(char const* data, std::size_t count) {
  if (firstError_) return false;
  if (zeroRuns_ == ZeroRuns::MakeHoles)
    holes_.write(file_, {data, count}, firstError_);
  else
    file_.writeAll(data, count, firstError_);
  return !firstError_;
}

bool FileOutputBuffer::flushBuffer() {
  auto const count = static_cast<std::size_t>(pptr() - pbase());
  if (count > 0 && !writeFile(pbase(), count)) return false;
  setp(buffer_.get(), buffer_ ? buffer_.get() + kOutputCapacity : nullptr);
  return !firstError_;
}

FileOutputBuffer::int_type FileOutputBuffer::overflow(int_type next) {
  if (!file_.isOpen()) return traits_type::eof();
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(kOutputCapacity);
  if (!flushBuffer()) return traits_type::eof();
  if (traits_type::eq_int_type(next, traits_type::eof())) return traits_type::not_eof(next);
  return sputc(traits_type::to_char_type(next));
}

// Writes as large as the buffer go straight to the file.
std::streamsize FileOutputBuffer::xsputn(char_type const* from, std::streamsize count) {
  auto const size = static_cast<std::size_t>(count);
  if (size > static_cast<std::size_t>(epptr() - pptr())) {
    if (traits_type::eq_int_type(overflow(traits_type::eof()), traits_type::eof())) return 0;
    if (size >= kOutputCapacity) return writeFile(from, size) ? count : 0;
  }
  if (size > 0) std::memcpy(pptr(), from, size);
  pbump(static_cast<int>(size));
  return count;
}

int FileOutputBuffer::sync() {
  if (!file_.isOpen()) return 0;
  if (flushBuffer()) holes_.finish(file_, firstError_);
  return firstError_ ? -1 : 0;
}

bool isReadingMode(std::ios::openmode mode, boost::system::error_code& error) {
  return accept(static_cast<bool>(mode & (std::ios::out | std::ios::app | std::ios::trunc | std::ios::ate)), error);
}

bool isWritingMode(std::ios::openmode mode, boost::system::error_code& error) {
  return accept(static_cast<bool>(mode & (std::ios::in | std::ios::app | std::ios::ate)),
                error);  // these would keep the old content
}

std::unique_ptr<FileInputStream> makeInputStream(FileHandle file, std::u16string const& path, struct stat& status,
                                                 boost::system::error_code& error) {
  error = checkReadable(file, status);
  if (error) return nullptr;
  return std::make_unique<FileInputStream>(std::move(file), path, bufferSizeFor(status));
}

LocalFileOutputStream::LocalFileOutputStream(FileHandle file) : FileOutputStream(nullptr), buffer_(std::move(file)) {
  rdbuf(&buffer_);
}

void LocalFileOutputStream::commit(boost::system::error_code& error) {
  error = buffer_.commit();
  if (!error && bad()) error = posixError(EIO);  // something other than the file failed, such as memory
}

}  // namespace opc
