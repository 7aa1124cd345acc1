// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>

#include "cli/Progress.hpp"
#include "opc/Streams.hpp"

namespace ztpkg {

/// Reads a file of the disk, counts the bytes, and throws Interrupted after a signal and Failure, which names the file,
/// for a read error.
/// Owns its source.
class CheckedInput final : public std::istream {
 public:
  /// `atEnd` is called before the source is closed.
  CheckedInput(std::unique_ptr<std::istream> stream, std::u16string path, Progress& progress,
               std::function<void()> atEnd = {});
  ~CheckedInput() override;

 private:
  class Buffer final : public std::streambuf {
   public:
    Buffer(std::streambuf& inner, std::u16string path, Progress& progress)
        : inner_(&inner), path_(std::move(path)), progress_(&progress) {}

   protected:
    std::streamsize xsgetn(char* to, std::streamsize count) override;
    int_type underflow() override;
    int_type uflow() override;
    pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode mode) override;
    pos_type seekpos(pos_type position, std::ios::openmode mode) override;

   private:
    template <typename Read>
    auto guarded(Read read);
    void advance(std::uint64_t count);
    pos_type moved(pos_type position);

    std::streambuf* inner_;
    std::u16string path_;
    Progress* progress_;
    std::uint64_t position_ = 0;
    std::uint64_t counted_ = 0;  // bytes from the beginning: those that are read again do not count
  };

  std::unique_ptr<std::istream> stream_;
  Buffer buffer_;
  std::function<void()> atEnd_;
};

/// Writes a file of the disk, counts the bytes, and throws Interrupted after a signal, at each write and before
/// commit(). Owns the stream underneath.
class CheckedOutput final : public opc::FileOutputStream {
 public:
  /// `onInexactTime` is called by the commit() of a file whose time the disk cannot hold.
  CheckedOutput(std::unique_ptr<opc::FileOutputStream> inner, Progress& progress,
                std::function<void()> onInexactTime = {});

  void prepare() override { inner_->prepare(); }
  void commit(boost::system::error_code& error) override;
  Step getFailedStep() const override { return inner_->getFailedStep(); }
  bool hasInexactTime() const override { return inner_->hasInexactTime(); }

 private:
  class Buffer final : public std::streambuf {
   public:
    Buffer(std::ostream& inner, Progress& progress) : inner_(&inner), progress_(&progress) {}

   protected:
    std::streamsize xsputn(char const* from, std::streamsize count) override;
    int_type overflow(int_type character) override;
    int sync() override;

   private:
    std::ostream* inner_;
    Progress* progress_;
  };

  std::unique_ptr<opc::FileOutputStream> inner_;
  Buffer buffer_;
  std::function<void()> onInexactTime_;
};

}  // namespace ztpkg
