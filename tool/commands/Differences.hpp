// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/Json.hpp"
#include "cli/Output.hpp"
#include "commands/PartComparison.hpp"
#include "disk/Comparison.hpp"

namespace ztpkg {

/// Prints differences, one a line: "M /a/b", and with details "M /a/b  (size, time)"; or as JSON. The line of a
/// relationship is "A /source  rId1  type -> target".
class DifferenceListing {
 public:
  enum class Form { None, Lines, DetailedLines, Json };

  DifferenceListing(Form form, Output& out);

  void print(Difference const& difference);
  void print(PartDifference const& difference);
  /// Completes the output; `end` follows the array of JSON.
  void finish(char const* end = "\n");
  bool isEmpty() const { return isEmpty_; }

 private:
  void print(char letter, std::u16string const& text, std::vector<char const*> const& what);

  Form form_;
  Output& out_;
  std::optional<JsonArray> array_;
  bool isEmpty_ = true;
};

}  // namespace ztpkg
