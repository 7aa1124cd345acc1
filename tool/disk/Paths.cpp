// SPDX-License-Identifier: Apache-2.0
#include "disk/Paths.hpp"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "cli/Errors.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

namespace fs = std::filesystem;

boost::system::error_code codeOf(std::error_code const& error) {
  return {error.value(), boost::system::system_category()};
}

fs::path native(std::u16string const& path) { return opc::toUTF8String(path); }

std::u16string textOf(fs::path const& path) {
  std::string text = path.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return opc::toString(text);
}

}  // namespace

std::u16string fromArgument(std::string const& argument) {
  if (argument.empty()) throwUsage("a name is empty");
  try {
    return opc::toString(argument);
  } catch (opc::InvalidText const&) {
    throwUsage("a name is not UTF-8: " + shown(opc::toString(argument, false)));
  }
}

std::u16string absolutePath(std::u16string const& path) {
  std::error_code error;
  fs::path const absolute = fs::absolute(native(path), error);
  if (error) throw Failure(diskReport("cannot-read", "cannot find", path, codeOf(error)));
  return textOf(absolute.lexically_normal());
}

std::u16string resolvedPath(std::u16string const& path) {
  std::error_code error;
  fs::path const absolute = fs::absolute(native(path), error);
  fs::path const resolved = error ? absolute : fs::weakly_canonical(absolute, error);
  if (error) throw Failure(diskReport("cannot-read", "cannot find", path, codeOf(error)));
  return textOf(resolved);
}

std::u16string placeOnDisk(std::u16string const& path) {
  std::u16string given = path;
  while (given.size() > 1 && given.back() == u'/') given.pop_back();
  std::u16string const name = given.substr(given.rfind(u'/') + 1);
  if (name.empty() || name == u"." || name == u"..") return resolvedPath(given);
  std::u16string const folder = resolvedPath(parentOf(given));
  return (folder == u"/" ? u"" : folder) + u"/" + name;
}

std::vector<std::u16string> unresolvedNames(std::u16string const& directory) {
  std::u16string const name = absolutePath(directory);
  return resolvedPath(name) == resolvedPath(directory) ? std::vector{name} : std::vector<std::u16string>();
}

std::u16string GivenDirectory::asGiven(std::u16string const& path) const {
  bool const isBelow = path == root || opc::isBelowPath(path, root);
  if (!isBelow) return path;
  std::u16string const below = path == root ? u"" : path.substr(root == u"/" ? 0 : root.size());
  std::u16string shownRoot = given;
  if (below.empty()) return shownRoot.empty() ? u"." : shownRoot;
  while (shownRoot.ends_with(u'/')) shownRoot.pop_back();
  return given.empty() ? below.substr(1) : shownRoot + below;
}

std::string showing(std::u16string const& given, std::string message, std::u16string const& instead) {
  std::string const other = shown(instead);
  std::size_t const at = message.find(other);
  return at == message.npos ? message : message.replace(at, other.size(), shown(given));
}

std::string showingAsGiven(std::string message, std::u16string const& given) {
  if (given.empty() || given.front() == u'/') return message;
  std::error_code error;
  fs::path const folder = fs::current_path(error);
  return error ? message : showing(given, std::move(message), opc::toString((folder / native(given)).string(), false));
}

std::u16string existingDirectory(std::u16string const& path) {
  boost::system::error_code error;
  if (!isDirectory(path, error)) throw Failure(diskReport("cannot-read", "cannot use directory", path, error));
  return resolvedPath(path);
}

bool isDirectory(std::u16string const& path, boost::system::error_code& error) {
  struct stat status {};  // the standard library's would take a file on the way for a missing directory
  if (stat(opc::toUTF8String(path).c_str(), &status) != 0)
    error = {errno, boost::system::system_category()};
  else if (!S_ISDIR(status.st_mode))
    error = make_error_code(boost::system::errc::not_a_directory);
  else
    error.clear();
  return !error;
}

bool isThere(std::u16string const& path) {
  std::error_code ignored;  // opening the path reports it
  return fs::exists(fs::symlink_status(native(path), ignored));
}

std::u16string nearestThere(std::u16string path) {
  while (path != u"/" && !isThere(path)) path = parentOf(path);
  return path;
}

bool isOther(std::u16string const& path) {
  std::error_code ignored;  // opening the path reports it
  return fs::is_other(fs::symlink_status(native(path), ignored));
}

std::u16string mountPointOf(std::u16string const& path) {
  auto const deviceOf = [](fs::path const& place) -> std::optional<dev_t> {
    struct stat status {};
    return stat(place.c_str(), &status) == 0 ? std::optional(status.st_dev) : std::nullopt;
  };
  std::error_code ignored;  // then the path is taken as it is
  fs::path place = fs::weakly_canonical(native(path), ignored);
  if (place.empty()) place = native(path);
  while (!deviceOf(place) && place.has_relative_path()) place = place.parent_path();
  while (place.has_relative_path() && deviceOf(place.parent_path()) == deviceOf(place)) place = place.parent_path();
  return textOf(place);
}

std::uint64_t sizeOfFile(std::u16string const& path) {
  std::error_code error;
  std::uintmax_t const size = fs::file_size(native(path), error);
  return error ? 0 : size;
}

std::u16string parentOf(std::u16string const& path) {
  fs::path const parent = native(path).parent_path();
  return parent.empty() ? u"." : textOf(parent);
}

}  // namespace ztpkg
