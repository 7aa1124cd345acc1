// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/Commands.hpp"
#include "disk/OpenFile.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"
#include "secrets/PackageKey.hpp"
#include "secrets/Secrets.hpp"

namespace ztpkg {
namespace {

/// The text of a new key: digits and the end of the line.
class KeyText {
 public:
  KeyText() {
    std::array<unsigned char, kKeyBytes> key{};
    if (getentropy(key.data(), key.size()) != 0)
      throw Failure(Report{Exit::Disk, "io-error", std::string("no random bytes: ") + std::strerror(errno), {}});
    for (std::size_t i = 0; i < key.size(); ++i) {
      text_[2 * i] = opc::hexDigit(key[i] >> 4);
      text_[2 * i + 1] = opc::hexDigit(key[i] & 0xF);
    }
    text_.back() = '\n';
    wipe(key.data(), key.size());
  }
  ~KeyText() { wipe(text_.data(), text_.size()); }
  KeyText(KeyText const&) = delete;
  KeyText& operator=(KeyText const&) = delete;

  bool writeTo(int descriptor) const {
    ssize_t const written = ::write(descriptor, text_.data(), text_.size());  // a few bytes go at once or not at all
    if (written >= 0 && written != static_cast<ssize_t>(text_.size())) errno = ENOSPC;
    return written == static_cast<ssize_t>(text_.size());
  }

 private:
  std::array<char, 2 * kKeyBytes + 1> text_{};
};

[[noreturn]] void throwCannotWrite(std::u16string const& file, int error) {
  if (error == EEXIST) {
    std::string const message = shown(file) + " already exists, and a key is never replaced";
    throw Failure(Report{Exit::Disk, "already-exists", message, file});
  }
  char const* const code = error == ENOSPC ? "disk-full" : "cannot-write";
  throw Failure(diskReport(code, "cannot write", file, {error, boost::system::generic_category()}));
}

}  // namespace

void keygen(KeygenOptions const& options, Output& out) {
  noteSignals();  // a signal must not leave a file without a key
  std::u16string const file = fromArgument(options.file);
  std::string const path = opc::toUTF8String(file);
  KeyText const key;
  throwIfInterrupted();
  OpenFile made(path, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
  if (!made.isOpen()) throwCannotWrite(file, errno);
  // The umask may have taken away more than it should.
  bool const isWritten = fchmod(made.descriptor(), S_IRUSR | S_IWUSR) == 0 && key.writeTo(made.descriptor()) &&
                         fsync(made.descriptor()) == 0 && made.close();
  if (isWritten) return options.json ? JsonObject().add("file", file).print(out) : void();
  int const error = errno;
  ::unlink(path.c_str());
  throwCannotWrite(file, error);
}

}  // namespace ztpkg
