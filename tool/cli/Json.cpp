// SPDX-License-Identifier: Apache-2.0
#include "cli/Json.hpp"

#include <nlohmann/json.hpp>

#include "opc/Strings.hpp"

// The only file that includes the JSON library, which is slow to compile.
namespace ztpkg {

std::string jsonOf(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string jsonOf(std::u16string const& text) { return jsonOf(opc::toUTF8String(text)); }

JsonObject& JsonObject::addText(char const* name, std::string const& json) {
  members_.append(members_.empty() ? "\"" : ",\"").append(name).append("\":").append(json);
  return *this;
}

void JsonArray::add(std::string const& json) {
  out_->print(isEmpty_ ? "\n" : ",\n");
  out_->print(json);
  isEmpty_ = false;
}

std::string jsonLibraryVersion() { return nlohmann::json::meta().at("version").at("string"); }

}  // namespace ztpkg
