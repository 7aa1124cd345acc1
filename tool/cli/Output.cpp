// SPDX-License-Identifier: Apache-2.0
#include "cli/Output.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

constexpr std::size_t kBufferBytes = 65536;

[[noreturn]] void throwWriteError(int error) {
  std::string const code = error == EPIPE ? Output::kOutputClosed : (error == ENOSPC ? "disk-full" : "cannot-write");
  throw Failure(Report{Exit::Disk, code, std::string("cannot write to standard output: ") + std::strerror(error), {}});
}

}  // namespace

void Output::write(void const* data, std::size_t count) {
  if (buffer_.size() + count > kBufferBytes) close();
  if (count > kBufferBytes)
    drain(static_cast<char const*>(data), count);
  else
    buffer_.append(static_cast<char const*>(data), count);
}

void Output::close() {
  std::string const pending = std::exchange(buffer_, {});  // not written again after a failure
  drain(pending.data(), pending.size());
}

void Output::printName(std::u16string_view name) { print(opc::toUTF8String(opc::escapeForDisplay(name))); }

void Output::drain(char const* data, std::size_t count) {
  while (count > 0) {
    throwIfInterrupted();
    ssize_t const written = ::write(descriptor_, data, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throwWriteError(errno);
    data += written;
    count -= static_cast<std::size_t>(written);
  }
}

}  // namespace ztpkg
