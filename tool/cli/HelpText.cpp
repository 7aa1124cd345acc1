// SPDX-License-Identifier: Apache-2.0
#include "cli/HelpText.hpp"

#include <algorithm>
#include <sstream>

namespace ztpkg {
namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kPurposeColumn = 26;

/// The words of `text` in lines that end before the last column. The first line goes on at `column`, the others
/// begin at `indent`.
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

/// A name and, in the next column, what it is for; on a line of its own when the name is long.
std::string row(std::string const& name, std::string const& purpose) {
  std::string text = "  " + name;
  if (text.size() + 2 > kPurposeColumn) text += "\n";
  std::size_t const column = text.ends_with('\n') ? 0 : text.size();
  return text + std::string(kPurposeColumn - column, ' ') + wrapped(purpose, kPurposeColumn, kPurposeColumn);
}

std::string joined(std::vector<std::string> const& names) {
  std::string all;
  for (std::string const& name : names) all += (all.empty() ? "" : ", ") + name;
  return all;
}

std::string nameOf(OptionDescription const& option) {
  bool const isLongOnly = option.names.front().starts_with("--");
  return (isLongOnly ? "    " : "") + joined(option.names) + (option.value ? " " + option.value->name : "");
}

std::string argumentsOf(CommandDescription const& command) {
  if (command.arguments.empty()) return "";
  std::string text = "\nArguments:\n";
  for (ArgumentDescription const& argument : command.arguments) text += row(argument.value.name, argument.purpose);
  return text;
}

/// Names that an argument may have: too many for a line.
std::string wordsOf(CommandDescription const& command) {
  std::string text;
  for (ArgumentDescription const& argument : command.arguments)
    for (WordDescription const& word : argument.value.words) text += row(word.text, word.purpose);
  return text.empty() ? "" : "\nNames:\n" + text;
}

std::string commandsOf(CommandDescription const& command) {
  if (command.commands.empty()) return "";
  std::string text = "\nCommands:\n";
  for (CommandDescription const& below : command.commands) text += row(joined(below.words()), below.purpose);
  return text + "\n'" + command.name + " COMMAND --help' tells more of a command.\n";
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

std::string helpText(CommandDescription const& command) {
  return "Usage: " + command.usage() + "\n\n" + wrapped(command.purpose + ".", 0, 0) + argumentsOf(command) +
         wordsOf(command) + commandsOf(command) + optionsOf(command) + detailsOf(command) + "\nExample:\n  " +
         command.example + "\n";
}

}  // namespace ztpkg
