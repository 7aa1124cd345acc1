// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "opc/model/ContentType.hpp"

/// Keeps one copy of texts that a package repeats for many parts or relationships. Wherever texts of a package are
/// keys, the container is ordered, since anyone can make up texts with equal hashes.
namespace opc::model::detail {

/// A content type as written; without a value where the text is no media type.
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
