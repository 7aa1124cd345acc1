// SPDX-License-Identifier: Apache-2.0
#include "opc/FileSystemOps.hpp"

#include <utility>

#include "text/PosixError.hpp"

namespace opc {
namespace {

using boost::system::error_code;

/// A file that gets its time and permissions by its path once it is complete.
class RestoringStream final : public FileOutputStream {
 public:
  RestoringStream(FileSystemOps& ops, std::unique_ptr<FileOutputStream> content, std::u16string path,
                  Perms::Perms_tag permissions, boost::posix_time::ptime const& time)
      : FileOutputStream(content->rdbuf()),
        ops_(ops),
        content_(std::move(content)),
        path_(std::move(path)),
        permissions_(permissions),
        time_(time) {
    exceptions(content_->exceptions());
  }

  void commit(error_code& error) override {
    if (content_) result_ = finish();
    error = result_;
  }
  Step getFailedStep() const override { return failedStep_; }

 private:
  error_code finish() {
    error_code error;
    content_->commit(error);
    if (!error && bad()) error = posixError(EIO);
    exceptions(std::ios::goodbit);
    rdbuf(nullptr);
    content_.reset();  // closed before its time is set
    if (error) return error;
    failedStep_ = Step::Time;
    if (!time_.is_not_a_date_time()) ops_.setLastModifiedTime(path_, time_, error);
    if (error) return error;
    failedStep_ = Step::Permissions;
    if (permissions_ != Perms::NotKnown) ops_.setPermissions(path_, permissions_, error);
    return error;
  }

  FileSystemOps& ops_;
  std::unique_ptr<FileOutputStream> content_;  // until commit()
  std::u16string path_;
  Perms::Perms_tag permissions_;
  boost::posix_time::ptime time_;
  error_code result_;
  Step failedStep_ = Step::Content;
};

}  // namespace

FileSystemOps::~FileSystemOps() = default;
FileSystemOpsSelector::~FileSystemOpsSelector() = default;

bool FileSystemOps::isThreadSafe() const { return false; }

std::optional<std::uint64_t> FileSystemOps::getFileSize(std::u16string const&) { return std::nullopt; }

OpenedFile FileSystemOps::openForAdding(std::u16string const& path) {
  OpenedFile file;
  file.content = createInputStream(path, std::ios::in | std::ios::binary, file.openError);
  if (file.openError) file.content.reset();
  if (!file.content) return file;
  file.permissions = getPermissions(path, file.permissionsError);
  if (!file.permissionsError) file.time = getLastModifiedTime(path, file.timeError);
  return file;
}

std::unique_ptr<FileOutputStream> FileSystemOps::createForRestoring(std::u16string const& path,
                                                                    Perms::Perms_tag permissions,
                                                                    boost::posix_time::ptime const& time,
                                                                    error_code& error) {
  std::unique_ptr<FileOutputStream> content = createOutputStream(path, std::ios::out | std::ios::binary, error);
  if (error || !content) return nullptr;
  return std::make_unique<RestoringStream>(*this, std::move(content), path, permissions, time);
}

}  // namespace opc
