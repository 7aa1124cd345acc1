// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
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

 private:
  FileInputBuffer buffer_;
};

/// Writes an open file through a buffer, and keeps the first error of any write.
class FileOutputBuffer final : public std::streambuf {
 public:
  explicit FileOutputBuffer(FileHandle file) : file_(std::move(file)) {}
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
