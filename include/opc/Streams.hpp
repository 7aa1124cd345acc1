// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <cstddef>
#include <iosfwd>
#include <ostream>
#include <vector>

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

namespace opc {

/// A byte stream could not be read or written to its end.
class ZT_API StreamError : public Exception {
 public:
  using Exception::Exception;
};

/// Abstract byte input. One thread at a time. A stream that an operation returns by unique_ptr belongs to the caller;
/// one returned by reference belongs to the object that returned it.
class ZT_API InputStream {
 public:
  /// Goes back to the first byte. At the end of the stream, call clear() first.
  virtual void reset() = 0;
  /// Delivers up to `count` bytes and returns how many. 0 means the end, or that `count` was 0; fewer than `count` does
  /// not mean the end. Throws where reading fails. The content of a part is verified before its end is reported.
  virtual std::size_t read(void* buffer, std::size_t count) = 0;
  /// True once no byte is left. Looks ahead, so it is true at once for an empty stream.
  virtual bool isEnd() = 0;
  /// Forgets the end-of-stream state; clear() and then reset() make an ended stream readable again.
  virtual void clear() = 0;
  virtual ~InputStream();

 protected:
  InputStream() = default;
  InputStream(InputStream const&) = default;
  InputStream& operator=(InputStream const&) = default;
};

/// Abstract byte output. One thread at a time. The caller that obtained a stream owns it and calls close().
class ZT_API OutputStream {
 public:
  /// Takes all `count` bytes or throws; after an exception the written content is incomplete. Throws StreamError after
  /// close() where the stream says so.
  virtual void write(void const* data, std::size_t count) = 0;
  /// Completes the write, and throws where that fails. Further calls do nothing.
  ///
  /// The destructor of an open stream completes it in ordinary scope exit, since code that only writes and then drops
  /// the stream has no other way to end the write. It abandons the stream while an exception unwinds the stack. Code
  /// that leaves a scope early with half of the bytes written calls abandon() first. The owner of the target reports a
  /// failure of the destructor (for a part, the package's next save() throws it).
  virtual void close() = 0;
  virtual ~OutputStream();
  /// Gives up the write: a target that takes its new content at close(), as a part does, keeps its former content.
  /// Afterwards write() throws StreamError, and close() and the destructor do nothing. The default does nothing, for
  /// streams that pass on every byte at once, as the adaptors below.
  virtual void abandon() noexcept;

 protected:
  OutputStream() = default;
  OutputStream(OutputStream const&) = default;
  OutputStream& operator=(OutputStream const&) = default;
};

/// A standard stream over a file that loses no error; FileSystemOps::createOutputStream returns it. One thread at a
/// time. Without commit() the file may be incomplete, or (with operations that write under a temporary name) never
/// appears under its name.
class ZT_API FileOutputStream : public std::ostream {
 public:
  /// What commit() does, in this order. Only streams of FileSystemOps::createForRestoring have the last two steps.
  enum class Step { Content, Time, Permissions };

  /// Does as much of commit() as can be done while nothing appears under the file's name, on any thread. Nothing may be
  /// written afterwards, and commit() reports the errors. The default does nothing.
  virtual void prepare();
  /// Flushes, checks every write so far and closes. Reports the first error of any of these, and reports it again when
  /// it is called again.
  virtual void commit(boost::system::error_code& error) = 0;
  /// The step that failed, after a commit() that reported an error.
  virtual Step getFailedStep() const;
  /// Whether commit() could only set a time near the one that was wanted, and no rule made that an error.
  virtual bool hasInexactTime() const;
  ~FileOutputStream() override;

 protected:
  explicit FileOutputStream(std::streambuf* buffer) : std::ostream(buffer) {}
};

/// Input over a byte vector that the caller keeps alive and unchanged. Its operations throw nothing. After reset() it
/// delivers the bytes again, also without clear().
class ZT_API ByteArrayInAdaptor final : public InputStream {
 public:
  explicit ByteArrayInAdaptor(std::vector<unsigned char> const& bytes) : bytes_(&bytes) {}
  explicit ByteArrayInAdaptor(std::vector<unsigned char>&&) = delete;

  void reset() override;
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override;
  void clear() override;

 private:
  friend class StreamHelper;

  std::vector<unsigned char> const* bytes_;
  std::size_t position_ = 0;  // never above bytes_->size()
};

/// Output that appends to a byte vector that the caller keeps alive. The bytes are in the vector after each write();
/// close() has nothing to complete.
class ZT_API ByteArrayOutAdaptor final : public OutputStream {
 public:
  explicit ByteArrayOutAdaptor(std::vector<unsigned char>& bytes) : bytes_(&bytes) {}

  void write(void const* data, std::size_t count) override;
  void close() override;

 private:
  std::vector<unsigned char>* bytes_;
};

/// Input over a standard stream that the caller keeps alive. Where the stream fails, other than by its end, calls throw
/// StreamError, or the exception of its buffer if the stream is set to pass exceptions on.
class ZT_API StdIStreamAdaptor final : public InputStream {
 public:
  explicit StdIStreamAdaptor(std::istream& stream) : stream_(&stream) {}

  /// Seeks to the stream's first byte; throws StreamError where the stream cannot seek.
  void reset() override;
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override;
  void clear() override;

 private:
  std::istream* stream_;
};

/// Output over a standard stream that the caller keeps alive. write() and close() throw StreamError when
/// the stream fails; close() flushes and does not close the stream itself.
class ZT_API StdOStreamAdaptor final : public OutputStream {
 public:
  explicit StdOStreamAdaptor(std::ostream& stream) : stream_(&stream) {}

  void write(void const* data, std::size_t count) override;
  void close() override;

 private:
  std::ostream* stream_;
  bool closed_ = false;
};

/// Operations on pairs of streams.
class ZT_API StreamHelper {
 public:
  /// Copies from the current position until isEnd(), not until a read of 0 bytes. Closes neither stream. Throws what
  /// the streams throw; both are then somewhere in their content.
  static void copyStreamToStream(InputStream& from, OutputStream& to);

 private:
  static void copyFromMemory(ByteArrayInAdaptor& from, OutputStream& to);
};

}  // namespace opc
