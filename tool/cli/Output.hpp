// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "opc/Streams.hpp"

namespace ztpkg {

/// The tool's own stream for data: a buffer over standard output whose every write is checked. Throws Failure for a
/// failed write, with the code kOutputClosed if the reader has closed the pipe.
class Output final : public opc::OutputStream {
 public:
  /// Writes to that descriptor, 1 for standard output; 2, standard error, for what goes beside data.
  explicit Output(int descriptor = 1) : descriptor_(descriptor) {}

  static constexpr char const* kOutputClosed = "output-closed";

  void write(void const* data, std::size_t count) override;
  /// Writes the rest of the buffer; without this call output may be missing.
  void close() override;

  void print(std::string_view text) { write(text.data(), text.size()); }
  /// Prints UTF-8 with control and bidirectional characters escaped.
  void printName(std::u16string_view name);

 private:
  void drain(char const* data, std::size_t count);

  int descriptor_;
  std::string buffer_;
};

}  // namespace ztpkg
