// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace ztpkg {

/// The colours of a listing; empty texts where standard output is no terminal that shows them, or NO_COLOR is set.
struct Colours {
  std::string_view folder, link, end;

  static Colours ofStandardOutput();
};

}  // namespace ztpkg
