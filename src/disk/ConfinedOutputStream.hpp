// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "disk/ConfinedRoot.hpp"
#include "io/FileStreams.hpp"

namespace opc {

/// Puts `from` in the place of `to` in one step: with `replace` over a file or link, else only where nothing is.
boost::system::error_code moveInFolder(int folder, char const* from, char const* to, bool replace);

/// A name that no other thread or process thinks of.
std::string temporaryName();

/// A file that is written under a temporary name beside its place and takes it on commit().
class ConfinedOutputStream final : public FileOutputStream {
 public:
  /// Null on an error.
  static std::unique_ptr<ConfinedOutputStream> create(Place place, mode_t mode, bool replace,
                                                      boost::system::error_code& error);
  ~ConfinedOutputStream() override;

  void commit(boost::system::error_code& error) override;

 private:
  ConfinedOutputStream(Place place, std::string temporary, FileDescriptor file, mode_t mode, bool replace);
  boost::system::error_code finish();

  Place place_;
  std::string temporary_;
  FileOutputBuffer buffer_;
  mode_t mode_;
  bool replace_;
  bool finished_ = false;
  boost::system::error_code result_;  // of the first commit()
};

}  // namespace opc
