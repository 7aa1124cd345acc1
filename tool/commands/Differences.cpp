// SPDX-License-Identifier: Apache-2.0
#include "commands/Differences.hpp"

#include <string>

namespace ztpkg {
namespace {

char const* nameOf(EntryKind kind) {
  return kind == EntryKind::File ? "file" : (kind == EntryKind::Folder ? "folder" : "link");
}

std::string detailsOf(std::vector<char const*> const& what) {
  std::string text;
  for (char const* const one : what) text += (text.empty() ? "  (" : ", ") + std::string(one);
  return text.empty() ? "" : text + ")";
}

std::string jsonText(char letter, std::u16string const& path, char const* type, std::vector<char const*> const& what,
                     RelationshipRecord const* relationship = nullptr) {
  std::string words;
  for (char const* const one : what) words += (words.empty() ? "" : ",") + jsonOf(one);
  JsonObject object;
  object.add("change", std::string(1, letter)).add("path", path).add("type", type).addText("what", "[" + words + "]");
  if (relationship) object.addText("relationship", json(*relationship));
  return object.text();
}

}  // namespace

DifferenceListing::DifferenceListing(Form form, Output& out) : form_(form), out_(out) {
  if (form_ == Form::Json) array_.emplace(out);
}

void DifferenceListing::print(Difference const& difference) {
  isEmpty_ = false;
  if (array_)
    array_->add(jsonText(difference.letter(), difference.path, nameOf(difference.kind), difference.what));
  else
    print(difference.letter(), difference.path, difference.what);
}

void DifferenceListing::print(PartDifference const& difference) {
  isEmpty_ = false;
  RelationshipRecord const* const relationship = difference.relationship ? &*difference.relationship : nullptr;
  if (array_)
    array_->add(jsonText(difference.letter(), difference.part, relationship ? "relationship" : "part", difference.what,
                         relationship));
  else
    print(difference.letter(), relationship ? text(*relationship) : difference.part, difference.what);
}

void DifferenceListing::print(char letter, std::u16string const& text, std::vector<char const*> const& what) {
  if (form_ == Form::None) return;
  out_.print(std::string(1, letter) + " ");
  out_.printName(text);
  out_.print((form_ == Form::DetailedLines ? detailsOf(what) : "") + "\n");
}

void DifferenceListing::finish(char const* end) {
  if (array_) out_.print((array_->isEmpty() ? "]" : "\n]") + std::string(end));
}

}  // namespace ztpkg
