// SPDX-License-Identifier: Apache-2.0
#include "disk/TreeListing.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

#include "cli/Process.hpp"
#include "disk/OpenFile.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

using Kind = ListedItem::Kind;

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

Kind kindOf(mode_t mode) {
  if (S_ISREG(mode)) return Kind::File;
  if (S_ISLNK(mode)) return Kind::Link;
  if (S_ISDIR(mode)) return Kind::Folder;
  if (S_ISFIFO(mode)) return Kind::Fifo;
  return S_ISSOCK(mode) ? Kind::Socket : Kind::Device;
}

std::optional<std::uint64_t> deviceOf(int folder, char const* name) {
  struct stat status {};
  return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 ? std::optional<std::uint64_t>(status.st_dev)
                                                                  : std::nullopt;
}

/// A path that is too long for the system is opened in parts.
OpenFile openDeep(int root, std::string path) {
  OpenFile front(root, ".", O_PATH | O_DIRECTORY);
  while (path.size() >= PATH_MAX && front.isOpen()) {
    std::size_t const slash = path.rfind('/', PATH_MAX - 2);  // no name is that long
    front = OpenFile(front.descriptor(), path.substr(0, slash), O_PATH | O_DIRECTORY | O_NOFOLLOW);
    path.erase(0, slash + 1);
  }
  return front.isOpen() ? OpenFile(front.descriptor(), path, kFolder) : std::move(front);
}

std::string withBytesEscaped(std::string_view name) {
  std::string text;
  for (char const c : name) {
    std::array<char, 5> code{};
    std::snprintf(code.data(), code.size(), "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    text += c > ' ' && c < '\x7f' ? std::string(1, c) : code.data();
  }
  return text;
}

}  // namespace

std::optional<boost::posix_time::ptime> timeOf(opc::FileIdentity const& identity) {
  constexpr std::int64_t kFirst = -17'987'443'200, kLast = 253'402'300'799;  // of the years 1400 and 9999
  if (identity.seconds < kFirst || identity.seconds > kLast) return std::nullopt;
  static boost::posix_time::ptime const epoch(boost::gregorian::date(1970, 1, 1));
  constexpr std::int64_t kDay = 86'400;
  std::int64_t const days = (identity.seconds >= 0 ? identity.seconds : identity.seconds - kDay + 1) / kDay;
  return epoch + boost::gregorian::days(days) + boost::posix_time::seconds(identity.seconds - days * kDay) +
         boost::posix_time::microseconds(identity.nanoseconds / 1000);
}

bool isLeftover(std::u16string_view name) {
  constexpr std::u16string_view kMark = u".ztservices-", kCharacters = u"abcdefghijklmnopqrstuvwxyzABCDEF";
  std::size_t const mark = name.starts_with(u'.') ? name.rfind(kMark) : name.npos;
  if (mark == name.npos) return false;
  std::u16string_view const random = name.substr(mark + kMark.size());
  bool const isOfExtraction = mark == 0 && random.size() == 10;
  return (isOfExtraction || random.size() == 6) && random.find_first_not_of(kCharacters) == random.npos;
}

ListedItem listItem(int folder, char const* name, std::u16string path) {
  ListedItem item{std::move(path)};
  struct stat status {};
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
    item.error = errno;
    return item;
  }
  item.isThere = true;
  item.kind = kindOf(status.st_mode);
  if (item.kind != Kind::File) return item;
  item.facts = {.identity = opc::FileIdentity::of(status), .permissions = status.st_mode & 0777U};
  // The mode alone answers for the owner of a file, whom no access list concerns.
  static uid_t const user = geteuid();
  bool const isReadable = status.st_uid == user && (status.st_mode & S_IRUSR) != 0;
  if (!isReadable && faccessat(folder, name, R_OK, AT_EACCESS) != 0) item.error = errno;
  return item;
}

/// The folder that was listed last stays open: the next one mostly lies in it, and opening that from the root would
/// make the time of a deep tree grow with the square of its depth.
struct TreeListing::OpenFolder {
  std::u16string path{};
  std::unique_ptr<DIR, int (*)(DIR*)> directory{nullptr, closedir};

  OpenFile open(int root, std::u16string const& folder) const {
    std::u16string_view const all = folder;
    std::size_t const slash = all.rfind(u'/');
    if (directory && slash != all.npos && all.substr(0, slash) == path)
      return OpenFile(dirfd(directory.get()), opc::toUTF8String(all.substr(slash + 1)), kFolder);
    return openDeep(root, folder.empty() ? "." : opc::toUTF8String(folder).substr(1));
  }
};

TreeListing::TreeListing(GivenDirectory root, Exclusion isExcluded, bool oneFileSystem)
    : root_(std::move(root)), isExcluded_(std::move(isExcluded)) {
  OpenFile const opened(root_.root, O_RDONLY | O_DIRECTORY);
  if (!opened.isOpen()) {
    addUnreadable(u"", errno);
    return;
  }
  if (oneFileSystem) device_ = deviceOf(opened.descriptor(), ".");
  OpenFolder last;
  pending_.emplace_back();
  while (!pending_.empty()) {
    std::u16string folder = std::move(pending_.back());
    pending_.pop_back();
    visit(opened.descriptor(), std::move(folder), last);
  }
  std::ranges::sort(items, {}, &ListedItem::path);
}

void TreeListing::visit(int root, std::u16string folder, OpenFolder& last) {
  OpenFile opened = last.open(root, folder);
  DIR* const directory = opened.isOpen() ? fdopendir(opened.descriptor()) : nullptr;
  if (!directory) return addUnreadable(folder, errno);
  opened.release();
  last.directory.reset(directory);
  last.path = std::move(folder);
  std::u16string const prefix = last.path + u"/";
  errno = 0;
  while (dirent const* const entry = readdir(directory)) {
    throwIfInterrupted();
    std::string_view const name = entry->d_name;
    if (name != "." && name != "..") meet(dirfd(directory), prefix, entry->d_name, entry->d_type);
    errno = 0;  // readdir leaves it alone at the end
  }
  if (errno != 0) addUnreadable(last.path, errno);
}

void TreeListing::meet(int folder, std::u16string const& prefix, char const* name, unsigned char type) {
  std::u16string path = prefix + opc::toString(name, false);
  if (isExcluded_(path)) return;
  bool const mayHaveBadBytes = path.find(u'\uFFFD', prefix.size()) != path.npos;
  if (mayHaveBadBytes && opc::toUTF8String(std::u16string_view(path).substr(prefix.size())) != name)
    return addBadName(prefix, name);
  ListedItem item =
      type == DT_DIR ? ListedItem{std::move(path), Kind::Folder} : listItem(folder, name, std::move(path));
  bool const isElsewhere = item.kind == Kind::Folder && device_ && deviceOf(folder, name) != device_;
  if (item.kind == Kind::Folder && !isElsewhere) pending_.push_back(item.path);
  items.push_back(std::move(item));
}

void TreeListing::addBadName(std::u16string const& prefix, std::string const& name) {
  std::u16string const below = (root_.root == u"/" ? u"" : root_.root) + prefix;
  std::u16string const folder = root_.asGiven(below + u"x");  // which ends in its slash
  std::u16string const start = folder.substr(0, folder.size() - 1);
  faults.push_back({Exit::Package, "bad-name", shown(start) + withBytesEscaped(name) + ": the name is not valid UTF-8",
                    start + opc::toString(name, false)});
}

void TreeListing::addUnreadable(std::u16string const& folder, int error) {
  std::u16string const path = (root_.root == u"/" && !folder.empty() ? u"" : root_.root) + folder;
  faults.push_back(
      diskReport("cannot-read", "cannot list", root_.asGiven(path), {error, boost::system::system_category()}));
}

}  // namespace ztpkg
