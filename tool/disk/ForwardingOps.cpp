// SPDX-License-Identifier: Apache-2.0
#include "disk/ForwardingOps.hpp"

#include <ios>
#include <istream>
#include <memory>
#include <string>

namespace ztpkg {

bool ForwardingOps::exists(std::u16string const& path, ErrorCode& error) { return inner_->exists(path, error); }

bool ForwardingOps::isFile(std::u16string const& path) { return inner_->isFile(path); }

bool ForwardingOps::isSymlink(std::u16string const& path) { return inner_->isSymlink(path); }

bool ForwardingOps::isAbsolutePath(std::u16string const& path) { return inner_->isAbsolutePath(path); }

void ForwardingOps::getFiles(std::u16string const& root, Paths& files, bool recursive, ErrorCode& error) {
  inner_->getFiles(root, files, recursive, error);
}

void ForwardingOps::getFolders(std::u16string const& root, Paths& folders, bool recursive, ErrorCode& error) {
  inner_->getFolders(root, folders, recursive, error);
}

void ForwardingOps::createFolder(std::u16string const& path, ErrorCode& error) { inner_->createFolder(path, error); }

void ForwardingOps::createFolders(std::u16string const& path, ErrorCode& error) { inner_->createFolders(path, error); }

void ForwardingOps::createSymlink(std::u16string const& target, std::u16string const& linkPath, ErrorCode& error) {
  inner_->createSymlink(target, linkPath, error);
}

std::u16string ForwardingOps::getLinkTarget(std::u16string const& path) { return inner_->getLinkTarget(path); }

std::unique_ptr<std::istream> ForwardingOps::createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                               ErrorCode& error) {
  return inner_->createInputStream(path, mode, error);
}

std::unique_ptr<opc::FileOutputStream> ForwardingOps::createOutputStream(std::u16string const& path,
                                                                         std::ios::openmode mode, ErrorCode& error) {
  return inner_->createOutputStream(path, mode, error);
}

opc::OpenedFile ForwardingOps::openForAdding(std::u16string const& path) { return inner_->openForAdding(path); }

std::unique_ptr<opc::FileOutputStream> ForwardingOps::createForRestoring(std::u16string const& path,
                                                                         opc::Perms::Perms_tag permissions,
                                                                         boost::posix_time::ptime const& time,
                                                                         ErrorCode& error) {
  return inner_->createForRestoring(path, permissions, time, error);
}

opc::Perms::Perms_tag ForwardingOps::getPermissions(std::u16string const& path, ErrorCode& error) {
  return inner_->getPermissions(path, error);
}

void ForwardingOps::setPermissions(std::u16string const& path, opc::Perms::Perms_tag permissions, ErrorCode& error) {
  inner_->setPermissions(path, permissions, error);
}

boost::posix_time::ptime ForwardingOps::getLastModifiedTime(std::u16string const& path, ErrorCode& error) {
  return inner_->getLastModifiedTime(path, error);
}

void ForwardingOps::setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                        ErrorCode& error) {
  inner_->setLastModifiedTime(path, time, error);
}

std::u16string ForwardingOps::appendPath(std::u16string const& base, std::u16string const& relative) {
  return inner_->appendPath(base, relative);
}

std::u16string ForwardingOps::getParentPath(std::u16string const& path) { return inner_->getParentPath(path); }

std::u16string ForwardingOps::getExtension(std::u16string const& path) { return inner_->getExtension(path); }

}  // namespace ztpkg
