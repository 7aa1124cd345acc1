// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include "opc/model/URI.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/FileSystemNode.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;

/// Whether the two hold the same count of ticks: other than for ptime's own operator, not-a-date-time is
/// equal to itself.
bool sameTicks(ptime const& a, ptime const& b) {
  if (!a.is_special() && !b.is_special()) return a == b;
  return a.is_not_a_date_time() == b.is_not_a_date_time() && a.is_pos_infinity() == b.is_pos_infinity() &&
         a.is_neg_infinity() == b.is_neg_infinity();
}

}  // namespace

struct FileSystemEntry::Impl {
  FileSystemNode node;
};

FileSystemEntry::FileSystemEntry(FileSystemNode const& node) : impl_(std::make_shared<Impl const>(Impl{node})) {}

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

}  // namespace opc::ztservices
