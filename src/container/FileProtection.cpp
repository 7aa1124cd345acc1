// SPDX-License-Identifier: Apache-2.0
#include "container/FileProtection.hpp"

#include <sys/xattr.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "text/PosixError.hpp"

namespace opc::model::zip {
namespace {

using boost::system::error_code;

constexpr char kAccessList[] = "system.posix_acl_access", kDefaultList[] = "system.posix_acl_default";
constexpr mode_t kModeBits = 07777;

// An access list is a version of four bytes and entries of tag, permissions and id, little-endian.
constexpr std::size_t kListHeader = 4, kListEntry = 8, kPermissions = 2;
enum Tag : std::uint8_t { OwnerTag = 0x01, GroupTag = 0x04, MaskTag = 0x10, OthersTag = 0x20 };

/// Without an attribute, or without such attributes on the file system.
bool isAbsent(int error) { return error == ENODATA || error == EOPNOTSUPP || error == ENOSYS || error == EINVAL; }

/// Repeats a call that fills a buffer with what may grow meanwhile. Empty for an absent attribute.
std::string readText(std::function<ssize_t(char*, std::size_t)> const& call, error_code& error) {
  std::string text;
  error.clear();
  for (;;) {
    ssize_t const size = call(nullptr, 0);
    if (size == 0) return {};
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    ssize_t const filled = size < 0 ? size : call(text.data(), text.size());
    if (filled >= 0) return text.substr(0, static_cast<std::size_t>(filled));
    if (errno == ERANGE) continue;
    if (!isAbsent(errno)) error = lastPosixError();
    return {};
  }
}

std::string readAttribute(int file, char const* name, error_code& error) {
  return readText([=](char* to, std::size_t size) { return fgetxattr(file, name, to, size); }, error);
}

/// A folder that was opened with O_PATH has attributes only by its path.
std::string readDefaultList(FileHandle const& folder, error_code& error) {
  std::string list = readAttribute(folder.descriptor(), kDefaultList, error);
  if (error != posixError(EBADF)) return list;
  std::string const path = "/proc/self/fd/" + std::to_string(folder.descriptor());
  return readText([&](char* to, std::size_t size) { return getxattr(path.c_str(), kDefaultList, to, size); }, error);
}

void writeAttribute(int file, char const* name, std::string const& value, error_code& error) {
  error = fsetxattr(file, name, value.data(), value.size(), 0) == 0 ? error_code() : lastPosixError();
}

/// Calls with the tag and the low byte of the permissions of each entry.
template <typename Change>
void forEachEntry(std::string& list, Change const& change) {
  for (std::size_t at = kListHeader; at + kListEntry <= list.size(); at += kListEntry)
    change(static_cast<std::uint8_t>(list[at]), list[at + kPermissions]);
}

/// The list of a new file in a folder with this default list: nobody may execute it.
std::string listOfNewFile(std::string list) {
  constexpr char kReadAndWrite = 6;
  bool hasMask = false;
  forEachEntry(list, [&](std::uint8_t tag, char&) { hasMask = hasMask || tag == MaskTag; });
  forEachEntry(list, [&](std::uint8_t tag, char& permissions) {
    bool const isLimited = tag == OwnerTag || tag == OthersTag || tag == (hasMask ? MaskTag : GroupTag);
    if (isLimited) permissions = static_cast<char>(permissions & kReadAndWrite);
  });
  return list;
}

std::string withoutGroup(std::string list) {
  forEachEntry(list, [](std::uint8_t tag, char& permissions) {
    if (tag == GroupTag) permissions = 0;
  });
  return list;
}

}  // namespace

FileProtection FileProtection::ofNewFile(FileHandle const& folder, error_code& error) {
  FileProtection protection;
  protection.isNew_ = true;
  protection.mode_ = modeOfNewFiles();
  std::string list = readDefaultList(folder, error);
  if (!list.empty()) protection.accessList_ = listOfNewFile(std::move(list));
  return protection;
}

FileProtection FileProtection::of(FileHandle const& file, struct stat const& status, error_code& error) {
  FileProtection protection;
  protection.owner_ = status.st_uid;
  protection.group_ = status.st_gid;
  protection.mode_ = status.st_mode & kModeBits;
  error.clear();
  if (!file.isOpen()) {
    protection.mode_ &= ~static_cast<mode_t>(S_IRWXG);
    return protection;
  }
  int const descriptor = file.descriptor();
  protection.accessList_ = readAttribute(descriptor, kAccessList, error);
  if (error) return protection;
  std::string const names =
      readText([=](char* to, std::size_t size) { return flistxattr(descriptor, to, size); }, error);
  for (std::string_view rest = names; !error && !rest.empty();) {
    std::string name(rest.substr(0, rest.find('\0')));
    rest.remove_prefix(name.size() + 1);
    if (!name.starts_with("user.")) continue;
    std::string value = readAttribute(descriptor, name.c_str(), error);
    protection.attributes_.push_back({std::move(name), std::move(value)});
  }
  return protection;
}

/// The attributes first, which need the right to write, then the owner, since the system then clears some mode bits.
void FileProtection::applyTo(FileHandle const& file, bool mayChangeOwner, error_code& error) const {
  error.clear();
  for (auto const& [name, value] : attributes_) {
    writeAttribute(file.descriptor(), name.c_str(), value, error);
    if (error) return;
  }
  mode_t const lost = applyOwnerTo(file, mayChangeOwner, error);
  if (error) return;
  applyListTo(file, (lost & S_IRWXG) == 0, error);
  if (error || (isNew_ && !accessList_.empty())) return;
  // The group's bits of a file with an access list are the list's mask.
  mode_t const withheld = accessList_.empty() ? lost : lost & ~static_cast<mode_t>(S_IRWXG);
  file.setMode(mode_ & ~withheld, error);
}

/// A new file may have inherited a list of its folder, which goes.
void FileProtection::applyListTo(FileHandle const& file, bool withGroup, error_code& error) const {
  if (!accessList_.empty())
    return writeAttribute(file.descriptor(), kAccessList, withGroup ? accessList_ : withoutGroup(accessList_), error);
  bool const isGone = fremovexattr(file.descriptor(), kAccessList) == 0 || isAbsent(errno);
  error = isGone ? error_code() : lastPosixError();
}

mode_t FileProtection::applyOwnerTo(FileHandle const& file, bool mayChangeOwner, error_code& error) const {
  constexpr uid_t kSame = static_cast<uid_t>(-1);
  error.clear();
  if (isNew_) return 0;
  file.setOwner(owner_, group_, error);
  if (!error || error != posixError(EPERM)) return 0;
  file.setOwner(kSame, group_, error);
  if (error && error != posixError(EPERM)) return 0;
  struct stat taken {};
  if (!file.getStatus(taken, error)) return 0;
  mode_t const ofOwner = taken.st_uid == owner_ ? 0 : S_ISUID;
  mode_t const ofGroup = taken.st_gid == group_ ? 0 : S_ISGID | S_IRWXG;
  if ((ofOwner | ofGroup) != 0 && !mayChangeOwner) error = posixError(EPERM);
  return ofOwner | ofGroup;
}

}  // namespace opc::model::zip
