// SPDX-License-Identifier: Apache-2.0
#include "disk/DirectoryWalk.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "io/FileHandle.hpp"
#include "text/Unicode.hpp"

namespace opc {
namespace {

// Some file systems do not report types with names.
unsigned char typeOf(DirectoryStream const& directory, dirent const& entry, boost::system::error_code& error) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type;
  struct stat status;
  if (::fstatat(directory.descriptor(), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0)
    return static_cast<unsigned char>(IFTODT(status.st_mode));
  error = lastPosixError();
  return DT_UNKNOWN;
}

// The front of every path in `folder`: exactly one separator stands between it and a name.
std::u16string prefixOf(std::u16string const& folder) { return folder.ends_with(u'/') ? folder : folder + u'/'; }

class Walk {
 public:
  Walk(WalkFor wanted, bool recursive, FolderOpener const& open)
      : wanted_(wanted), recursive_(recursive), open_(open) {}

  void run(std::u16string const& root);
  std::vector<std::u16string> takeFound() { return std::move(found_); }
  boost::system::error_code const& firstError() const { return firstError_; }

 private:
  void visit(std::u16string const& folder);
  void meet(std::u16string const& prefix, std::string_view name, unsigned char type);
  /// Whether the call that `error` is of succeeded.
  bool accept(boost::system::error_code const& error);

  WalkFor wanted_;
  bool recursive_;
  FolderOpener const& open_;
  std::vector<std::u16string> found_;
  std::vector<std::u16string> pending_;  // folders not yet visited
  boost::system::error_code firstError_;
};

void Walk::run(std::u16string const& root) {
  visit(root);
  while (!pending_.empty()) {
    std::u16string const folder = std::move(pending_.back());
    pending_.pop_back();
    visit(folder);
  }
}

void Walk::visit(std::u16string const& folder) {
  boost::system::error_code error;
  FileHandle opened = open_(folder, error);
  if (!accept(error)) return;
  DirectoryStream directory(std::move(opened), error);
  std::u16string const prefix = prefixOf(folder);
  while (accept(error)) {
    dirent const* const entry = directory.next(error);
    if (!entry) break;
    boost::system::error_code unknown;  // of one entry: the others can still be listed
    unsigned char const type = typeOf(directory, *entry, unknown);
    if (accept(unknown)) meet(prefix, entry->d_name, type);
  }
  accept(error);
}

void Walk::meet(std::u16string const& prefix, std::string_view name, unsigned char type) {
  bool const isFolder = type == DT_DIR;
  bool const isFound = wanted_ == WalkFor::Folders ? isFolder : type == DT_REG || type == DT_LNK;
  bool const isPending = isFolder && recursive_;
  if (!isFound && !isPending) return;
  std::u16string path = prefix;
  if (!accept(unicode::appendUTF16(path, name) == name.size() ? boost::system::error_code() : posixError(EILSEQ)))
    return;
  if (isPending) pending_.push_back(path);
  if (isFound) found_.push_back(std::move(path));
}

bool Walk::accept(boost::system::error_code const& error) {
  if (error && !firstError_) firstError_ = error;
  return !error;
}

}  // namespace

std::vector<std::u16string> walkDirectory(std::u16string const& root, WalkFor wanted, bool recursive,
                                          boost::system::error_code& error, FolderOpener const& open) {
  Walk walk(wanted, recursive, open);
  walk.run(root);
  error = walk.firstError();
  std::vector<std::u16string> found = walk.takeFound();
  std::size_t const shared = root.size();  // all paths begin alike
  std::sort(found.begin(), found.end(), [shared](std::u16string const& a, std::u16string const& b) {
    return a.compare(shared, std::u16string::npos, b, shared) < 0;
  });
  return found;
}

}  // namespace opc
