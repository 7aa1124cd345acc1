// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "cli/Output.hpp"

namespace ztpkg {

/// The place of a package on its way to standard output: a container cannot be written in one pass, since its headers
/// say how long the contents are. A folder of its own below that for temporary files (TMPDIR), removed in the end.
class TemporaryPackage {
 public:
  /// Throws Failure.
  TemporaryPackage();
  ~TemporaryPackage();
  TemporaryPackage(TemporaryPackage const&) = delete;
  TemporaryPackage& operator=(TemporaryPackage const&) = delete;

  std::u16string const& folder() const { return folder_; }
  std::u16string path() const { return folder_ + u"/package"; }
  /// Prints the bytes of the package. Throws Failure, and Interrupted after a signal.
  void printTo(Output& out) const;

 private:
  std::u16string folder_;
};

/// Throws Failure (usage) where standard output cannot take a package: it is a terminal, or the command prints text.
void checkPackageOutput(bool printsText);

/// The folder for temporary files, as UTF-8.
std::string temporaryFolder();

}  // namespace ztpkg
