// SPDX-License-Identifier: Apache-2.0
#include "opc/ForwardingFileSystemOps.hpp"

#include <ios>
#include <istream>
#include <memory>
#include <string>

namespace opc {

bool ForwardingFileSystemOps::exists(std::u16string const& path, ErrorCode& error) {
  return inner_->exists(path, error);
}

bool ForwardingFileSystemOps::isFile(std::u16string const& path) { return inner_->isFile(path); }

bool ForwardingFileSystemOps::isSymlink(std::u16string const& path) { return inner_->isSymlink(path); }

bool ForwardingFileSystemOps::isAbsolutePath(std::u16string const& path) { return inner_->isAbsolutePath(path); }

void ForwardingFileSystemOps::getFiles(std::u16string const& root, Paths& files, bool recursive, ErrorCode& error) {
  inner_->getFiles(root, files, recursive, error);
}

void ForwardingFileSystemOps::getFolders(std::u16string const& root, Paths& folders, bool recursive, ErrorCode& error) {
  inner_->getFolders(root, folders, recursive, error);
}

void ForwardingFileSystemOps::createFolder(std::u16string const& path, ErrorCode& error) {
  inner_->createFolder(path, error);
}

void ForwardingFileSystemOps::createFolders(std::u16string const& path, ErrorCode& error) {
  inner_->createFolders(path, error);
}

void ForwardingFileSystemOps::createSymlink(std::u16string const& target, std::u16string const& linkPath,
                                            ErrorCode& error) {
  inner_->createSymlink(target, linkPath, error);
}

std::u16string ForwardingFileSystemOps::getLinkTarget(std::u16string const& path) {
  return inner_->getLinkTarget(path);
}

std::unique_ptr<std::istream> ForwardingFileSystemOps::createInputStream(std::u16string const& path,
                                                                         std::ios::openmode mode, ErrorCode& error) {
  return inner_->createInputStream(path, mode, error);
}

std::unique_ptr<FileOutputStream> ForwardingFileSystemOps::createOutputStream(std::u16string const& path,
                                                                              std::ios::openmode mode,
                                                                              ErrorCode& error) {
  return inner_->createOutputStream(path, mode, error);
}

OpenedFile ForwardingFileSystemOps::openForAdding(std::u16string const& path) { return inner_->openForAdding(path); }

std::unique_ptr<FileOutputStream> ForwardingFileSystemOps::createForRestoring(std::u16string const& path,
                                                                              Perms::Perms_tag permissions,
                                                                              boost::posix_time::ptime const& time,
                                                                              ErrorCode& error) {
  return inner_->createForRestoring(path, permissions, time, error);
}

std::optional<std::uint64_t> ForwardingFileSystemOps::getFileSize(std::u16string const& path) {
  return inner_->getFileSize(path);
}

Perms::Perms_tag ForwardingFileSystemOps::getPermissions(std::u16string const& path, ErrorCode& error) {
  return inner_->getPermissions(path, error);
}

void ForwardingFileSystemOps::setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                                             ErrorCode& error) {
  inner_->setPermissions(path, permissions, error);
}

boost::posix_time::ptime ForwardingFileSystemOps::getLastModifiedTime(std::u16string const& path, ErrorCode& error) {
  return inner_->getLastModifiedTime(path, error);
}

void ForwardingFileSystemOps::setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                                  ErrorCode& error) {
  inner_->setLastModifiedTime(path, time, error);
}

std::u16string ForwardingFileSystemOps::appendPath(std::u16string const& base, std::u16string const& relative) {
  return inner_->appendPath(base, relative);
}

std::u16string ForwardingFileSystemOps::getParentPath(std::u16string const& path) {
  return inner_->getParentPath(path);
}

std::u16string ForwardingFileSystemOps::getExtension(std::u16string const& path) { return inner_->getExtension(path); }

}  // namespace opc
