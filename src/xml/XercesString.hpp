// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::model {

/// An owning UTF-16 XML string: a name or namespace that is made once and handed to Xerces often.
class XercesString {
 public:
  XercesString() = default;
  explicit XercesString(char16_t const* text) : text_(text) {}
  explicit XercesString(std::u16string text) : text_(std::move(text)) {}

  std::u16string const& toString() const { return text_; }
  /// Zero-terminated, valid while this lives unchanged.
  char16_t const* c_str() const { return text_.c_str(); }
  char16_t* data() { return text_.data(); }
  explicit operator std::u16string() const { return text_; }

  friend bool operator==(XercesString const&, XercesString const&) = default;

 private:
  std::u16string text_;
};

}  // namespace opc::model
