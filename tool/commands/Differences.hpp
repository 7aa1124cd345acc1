// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "cli/Json.hpp"
#include "cli/Output.hpp"
#include "disk/Comparison.hpp"

namespace ztpkg {

/// Prints differences, one a line: "M /a/b", and with details "M /a/b  (size, time)"; or as JSON.
class DifferenceListing {
 public:
  enum class Form { None, Lines, DetailedLines, Json };

  DifferenceListing(Form form, Output& out);

  void print(Difference const& difference);
  /// Completes the output.
  void finish();
  bool isEmpty() const { return isEmpty_; }

 private:
  Form form_;
  Output& out_;
  std::optional<JsonArray> array_;
  bool isEmpty_ = true;
};

}  // namespace ztpkg
