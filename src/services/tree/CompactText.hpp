// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace opc::ztservices {

/// Any UTF-16 text at rest; ASCII, which part names always are, takes one byte a character.
class CompactText {
 public:
  CompactText() = default;
  explicit CompactText(std::u16string_view text);

  std::u16string toString() const;

 private:
  std::string bytes_;  // ASCII, or kWide followed by the code units as they are in memory
};

}  // namespace opc::ztservices
