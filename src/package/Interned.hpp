// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "opc/model/ContentType.hpp"

/// Texts that a package repeats for many parts or relationships, kept once. Here and wherever else texts of a package
/// are keys they are ordered, since anyone can make up texts that the standard library hashes alike.
namespace opc::model::detail {

/// A content type as it is written; without a value where the text is no media type.
struct MediaType {
  std::u16string text;
  std::optional<ContentType> value;

  bool is(std::u16string_view typeAndSubType) const;
};

/// Pointers stay valid while the pool lives.
class MediaTypePool {
 public:
  MediaType const* intern(std::u16string_view text);

 private:
  std::map<std::u16string_view, std::unique_ptr<MediaType const>> types_;
};

class TextPool {
 public:
  using Text = std::shared_ptr<std::u16string const>;
  Text intern(std::u16string_view text);

 private:
  std::map<std::u16string_view, Text> texts_;
};

}  // namespace opc::model::detail
