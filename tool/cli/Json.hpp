// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Output.hpp"

/// The only maker and reader of JSON. Long lists are printed element by element and never held as one document.
namespace ztpkg {

/// A value as JSON. Bytes of a narrow text that are not UTF-8 become U+FFFD: messages are in the user's encoding.
std::string jsonOf(std::string_view text);
std::string jsonOf(std::u16string const& text);
inline std::string jsonOf(std::uint64_t number) { return std::to_string(number); }
/// Seconds with three digits behind the point.
std::string jsonOf(std::chrono::duration<double> time);
std::string jsonOf(std::vector<std::u16string> const& texts);
std::string jsonOf(std::vector<std::string> const& texts);
std::string jsonOf(std::same_as<bool> auto truth) { return truth ? "true" : "false"; }

/// An object on one line, whose members stand in the order of adding.
class JsonObject {
 public:
  template <typename Value>
  JsonObject& add(char const* name, Value const& value) {
    return addText(name, jsonOf(value));
  }
  /// null for an absent value.
  template <typename Value>
  JsonObject& add(char const* name, std::optional<Value> const& value) {
    return addText(name, value ? jsonOf(*value) : "null");
  }
  /// The value is JSON already.
  JsonObject& addText(char const* name, std::string const& json);

  /// The object as the document of a command.
  void print(Output& out) const { out.print(text() + "\n"); }
  /// The same on standard error, for commands whose data is on standard output.
  void printBesideData() const;

  bool isEmpty() const { return members_.empty(); }
  std::string text() const { return "{" + members_ + "}"; }

 private:
  std::string members_;
};

/// The members "files", "folders", "links" and "bytes".
void addTo(JsonObject& object, Entries const& entries);

/// Prints an array with one element a line.
class JsonArray {
 public:
  explicit JsonArray(Output& out) : out_(&out) { out_->print("["); }

  void add(std::string const& json);
  bool isEmpty() const { return isEmpty_; }

 private:
  Output* out_;
  bool isEmpty_ = true;
};

/// A JSON document, or an object in one, that was read. Reading throws Failure (invalid-content), which names the
/// document, for text that is not JSON and for members that are missing or have another type.
class JsonReader {
 public:
  JsonReader(std::string const& text, std::u16string name);
  ~JsonReader();

  std::u16string text(char const* member) const;
  /// Calls `use` with each element of a member that is an array of objects.
  void forEach(char const* member, std::function<void(JsonReader const& element)> const& use) const;

 private:
  struct Value;
  explicit JsonReader(std::unique_ptr<Value> value);
  [[noreturn]] void refuse(std::string const& why) const;

  std::unique_ptr<Value> value_;
};

/// The version of the library underneath, such as "3.11.2".
std::string jsonLibraryVersion();

}  // namespace ztpkg
