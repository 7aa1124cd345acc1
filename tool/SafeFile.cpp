// SPDX-License-Identifier: Apache-2.0
#include "SafeFile.hpp"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Process.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

using boost::system::error_code;

error_code systemError() { return {errno, boost::system::system_category()}; }

mode_t modeOfNewFiles() {
  mode_t const mask = umask(0);  // there is no way to ask without setting
  umask(mask);
  return 0666 & ~mask;
}

// O_EXCL also refuses a link that somebody else has put there.
bool reserve(std::string const& path) {
  int const descriptor = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
  return descriptor != -1 && close(descriptor) == 0;
}

bool isNotSupported(int error) { return error == EINVAL || error == ENOSYS || error == ENOTSUP; }

}  // namespace

void moveInto(std::u16string const& temporary, std::u16string const& path, Overwrite overwrite, error_code& error) {
  std::string const from = opc::toUTF8String(temporary);
  std::string const to = opc::toUTF8String(path);
  int result = overwrite == Overwrite::Replace
                   ? rename(from.c_str(), to.c_str())
                   : renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
  if (result != 0 && overwrite == Overwrite::Refuse && isNotSupported(errno)) {
    // A file system without that operation: a hard link does not replace anything either.
    result = linkat(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), 0);
    if (result == 0) result = unlink(from.c_str());
  }
  error = result == 0 ? error_code() : systemError();
}

std::u16string temporaryNameFor(std::u16string const& path) {
  static unsigned long counter = 0;
  std::string const name = ".ztpkg-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
  std::size_t const slash = path.rfind(u'/');
  return path.substr(0, slash == std::u16string::npos ? 0 : slash + 1) + opc::toString(name);
}

void removeQuietly(std::u16string const& path) noexcept {
  try {
    unlink(opc::toUTF8String(path).c_str());
  } catch (std::exception const&) {  // no memory for the name: the file stays, as after a crash
  }
}

std::unique_ptr<SafeFile> SafeFile::create(opc::FileSystemOps& disk, std::u16string const& path,
                                           std::ios::openmode mode, Overwrite overwrite, error_code& error) {
  std::u16string temporary = temporaryNameFor(path);
  if (!reserve(opc::toUTF8String(temporary))) {
    error = systemError();
    return nullptr;
  }
  auto inner = disk.createOutputStream(temporary, mode, error);
  if (!inner) {
    removeQuietly(temporary);
    return nullptr;
  }
  return std::unique_ptr<SafeFile>(new SafeFile(std::move(inner), path, std::move(temporary), overwrite));
}

SafeFile::SafeFile(std::unique_ptr<opc::FileOutputStream> inner, std::u16string path, std::u16string temporary,
                   Overwrite overwrite)
    : FileOutputStream(nullptr),
      inner_(std::move(inner)),
      buffer_(*inner_),
      path_(std::move(path)),
      temporary_(std::move(temporary)),
      overwrite_(overwrite) {
  rdbuf(&buffer_);
  exceptions(std::ios::badbit);  // a signal that the buffer throws reaches the writer as it is
}

SafeFile::~SafeFile() {
  inner_.reset();
  if (!finished_ || result_) removeQuietly(temporary_);
}

// A writer that fails may still ask for the reason: what it has written must not come into place by that.
void SafeFile::commit(error_code& error) {
  throwIfInterrupted();
  if (!finished_) {
    finish(result_);
    finished_ = true;
  }
  error = result_;
}

void SafeFile::finish(error_code& error) {
  inner_->commit(error);
  if (!error && bad()) error = make_error_code(boost::system::errc::io_error);
  if (error) return;
  if (chmod(opc::toUTF8String(temporary_).c_str(), modeOfNewFiles()) != 0)
    error = systemError();
  else
    moveInto(temporary_, path_, overwrite_, error);
}

}  // namespace ztpkg
