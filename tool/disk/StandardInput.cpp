// SPDX-License-Identifier: Apache-2.0
#include "disk/StandardInput.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/system/error_code.hpp>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/OpenFile.hpp"
#include "disk/TemporaryPackage.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

[[noreturn]] void throwReadError(int error) {
  throw Failure(Report{Exit::Disk, "cannot-read", std::string("cannot read standard input: ") + std::strerror(error),
                       std::u16string(u"-")});
}

[[noreturn]] void throwSpoolError(int error) {
  std::u16string const folder = opc::toString(temporaryFolder(), false);
  throw Failure(diskReport(error == ENOSPC ? "disk-full" : "cannot-write", "cannot copy standard input to", folder,
                           {error, boost::system::system_category()}));
}

/// A file without a name; where the disk has none such, one whose name is removed at once.
OpenFile makeNamelessFile() {
  OpenFile file(temporaryFolder(), O_TMPFILE | O_RDWR, 0600);
  if (file.isOpen()) return file;
  std::string name = temporaryFolder() + "/.ztservices-XXXXXX";
  int const descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) throwSpoolError(errno);
  unlink(name.c_str());
  return OpenFile::adopt(descriptor);
}

void writeAll(OpenFile const& file, char const* data, std::size_t count) {
  while (count > 0) {
    ssize_t const written = ::write(file.descriptor(), data, count);
    if (written < 0 && errno != EINTR) throwSpoolError(errno);
    std::size_t const done = written < 0 ? 0 : static_cast<std::size_t>(written);
    data += done;
    count -= done;
  }
}

OpenFile spoolStandardInput() {
  OpenFile file = makeNamelessFile();
  StandardInput input;
  std::string buffer(1U << 20, '\0');
  while (std::size_t const count = input.read(buffer.data(), buffer.size())) writeAll(file, buffer.data(), count);
  return file;
}

std::u16string pathOf(int descriptor) { return u"/proc/self/fd/" + opc::toString(std::to_string(descriptor)); }

std::u16string findPath() {
  struct stat status {};
  if (fstat(STDIN_FILENO, &status) != 0) throwReadError(errno);
  if (S_ISDIR(status.st_mode)) throwReadError(EISDIR);
  bool const isAtBegin = S_ISREG(status.st_mode) && lseek(STDIN_FILENO, 0, SEEK_CUR) == 0;
  if (isAtBegin) return pathOf(STDIN_FILENO);
  return pathOf(spoolStandardInput().release());  // open until the process ends
}

}  // namespace

void StandardInput::reset() { throw opc::StreamError("standard input cannot be read twice"); }

void StandardInput::fill() {
  while (begin_ == end_ && !hasEnded_) {
    throwIfInterrupted();
    ssize_t const got = ::read(STDIN_FILENO, buffer_.data(), buffer_.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throwReadError(errno);
    begin_ = 0;
    end_ = static_cast<std::size_t>(got);
    hasEnded_ = got == 0;
    if (onRead_) onRead_(end_);
  }
}

std::size_t StandardInput::read(void* buffer, std::size_t count) {
  if (count > 0) fill();
  std::size_t const taken = std::min(count, end_ - begin_);
  std::memcpy(buffer, buffer_.data() + begin_, taken);
  begin_ += taken;
  return taken;
}

bool StandardInput::isEnd() {
  fill();
  return begin_ == end_;
}

std::u16string const& pathOfStandardInput() {
  static std::u16string const path = findPath();
  return path;
}

}  // namespace ztpkg
