// SPDX-License-Identifier: Apache-2.0
#include "disk/TemporaryPackage.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <boost/system/error_code.hpp>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/OpenFile.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

boost::system::error_code lastError() { return {errno, boost::system::system_category()}; }

}  // namespace

std::string temporaryFolder() {
  char const* const folder = std::getenv("TMPDIR");
  return folder && *folder ? folder : "/tmp";
}

void checkPackageOutput(bool printsText) {
  if (printsText) throwUsage("PACKAGE -: --verbose has no place to print to");
  if (isatty(STDOUT_FILENO) == 1) throwUsage("PACKAGE -: standard output is a terminal");
}

TemporaryPackage::TemporaryPackage() {
  std::string name = temporaryFolder() + "/.ztservices-XXXXXX";
  if (!mkdtemp(name.data()))
    throw Failure(
        diskReport("cannot-write", "cannot make a folder in", opc::toString(temporaryFolder(), false), lastError()));
  folder_ = opc::toString(name, false);
}

TemporaryPackage::~TemporaryPackage() {
  std::error_code ignored;  // what cannot be removed is in nobody's way
  std::filesystem::remove_all(opc::toUTF8String(folder_), ignored);
}

void TemporaryPackage::printTo(Output& out) const {
  OpenFile const file(path(), O_RDONLY);
  std::vector<char> buffer(1U << 20);
  for (;;) {
    throwIfInterrupted();
    ssize_t const count = file.isOpen() ? file.read(buffer.data(), buffer.size()) : -1;
    if (count < 0) throw Failure(diskReport("cannot-read", "cannot read", path(), lastError()));
    if (count == 0) return;
    out.write(buffer.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace ztpkg
