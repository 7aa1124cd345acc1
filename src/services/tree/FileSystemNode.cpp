// SPDX-License-Identifier: Apache-2.0
#include "services/tree/FileSystemNode.hpp"

#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/URI.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/PathRules.hpp"
#include "text/Ascii.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;

/// Whether the two hold the same number of ticks. Unlike with ptime's own operator, not-a-date-time equals itself.
bool sameTicks(ptime const& a, ptime const& b) {
  if (!a.is_special() && !b.is_special()) return a == b;
  return a.is_not_a_date_time() == b.is_not_a_date_time() && a.is_pos_infinity() == b.is_pos_infinity() &&
         a.is_neg_infinity() == b.is_neg_infinity();
}

constexpr char kWide = '\xFF';  // no ASCII character

}  // namespace

struct FileSystemEntry::Impl {
  FileSystemNode node;
};

FileSystemEntry::FileSystemEntry(FileSystemNode const& node) : impl_(std::make_shared<Impl const>(Impl{node})) {}

FileSystemNode const& FileSystemEntry::node() const { return impl_->node; }

bool FileSystemEntry::isFile() const { return impl_->node.type == FileSystemNodeType::File; }
bool FileSystemEntry::isLink() const { return impl_->node.type == FileSystemNodeType::Link; }
bool FileSystemEntry::isFolder() const { return impl_->node.type == FileSystemNodeType::Folder; }

std::u16string FileSystemEntry::getBaseName() const { return impl_->node.baseName; }
std::u16string FileSystemEntry::getPathName() const { return impl_->node.fullPath(); }
std::u16string FileSystemEntry::getContentName() const { return impl_->node.content; }

Perms::Perms_tag FileSystemEntry::getPermissions() const {
  return impl_->node.permissions.value_or(getUnknownPermissions());
}

ptime FileSystemEntry::getLastModifiedTime() const { return impl_->node.lastModified.value_or(getUnknownTime()); }

Perms::Perms_tag FileSystemEntry::getUnknownPermissions() { return kUnknownPermissions; }
ptime FileSystemEntry::getUnknownTime() { return ptime(boost::posix_time::not_a_date_time); }
std::u16string FileSystemEntry::getRootName() { return std::u16string(1, model::URI::getSlash()); }

bool operator==(FileSystemEntry const& a, FileSystemEntry const& b) {
  FileSystemNode const& x = a.impl_->node;
  FileSystemNode const& y = b.impl_->node;
  return x.type == y.type && x.baseName == y.baseName && x.parentPath == y.parentPath &&
         a.getPermissions() == b.getPermissions() && sameTicks(a.getLastModifiedTime(), b.getLastModifiedTime());
}

CompactText::CompactText(std::u16string_view text) {
  if (ascii::isAscii(text)) {
    bytes_.assign(text.begin(), text.end());
    return;
  }
  bytes_.resize(1 + text.size() * sizeof(char16_t));
  bytes_.front() = kWide;
  std::memcpy(bytes_.data() + 1, text.data(), bytes_.size() - 1);
}

std::u16string CompactText::toString() const {
  if (bytes_.empty() || bytes_.front() != kWide) return {bytes_.begin(), bytes_.end()};
  std::u16string text((bytes_.size() - 1) / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes_.data() + 1, bytes_.size() - 1);
  return text;
}

FileSystemNode::FileSystemNode(FileSystemNodeType nodeType, std::u16string const& givenPath, std::u16string nodeContent,
                               Perms::Perms_tag nodePermissions, boost::posix_time::ptime const& time)
    : type(nodeType), content(std::move(nodeContent)) {
  std::u16string const fullPath(paths::withoutRepeatedLeadingSlashes(givenPath));
  if (fullPath == kRootPath) {
    baseName = kRootPath;
  } else {
    parentPath = detail::getParentPath(fullPath);
    baseName = detail::getFilename(fullPath);
  }
  if (nodePermissions != kUnknownPermissions) permissions = nodePermissions;
  if (!time.is_not_a_date_time()) lastModified = time;
}

std::u16string FileSystemNode::fullPath() const {
  if (parentPath.empty()) return baseName;
  if (parentPath == kRootPath) return parentPath + baseName;
  return parentPath + u'/' + baseName;
}

FileSystemNode makeFolderNode(std::u16string const& path, Perms::Perms_tag permissions,
                              boost::posix_time::ptime const& time) {
  return {FileSystemNodeType::Folder, path, std::u16string(paths::withoutRepeatedLeadingSlashes(path)), permissions,
          time};
}

FileSystemNode makeFileNode(std::u16string const& path, std::u16string const& contentPart, Perms::Perms_tag permissions,
                            boost::posix_time::ptime const& time) {
  return {FileSystemNodeType::File, path, contentPart, permissions, time};
}

FileSystemNode makeLinkNode(std::u16string const& path, std::u16string const& target, Perms::Perms_tag permissions,
                            boost::posix_time::ptime const& time) {
  return {FileSystemNodeType::Link, path, target, permissions, time};
}

}  // namespace opc::ztservices
