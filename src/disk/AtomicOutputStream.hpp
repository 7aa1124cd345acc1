// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <memory>
#include <string>

#include "io/FileStreams.hpp"
#include "io/TemporaryName.hpp"
#include "opc/FileSystemOps.hpp"

namespace opc {

/// A name in an open folder. It stays in this folder whatever happens to the path by which the folder was found.
struct Place {
  std::shared_ptr<FileHandle const> folder;
  std::string name;
  bool isFree = false;  ///< no look is needed: these operations made the folder, and gave the name to no other file

  int descriptor() const { return folder->descriptor(); }
};

/// What a file gets beside its content.
struct FileAttributes {
  mode_t mode;  ///< where the permissions are unknown
  Perms::Perms_tag permissions = Perms::NotKnown;
  mode_t permittedBits = 0777;  ///< those of the permissions that are set
  boost::posix_time::ptime time{};
  ZeroRuns zeroRuns = ZeroRuns::Write;
  bool allowsInexactTime = false;  ///< a time that the disk cannot hold is no error
};

/// A file that is written under a temporary name (mode 0600) beside its place. commit() completes the content, sets
/// time and mode by the open file (which prepare() can do before), and then gives the file its name. Until then the
/// file is locked, for removeLeftovers().
class AtomicOutputStream final : public FileOutputStream {
 public:
  /// Null on an error. With `replace` false, commit() fails (EEXIST) where the name is taken.
  static std::unique_ptr<AtomicOutputStream> create(Place place, FileAttributes const& attributes, bool replace,
                                                    boost::system::error_code& error);

  void prepare() override;
  void commit(boost::system::error_code& error) override;
  Step getFailedStep() const override { return failedStep_; }
  bool hasInexactTime() const override { return hasInexactTime_; }

 private:
  AtomicOutputStream(Place place, TemporaryName temporary, FileHandle file, FileAttributes const& attributes,
                     bool replace);
  boost::system::error_code finish();
  boost::system::error_code setAttributes();

  Place place_;
  TemporaryName temporary_;
  FileOutputBuffer buffer_;
  FileAttributes attributes_;
  bool replace_;
  bool isPrepared_ = false;
  bool isWhole_ = false;             // the content; known once it is prepared, as is
  boost::system::error_code unset_;  // why time or mode could not be set
  bool finished_ = false;
  boost::system::error_code result_;  // of the first commit()
  Step failedStep_ = Step::Content;
  bool hasInexactTime_ = false;
};

}  // namespace opc
