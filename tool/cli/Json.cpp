// SPDX-License-Identifier: Apache-2.0
#include "cli/Json.hpp"

#include <array>
#include <charconv>
#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/Errors.hpp"
#include "opc/Strings.hpp"

// The only file that includes the JSON library, which is slow to compile.
namespace ztpkg {

std::string jsonOf(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string jsonOf(std::u16string const& text) { return jsonOf(opc::toUTF8String(text)); }

std::string jsonOf(std::chrono::duration<double> time) {
  constexpr int kDigits = 3;
  std::array<char, 64> text{};  // without the locale
  auto const end =
      std::to_chars(text.data(), text.data() + text.size(), time.count(), std::chars_format::fixed, kDigits);
  return {text.data(), end.ptr};
}

namespace {

template <typename Text>
std::string arrayOf(std::vector<Text> const& texts) {
  std::string all;
  for (Text const& text : texts) all += (all.empty() ? "" : ",") + jsonOf(text);
  return "[" + all + "]";
}

}  // namespace

std::string jsonOf(std::vector<std::u16string> const& texts) { return arrayOf(texts); }
std::string jsonOf(std::vector<std::string> const& texts) { return arrayOf(texts); }

void JsonObject::printBesideData() const { std::cerr << text() << '\n'; }

JsonObject& JsonObject::addText(char const* name, std::string const& json) {
  members_.append(members_.empty() ? "\"" : ",\"").append(name).append("\":").append(json);
  return *this;
}

void addTo(JsonObject& object, Entries const& entries) {
  object.add("files", std::uint64_t{entries.files}).add("folders", std::uint64_t{entries.folders});
  object.add("links", std::uint64_t{entries.links}).add("bytes", entries.bytes);
}

void JsonArray::add(std::string const& json) {
  out_->print(isEmpty_ ? "\n" : ",\n");
  out_->print(json);
  isEmpty_ = false;
}

struct JsonReader::Value {
  nlohmann::json json;
  std::u16string name;
};

JsonReader::JsonReader(std::string const& text, std::u16string name)
    : value_(std::make_unique<Value>(Value{nlohmann::json::parse(text, nullptr, false), std::move(name)})) {
  if (value_->json.is_discarded()) refuse("it is not JSON");
}

JsonReader::JsonReader(std::unique_ptr<Value> value) : value_(std::move(value)) {}

JsonReader::~JsonReader() = default;

void JsonReader::refuse(std::string const& why) const {
  throw Failure(Report{Exit::Package, "invalid-content", shown(value_->name) + ": " + why, value_->name});
}

std::u16string JsonReader::text(char const* member) const {
  if (!value_->json.is_object()) refuse("not an object where one should be");
  auto const found = value_->json.find(member);
  if (found == value_->json.end() || !found->is_string()) refuse(std::string("no text \"") + member + "\"");
  return opc::toString(found->get_ref<std::string const&>());
}

void JsonReader::forEach(char const* member, std::function<void(JsonReader const& element)> const& use) const {
  if (!value_->json.is_object()) refuse("not an object where one should be");
  auto const found = value_->json.find(member);
  if (found == value_->json.end() || !found->is_array()) refuse(std::string("no array \"") + member + "\"");
  for (nlohmann::json& element : *found)
    use(JsonReader(std::make_unique<Value>(Value{std::move(element), value_->name})));
}

std::string jsonLibraryVersion() { return nlohmann::json::meta().at("version").at("string"); }

}  // namespace ztpkg
