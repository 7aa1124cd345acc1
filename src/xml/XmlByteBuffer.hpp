// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace opc::model {

/// Bytes of an XML document under construction, in UTF-8. The memory only grows, so that a buffer that is cleared and
/// filled again does not allocate. An operation that throws leaves the buffer unchanged.
class XmlByteBuffer {
 public:
  std::string_view bytes() const { return {bytes_.get(), size_}; }
  std::size_t size() const { return size_; }
  void clear() { size_ = 0; }

  void append(std::string_view bytes);
  void append(char byte) { append(std::string_view(&byte, 1)); }
  void appendBlanks(std::size_t count);
  /// Without escapes, for names.
  void appendName(std::u16string_view name);
  /// With the escapes of text between tags.
  void appendText(std::u16string_view text);
  /// With the escapes of a value between double quotes.
  void appendAttributeValue(std::u16string_view value);

 private:
  using Escapes = std::string_view (*)(char16_t);

  void require(std::size_t count);
  template <Escapes escapeOf>
  void encode(std::u16string_view text);

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace opc::model
