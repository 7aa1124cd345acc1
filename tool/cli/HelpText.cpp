// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Description.hpp"

namespace ztpkg {
namespace {

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

/// A name and, in the next column, its purpose. A long name stands on a line of its own.
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

}  // namespace

std::string CommandDescription::help() const {
  return "Usage: " + usage() + "\n\n" + wrapped(purpose + ".", 0, 0) + argumentsOf(*this) + wordsOf(*this) +
         commandsOf(*this) + optionsOf(*this) + detailsOf(*this) + "\nExample:\n  " + example + "\n";
}

}  // namespace ztpkg
