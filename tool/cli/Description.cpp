// SPDX-License-Identifier: Apache-2.0
#include "cli/Description.hpp"

#include <algorithm>
#include <map>
#include <sstream>

#include "commands/Properties.hpp"

namespace ztpkg {
namespace {

std::vector<WordDescription> splitAtBars(std::string const& text) {
  std::vector<WordDescription> words;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, '|');) words.push_back({word, ""});
  return words;
}

std::vector<WordDescription> propertyWords() {
  std::vector<WordDescription> words;
  for (PropertyName const& property : propertyNames()) words.push_back({property.name, property.purpose});
  return words;
}

ValueKind kindOf(std::string const& name) {
  static std::map<std::string, ValueKind> const kinds{
      {"DIR", ValueKind::Directory},   {"FILE", ValueKind::File},          {"SOURCE", ValueKind::File},
      {"PACKAGE", ValueKind::Package}, {"PATH", ValueKind::PathInPackage}, {"NAME=VALUE", ValueKind::Assignment},
  };
  auto const found = kinds.find(name);
  return found == kinds.end() ? ValueKind::Text : found->second;
}

std::string shownIn(ArgumentDescription const& argument) {
  std::string const name = argument.value.name + (argument.isRepeatable ? "..." : "");
  return argument.isRequired ? name : "[" + name + "]";
}

void collect(CommandDescription const& command, std::vector<CommandDescription>& all) {
  all.push_back(command);
  for (CommandDescription const& below : command.commands) collect(below, all);
}

}  // namespace

std::vector<std::string> CommandDescription::words() const {
  std::vector<std::string> all{name.substr(name.rfind(' ') + 1)};
  all.insert(all.end(), aliases.begin(), aliases.end());
  return all;
}

std::vector<std::string> CommandDescription::names() const {
  std::vector<std::string> all = words();
  std::string const parent = name.substr(0, name.size() - all.front().size());
  for (std::string& word : all) word.insert(0, parent);
  return all;
}

std::string CommandDescription::usage() const {
  std::string text = name + (commands.empty() ? " [OPTION...]" : " COMMAND");
  for (ArgumentDescription const& argument : arguments) text += " " + shownIn(argument);
  return text;
}

CommandDescription const* CommandDescription::find(std::string const& word) const {
  auto const isNamed = [&](CommandDescription const& below) {
    std::vector<std::string> const all = below.words();
    return std::ranges::find(all, word) != all.end();
  };
  auto const found = std::ranges::find_if(commands, isNamed);
  return found == commands.end() ? nullptr : &*found;
}

ValueDescription describeValue(std::string const& name) {
  if (name.find('|') != std::string::npos) return {name, ValueKind::Word, splitAtBars(name)};
  ValueKind const kind = kindOf(name);
  return {name, kind, kind == ValueKind::Assignment ? propertyWords() : std::vector<WordDescription>()};
}

std::vector<CommandDescription> allCommands(CommandDescription const& top) {
  std::vector<CommandDescription> all;
  collect(top, all);
  return all;
}

}  // namespace ztpkg
