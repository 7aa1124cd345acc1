// SPDX-License-Identifier: Apache-2.0
#include "commands/Differences.hpp"

#include <string>

namespace ztpkg {
namespace {

char const* nameOf(EntryKind kind) {
  return kind == EntryKind::File ? "file" : (kind == EntryKind::Folder ? "folder" : "link");
}

std::string detailsOf(Difference const& difference) {
  std::string text;
  for (char const* const what : difference.what) text += (text.empty() ? "  (" : ", ") + std::string(what);
  return text.empty() ? "" : text + ")";
}

std::string jsonText(Difference const& difference) {
  std::string what;
  for (char const* const one : difference.what) what += (what.empty() ? "" : ",") + jsonOf(one);
  JsonObject object;
  object.add("change", std::string(1, difference.letter())).add("path", difference.path);
  return object.add("type", nameOf(difference.kind)).addText("what", "[" + what + "]").text();
}

}  // namespace

DifferenceListing::DifferenceListing(Form form, Output& out) : form_(form), out_(out) {
  if (form_ == Form::Json) array_.emplace(out);
}

void DifferenceListing::print(Difference const& difference) {
  isEmpty_ = false;
  if (form_ == Form::None) return;
  if (array_) return array_->add(jsonText(difference));
  out_.print(std::string(1, difference.letter()) + " ");
  out_.printName(difference.path);
  out_.print((form_ == Form::DetailedLines ? detailsOf(difference) : "") + "\n");
}

void DifferenceListing::finish() {
  if (array_) out_.print(array_->isEmpty() ? "]\n" : "\n]\n");
}

}  // namespace ztpkg
