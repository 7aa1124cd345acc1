// SPDX-License-Identifier: Apache-2.0
#include "cli/shell/ZshCompletion.hpp"

#include <algorithm>

#include "cli/shell/Quoting.hpp"

namespace ztpkg::shell {
namespace {

/// The package is an argument of the command, whose number is $1. Names that are printed with escapes are left out.
constexpr char const* kPaths = R"zsh(
_ztpkg_paths() {
  local package=${(Q)line[$1]} expl
  local -a paths
  [[ $package == \~/* ]] && package=$HOME/${package#\~/}
  paths=(${(f)"$(_call_program paths ztpkg list -- ${(q)package} 2>/dev/null)"})
  paths=(${paths:#*\\*})
  [[ $PREFIX == /* ]] || paths=(${paths#/})
  _wanted paths expl 'path in the package' compadd -a paths
}
)zsh";

/// Text within [...] of a specification.
std::string inBrackets(std::string const& text) {
  return replaced(replaced(replaced(text, "\\", "\\\\"), "[", "\\["), "]", "\\]");
}

/// Text between the colons of a specification.
std::string betweenColons(std::string const& text) { return replaced(replaced(text, "\\", "\\\\"), ":", "\\:"); }

std::string functionOf(CommandDescription const& command) { return "_" + replaced(command.name, " ", "_"); }

std::string wordsOf(ValueDescription const& value) {
  std::string words;
  for (WordDescription const& word : value.words) words += (words.empty() ? "" : " ") + word.text;
  return words;
}

std::string actionOf(ValueDescription const& value, CommandDescription const& command) {
  switch (value.kind) {
    case ValueKind::Word:
      return "(" + wordsOf(value) + ")";
    case ValueKind::Assignment:
      return "compadd -S= -- " + wordsOf(value);
    case ValueKind::File:
    case ValueKind::Package:
      return "_files";
    case ValueKind::Directory:
      return "_directories";
    case ValueKind::PathInPackage:
      return " _ztpkg_paths " + std::to_string(command.placeOfPackage());
    case ValueKind::Text:
      break;
  }
  return " ";
}

std::string valueOf(ValueDescription const& value, CommandDescription const& command) {
  return ":" + betweenColons(value.name) + ":" + actionOf(value, command);
}

std::string specificationOf(OptionDescription const& option, CommandDescription const& command) {
  std::string others;
  for (std::string const& name : option.names) others += (others.empty() ? "" : " ") + name;
  bool const isAlone = std::ranges::count(option.names, "--help") + std::ranges::count(option.names, "-V") > 0;
  if (isAlone) others = "- *";
  std::string specifications;
  for (std::string const& name : option.names) {
    bool const joins = option.value && name.starts_with("--");
    specifications +=
        " \\\n    " + quoted((option.isRepeatable ? "*" : "(" + others + ")") + name + (joins ? "=" : "") + "[" +
                             inBrackets(option.purpose) + "]" + (option.value ? valueOf(*option.value, command) : ""));
  }
  return specifications;
}

std::string argumentsOf(CommandDescription const& command) {
  std::string text = "  _arguments -C -s -S :";
  for (OptionDescription const& option : command.options) text += specificationOf(option, command);
  for (std::size_t i = 0; i < command.arguments.size(); ++i) {
    ArgumentDescription const& argument = command.arguments[i];
    std::string const place = argument.isRepeatable ? "*" : std::to_string(i + 1);
    text += " \\\n    " + quoted(place + valueOf(argument.value, command));
  }
  if (!command.commands.empty()) text += " \\\n    '1:command:->command' \\\n    '*::argument:->argument'";
  return text;
}

/// Completes the word that is a command, and hands the rest to that command.
std::string commandsOf(CommandDescription const& command) {
  std::string offered, handed;
  for (CommandDescription const& below : command.commands) {
    std::string pattern;
    for (std::string const& word : below.words()) {
      offered += "        " + quoted(word + ":" + betweenColons(below.purpose)) + "\n";
      pattern += (pattern.empty() ? "" : "|") + word;
    }
    handed += "        " + pattern + ") " + functionOf(below) + " ;;\n";
  }
  return "  case $state in\n    command)\n      commands=(\n" + offered +
         "      )\n      _describe -t commands command commands\n      ;;\n    argument)\n      case $words[1] in\n" +
         handed + "      esac\n      ;;\n  esac\n";
}

std::string completionOf(CommandDescription const& command) {
  std::string const begin = "\n" + functionOf(command) + "() {\n  local curcontext=$curcontext state line\n" +
                            "  local -a commands\n  typeset -A opt_args\n" + argumentsOf(command);
  return begin + (command.commands.empty() ? "\n}\n" : " && return\n" + commandsOf(command) + "}\n");
}

}  // namespace

std::string zshCompletion(CommandDescription const& tool) {
  std::string text = std::string("#compdef ztpkg\n") + kPaths;
  for (CommandDescription const& command : allCommands(tool)) text += completionOf(command);
  return text + "\n_ztpkg \"$@\"\n";
}

}  // namespace ztpkg::shell
