// SPDX-License-Identifier: Apache-2.0
#include "io/TemporaryNames.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <exception>
#include <memory>
#include <string_view>
#include <vector>

#include "io/FileIo.hpp"
#include "io/FileLock.hpp"

namespace opc::model::zip {
namespace {

constexpr std::string_view kMark = ".ztservices-";
constexpr std::size_t kRandomCharacters = 6;
constexpr std::string_view kCharacters = "abcdefghijklmnopqrstuvwxyzABCDEF";  // 32, so that none is preferred

std::string randomCharacters() {
  unsigned char random[kRandomCharacters];
  if (getrandom(random, sizeof random, 0) != static_cast<ssize_t>(sizeof random)) return {};
  std::string text;
  for (unsigned char const byte : random) text += kCharacters[byte % kCharacters.size()];
  return text;
}

std::string prefixFor(std::string name) {
  std::size_t const most = NAME_MAX - 1 - kMark.size() - kRandomCharacters;
  if (name.size() > most) {
    std::size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80) --end;
    name.resize(end);
  }
  return ("." + name).append(kMark);
}

bool isTemporary(std::string_view name, std::string_view prefix) {
  return name.size() == prefix.size() + kRandomCharacters && name.substr(0, prefix.size()) == prefix &&
         name.find_first_not_of(kCharacters, prefix.size()) == std::string_view::npos;
}

struct CloseDirectory {
  void operator()(DIR* open) const { closedir(open); }
};

std::vector<std::string> temporariesIn(int directory, std::string const& prefix) {
  std::vector<std::string> found;
  Descriptor own(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::unique_ptr<DIR, CloseDirectory> const listing(own ? fdopendir(own.get()) : nullptr);
  if (!listing) return found;
  own.release();
  while (dirent const* const entry = readdir(listing.get()))
    if (isTemporary(entry->d_name, prefix) || isTemporary(entry->d_name, kMark)) found.emplace_back(entry->d_name);
  return found;
}

void removeUnlessHeld(int directory, char const* name) {
  Descriptor const file(openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  if (tryLock(file.get()) == 0) unlinkat(directory, name, 0);
}

}  // namespace

std::string temporaryNameFor(std::string const& name) { return prefixFor(name) + randomCharacters(); }

std::string temporaryNameForSpool() { return std::string(kMark) + randomCharacters(); }

void removeOrphans(int directory, std::string const& name) noexcept try {
  for (std::string const& orphan : temporariesIn(directory, prefixFor(name)))
    removeUnlessHeld(directory, orphan.c_str());
} catch (std::exception const&) {
  return;  // for want of memory; the next save tries again
}

}  // namespace opc::model::zip
