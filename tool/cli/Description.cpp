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
      {"DIR", ValueKind::Directory},      {"FILE", ValueKind::File},        {"SOURCE", ValueKind::File},
      {"OTHER", ValueKind::File},         {"PACKAGE", ValueKind::Package},  {"PATH", ValueKind::PathInPackage},
      {"FROM", ValueKind::PathInPackage}, {"TO", ValueKind::PathInPackage}, {"NAME=VALUE", ValueKind::Assignment},
      {"NEW", ValueKind::File},
  };
  auto const found = kinds.find(name);
  return found == kinds.end() ? ValueKind::Text : found->second;
}

std::string shownIn(ArgumentDescription const& argument) {
  std::string const name = argument.value.name + (argument.isRepeatable ? "..." : "");
  return argument.isRequired ? name : "[" + name + "]";
}

constexpr std::size_t kColumns = 80;
constexpr std::size_t kPurposeColumn = 26;

/// Breaks `text` into lines that end before the last column. The first line starts at `column`, the others at `indent`.
std::string wrapped(std::string const& text, std::size_t column, std::size_t indent) {
  std::string lines;
  bool isFirst = true;
  std::istringstream words(text);
  for (std::string word; words >> word; isFirst = false) {
    if (!isFirst && column + 1 + word.size() >= kColumns) {
      lines += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (!isFirst) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += word.size();
  }
  return lines + "\n";
}

/// A name and, in the next column, its purpose. A long name stands alone on its line.
std::string row(std::string const& name, std::string const& purpose) {
  std::string text = "  " + name;
  if (text.size() + 2 > kPurposeColumn) text += "\n";
  std::size_t const column = text.ends_with('\n') ? 0 : text.size();
  return text + std::string(kPurposeColumn - column, ' ') + wrapped(purpose, kPurposeColumn, kPurposeColumn);
}

std::string listed(std::vector<std::string> const& names) {
  std::string all;
  for (std::string const& name : names) all += (all.empty() ? "" : ", ") + name;
  return all;
}

std::string nameOf(OptionDescription const& option) {
  bool const isLongOnly = option.names.front().starts_with("--");
  return (isLongOnly ? "    " : "") + listed(option.names) + (option.value ? " " + option.value->name : "");
}

std::string argumentsOf(CommandDescription const& command) {
  if (command.arguments.empty()) return "";
  std::string text = "\nArguments:\n";
  for (ArgumentDescription const& argument : command.arguments) text += row(argument.value.name, argument.purpose);
  return text;
}

/// The names that an argument may begin with: too many for one line.
std::string wordsOf(CommandDescription const& command) {
  std::string text;
  for (ArgumentDescription const& argument : command.arguments)
    for (WordDescription const& word : argument.value.words) text += row(word.text, word.purpose);
  return text.empty() ? "" : "\nNames:\n" + text;
}

std::string commandsOf(CommandDescription const& command) {
  if (command.commands.empty()) return "";
  std::string text = "\nCommands:\n";
  for (CommandDescription const& below : command.commands) text += row(listed(below.words()), below.purpose);
  return text + "\n'" + command.name + " COMMAND --help' describes a command.\n";
}

std::string optionsOf(CommandDescription const& command) {
  std::vector<std::string> groups;
  for (OptionDescription const& option : command.options)
    if (std::ranges::find(groups, option.group) == groups.end()) groups.push_back(option.group);
  std::string text;
  for (std::string const& group : groups) {
    text += "\n" + group + ":\n";
    for (OptionDescription const& option : command.options)
      if (option.group == group) text += row(nameOf(option), option.purpose);
  }
  return text;
}

std::string detailsOf(CommandDescription const& command) {
  std::string text;
  for (std::string const& paragraph : command.details) text += "\n" + wrapped(paragraph, 0, 0);
  return text;
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

std::string CommandDescription::help() const {
  return "Usage: " + usage() + "\n\n" + wrapped(purpose + ".", 0, 0) + argumentsOf(*this) + wordsOf(*this) +
         commandsOf(*this) + optionsOf(*this) + detailsOf(*this) + "\nExample:\n  " + example + "\n";
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
