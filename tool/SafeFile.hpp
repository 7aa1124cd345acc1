// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "CheckedStreams.hpp"
#include "opc/FileSystemOps.hpp"

namespace ztpkg {

enum class Overwrite { Refuse, Replace };

/// Puts `temporary` in the place of `path` in one step; with Overwrite::Refuse only where nothing is there.
void moveInto(std::u16string const& temporary, std::u16string const& path, Overwrite overwrite,
              boost::system::error_code& error);

/// A name beside the path that nothing bears, for something that is to be moved into its place.
std::u16string temporaryNameFor(std::u16string const& path);

/// Removes a file or link; that it cannot is of no use to anybody.
void removeQuietly(std::u16string const& path) noexcept;

/// A file that is written under a temporary name (mode 0600) and takes its own on commit(), with the mode that
/// the umask leaves. Destroyed without commit() it leaves nothing.
class SafeFile final : public opc::FileOutputStream {
 public:
  /// Null on an error.
  static std::unique_ptr<SafeFile> create(opc::FileSystemOps& disk, std::u16string const& path, std::ios::openmode mode,
                                          Overwrite overwrite, boost::system::error_code& error);
  ~SafeFile() override;

  void commit(boost::system::error_code& error) override;

 private:
  SafeFile(std::unique_ptr<opc::FileOutputStream> inner, std::u16string path, std::u16string temporary,
           Overwrite overwrite);
  void finish(boost::system::error_code& error);

  std::unique_ptr<opc::FileOutputStream> inner_;
  CheckedOutputBuffer buffer_;
  std::u16string path_;
  std::u16string temporary_;
  Overwrite overwrite_;
  bool finished_ = false;
  boost::system::error_code result_;  // of the first commit()
};

}  // namespace ztpkg
