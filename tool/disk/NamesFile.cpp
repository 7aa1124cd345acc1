// SPDX-License-Identifier: Apache-2.0
#include "disk/NamesFile.hpp"

#include <fcntl.h>

#include <array>
#include <boost/system/error_code.hpp>
#include <cerrno>
#include <cstddef>
#include <sstream>

#include "cli/Errors.hpp"
#include "disk/OpenFile.hpp"
#include "disk/Paths.hpp"
#include "disk/StandardInput.hpp"

namespace ztpkg {
namespace {

std::string textOfInput() {
  StandardInput input;
  std::string text;
  std::array<char, 65536> buffer{};
  while (std::size_t const count = input.read(buffer.data(), buffer.size())) text.append(buffer.data(), count);
  return text;
}

std::string textOfFile(std::string const& name) {
  OpenFile const file(name, O_RDONLY);
  std::string text;
  std::array<char, 65536> buffer{};
  for (;;) {
    ssize_t const count = file.isOpen() ? file.read(buffer.data(), buffer.size()) : -1;
    if (count < 0)
      throw Failure(
          diskReport("cannot-read", "cannot read", fromArgument(name), {errno, boost::system::system_category()}));
    if (count == 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

void dropCurrentFolder(std::string& name) {
  while (name.starts_with("./")) name.erase(0, name.find_first_not_of('/', 1));
  if (name.empty() || name == ".") name = "/";
}

}  // namespace

std::vector<std::string> namesIn(NamesFile const& file) {
  if (file.namesFile.empty()) return {};
  std::istringstream text(file.namesFile == "-" ? textOfInput() : textOfFile(file.namesFile));
  std::vector<std::string> names;
  for (std::string name; std::getline(text, name, file.namesEndWithNul ? '\0' : '\n');)
    if (!name.empty()) names.push_back(name);
  return names;
}

std::vector<std::string> pathsIn(NamesFile const& file) {
  std::vector<std::string> names = namesIn(file);
  for (std::string& name : names) dropCurrentFolder(name);
  return names;
}

}  // namespace ztpkg
