// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>

#include "opc/Streams.hpp"

/// Standard input as a source of contents and as a package. The argument "-" names it.
namespace ztpkg {

/// The bytes of standard input, which cannot go back to the first one. Throws Failure where reading fails and
/// Interrupted after a signal.
class StandardInput final : public opc::InputStream {
 public:
  /// `onRead` gets the number of bytes of each read.
  explicit StandardInput(std::function<void(std::size_t)> onRead = {}) : onRead_(std::move(onRead)) {}
  /// Throws StreamError once something was read.
  void reset() override;
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override;
  void clear() override {}

 private:
  void fill();

  std::function<void(std::size_t)> onRead_;
  std::array<char, 65536> buffer_{};
  std::size_t begin_ = 0, end_ = 0;
  bool hasEnded_ = false;
};

/// A path that opens the contents of standard input: a regular file itself, otherwise a copy of the rest in a file
/// without a name in the folder for temporary files (TMPDIR). Every call returns the same path; it holds while the
/// process runs. Throws Failure.
std::u16string const& pathOfStandardInput();

}  // namespace ztpkg
