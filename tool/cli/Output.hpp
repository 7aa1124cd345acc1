// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "opc/Streams.hpp"

namespace ztpkg {

/// The tool's own stream for data: a buffer over standard output whose every write is checked. What could
/// not be written is thrown as Failure; a reader who went away is one whose code is kOutputClosed.
class Output final : public opc::OutputStream {
 public:
  static constexpr char const* kOutputClosed = "output-closed";

  void write(void const* data, std::size_t count) override;
  /// Writes what is left; without it output may be missing.
  void close() override;

  void print(std::string_view text) { write(text.data(), text.size()); }
  /// A name for people: UTF-8, with control and bidirectional characters escaped.
  void printName(std::u16string_view name);

 private:
  void drain(char const* data, std::size_t count);

  std::string buffer_;
};

}  // namespace ztpkg
