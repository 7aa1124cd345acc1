// SPDX-License-Identifier: Apache-2.0
#include "services/tree/CompactText.hpp"

#include <cstring>

#include "text/Ascii.hpp"

namespace opc::ztservices {
namespace {

constexpr char kWide = '\xFF';  // no ASCII character

}  // namespace

CompactText::CompactText(std::u16string_view text) {
  if (ascii::isAscii(text)) {
    bytes_.assign(text.begin(), text.end());
    return;
  }
  bytes_.resize(1 + text.size() * sizeof(char16_t));
  bytes_.front() = kWide;
  std::memcpy(bytes_.data() + 1, text.data(), bytes_.size() - 1);
}

std::u16string CompactText::toString() const {
  if (bytes_.empty() || bytes_.front() != kWide) return {bytes_.begin(), bytes_.end()};
  std::u16string text((bytes_.size() - 1) / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes_.data() + 1, bytes_.size() - 1);
  return text;
}

}  // namespace opc::ztservices
