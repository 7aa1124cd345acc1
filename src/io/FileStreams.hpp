// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>

#include "io/FileHandle.hpp"
#include "opc/Streams.hpp"

namespace opc {

/// Reads an open file through a buffer that exists only once a small read asks for it. A read error is
/// thrown as StreamError, naming the path. Can seek where the file can.
class FileInputBuffer final : public std::streambuf {
 public:
  /// `path` is for messages alone.
  FileInputBuffer(FileHandle file, std::u16string path, std::size_t capacity)
      : file_(std::move(file)), path_(std::move(path)), capacity_(capacity) {}

  FileHandle const& file() const { return file_; }

 protected:
  int_type underflow() override;
  std::streamsize xsgetn(char_type* to, std::streamsize count) override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode which) override;
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

 private:
  std::size_t readFile(char* to, std::size_t count);

  FileHandle file_;
  std::u16string path_;
  std::size_t capacity_;
  std::unique_ptr<char[]> buffer_;
};

/// Lets through what its buffer throws.
class FileInputStream final : public std::istream {
 public:
  FileInputStream(FileHandle file, std::u16string path, std::size_t capacity);

  FileHandle const& file() const { return buffer_.file(); }

 private:
  FileInputBuffer buffer_;
};

/// Whether long runs of zeros are written, or become holes, which take no room on the disk.
enum class ZeroRuns { Write, MakeHoles };

/// Writes an empty file from its start and makes holes.
class HoleWriter {
 public:
  void write(FileHandle const& file, std::string_view data, boost::system::error_code& error);
  /// Gives the file its size where it ends in zeros. More may be written behind it.
  void finish(FileHandle const& file, boost::system::error_code& error);

 private:
  void writeShortRun(FileHandle const& file, boost::system::error_code& error);

  std::uint64_t size_ = 0;   // of everything so far
  std::uint64_t zeros_ = 0;  // at its end, not written yet
};

/// Writes an open empty file through a buffer, and keeps the first error of any write.
class FileOutputBuffer final : public std::streambuf {
 public:
  explicit FileOutputBuffer(FileHandle file, ZeroRuns zeroRuns = ZeroRuns::Write)
      : file_(std::move(file)), zeroRuns_(zeroRuns) {}
  ~FileOutputBuffer() override;

  FileHandle const& file() const { return file_; }
  /// Writes what is buffered and closes the file. Repeated calls give the same answer.
  boost::system::error_code commit();

 protected:
  int_type overflow(int_type next) override;
  std::streamsize xsputn(char_type const* from, std::streamsize count) override;
  int sync() override;

 private:
  bool writeFile(char const* data, std::size_t count);
  bool flushBuffer();

  FileHandle file_;
  ZeroRuns zeroRuns_;
  HoleWriter holes_;
  std::unique_ptr<char[]> buffer_;
  boost::system::error_code firstError_;
};

/// Whether a stream of that mode begins at the first byte of a file that is to be read, or written anew; if not
/// `error` says so.
bool isReadingMode(std::ios::openmode mode, boost::system::error_code& error);
bool isWritingMode(std::ios::openmode mode, boost::system::error_code& error);

/// A stream over a file that was opened with O_NONBLOCK, and the file's status; null, with `error` set, for what has no
/// content of its own: directories, fifos, sockets. `path` is for messages alone.
std::unique_ptr<FileInputStream> makeInputStream(FileHandle file, std::u16string const& path, struct stat& status,
                                                 boost::system::error_code& error);

class LocalFileOutputStream final : public FileOutputStream {
 public:
  explicit LocalFileOutputStream(FileHandle file);
  void commit(boost::system::error_code& error) override;

 private:
  FileOutputBuffer buffer_;
};

}  // namespace opc
