// SPDX-License-Identifier: Apache-2.0
#include "package/Interned.hpp"

#include <utility>

#include "opc/model/Exceptions.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model::detail {
namespace {

std::optional<ContentType> parsed(std::u16string const& text) {
  try {
    return ContentType(text);
  } catch (InvalidContentType const&) {
    return std::nullopt;  // the package can still be opened; only parts of this type are refused
  }
}

}  // namespace

bool MediaType::is(std::u16string_view typeAndSubType) const {
  return value && equalIgnoringCase(value->getType() + u"/" + value->getSubType(), typeAndSubType);
}

MediaType const* MediaTypePool::intern(std::u16string_view text) {
  auto const found = types_.find(text);
  if (found != types_.end()) return found->second.get();
  std::u16string owned(text);
  auto value = parsed(owned);
  auto type = std::make_unique<MediaType const>(MediaType{std::move(owned), std::move(value)});
  std::u16string_view const key = type->text;
  return types_.emplace(key, std::move(type)).first->second.get();
}

TextPool::Text TextPool::intern(std::u16string_view text) {
  auto const found = texts_.find(text);
  if (found != texts_.end()) return found->second;
  auto owned = std::make_shared<std::u16string const>(text);
  std::u16string_view const key = *owned;
  return texts_.emplace(key, std::move(owned)).first->second;
}

}  // namespace opc::model::detail
