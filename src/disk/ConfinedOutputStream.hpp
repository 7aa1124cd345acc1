// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "disk/ConfinedRoot.hpp"
#include "io/FileStreams.hpp"
#include "io/TemporaryName.hpp"

namespace opc {

/// A file that is written under a temporary name beside its place and takes it on commit().
class ConfinedOutputStream final : public FileOutputStream {
 public:
  /// Null on an error.
  static std::unique_ptr<ConfinedOutputStream> create(Place place, mode_t mode, bool replace,
                                                      boost::system::error_code& error);

  void commit(boost::system::error_code& error) override;

 private:
  ConfinedOutputStream(Place place, TemporaryName temporary, FileHandle file, mode_t mode, bool replace);
  boost::system::error_code finish();

  Place place_;
  TemporaryName temporary_;
  FileOutputBuffer buffer_;
  mode_t mode_;
  bool replace_;
  bool finished_ = false;
  boost::system::error_code result_;  // of the first commit()
};

}  // namespace opc
