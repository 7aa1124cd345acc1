// SPDX-License-Identifier: Apache-2.0
#include "secrets/PasswordInput.hpp"

#include <fcntl.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/OpenFile.hpp"
#include "disk/Paths.hpp"
#include "secrets/LineReader.hpp"
#include "secrets/PasswordPrompt.hpp"
#include "secrets/PasswordText.hpp"

namespace ztpkg {
namespace {

int readInterruptibly(int descriptor, SecretBytes& line) { return LineReader().read(descriptor, line); }

SecretBytes firstLine(int descriptor) {
  SecretBytes line;
  while (int const signal = readInterruptibly(descriptor, line)) {
    raise(signal);
    throwIfInterrupted();
  }
  return line;
}

SecretBytes lineOfFile(std::string const& argument) {
  std::u16string const path = fromArgument(argument);
  try {
    OpenFile const file(path, O_RDONLY);
    if (!file.isOpen()) throw std::system_error(errno, std::system_category());
    return firstLine(file.descriptor());
  } catch (std::system_error const& error) {
    throw Failure(
        diskReport("cannot-read", "cannot read", path, {error.code().value(), boost::system::system_category()}));
  }
}

SecretBytes lineOfDescriptor(int descriptor) {
  try {
    return firstLine(descriptor);
  } catch (std::system_error const& error) {
    std::string const what = "cannot read the file descriptor " + std::to_string(descriptor);
    throw Failure(Report{Exit::Disk, "cannot-read", what + ": " + error.code().message(), {}});
  }
}

// What others can read of the environment of a running process is the memory that is wiped here.
SecretBytes valueOfVariable(std::string const& name) {
  char* const value = std::getenv(name.c_str());
  if (!value) {
    std::string const message = "there is no variable " + shown(fromArgument(name)) + " in the environment";
    throw Failure(Report{Exit::Key, "key-required", message, {}});
  }
  SecretBytes bytes(value, value + std::strlen(value));
  wipe(value, bytes.size());
  unsetenv(name.c_str());
  return bytes;
}

}  // namespace

Password readPassword(PasswordOptions const& options, std::string const& package, PasswordUse use) {
  leaveNoCoreFile();
  if (!options.file.empty()) return storedPassword(lineOfFile(options.file));
  if (!options.environment.empty()) return storedPassword(valueOfVariable(options.environment));
  if (options.descriptor) return storedPassword(lineOfDescriptor(*options.descriptor));
  return use == PasswordUse::New ? askForNewPassword(package) : askForPassword(package);
}

}  // namespace ztpkg
