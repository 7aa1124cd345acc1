// SPDX-License-Identifier: Apache-2.0
#include "cli/shell/FishCompletion.hpp"

#include "cli/shell/Quoting.hpp"

namespace ztpkg::shell {
namespace {

constexpr char const* kFunctions = R"fish(
# Prints the command that the cursor is in, then the arguments before the cursor.
function __ztpkg_before
    set -l command ztpkg
    set -l given
    set -l ended no
    set -l expects no
    for word in (commandline -opc)[2..-1]
        if test $expects = yes
            set expects no
        else if test $ended = no; and test "$word" = --
            set ended yes
        else if test $ended = no; and string match -q -- '-?*' $word
            __ztpkg_takes_value "$command $word"; and set expects yes
        else if __ztpkg_has_commands $command
            set command (__ztpkg_canonical "$command $word")
        else
            set -a given $word
        end
    end
    printf '%s\n' $command $given
end

# Whether the cursor is in the command $argv[1] and, where there is more, at one of the arguments that the other
# numbers tell: "2" is the second, "2 +" the second and all that follow.
function __ztpkg_at
    set -l before (__ztpkg_before)
    test "$before[1]" = "$argv[1]"; or return 1
    set -q argv[2]; or return 0
    test (count $before) -eq $argv[2]; and return 0
    set -q argv[3]; and test (count $before) -gt $argv[2]
end

# Prints the paths of the package that is the argument $argv[1]. Names that are printed with escapes are left out.
function __ztpkg_paths
    set -l before (__ztpkg_before)
    set -l place (math $argv[1] + 1)
    set -q before[$place]; or return
    set -l package (string replace -r '^~/' "$HOME/" -- $before[$place])
    set -l paths (command ztpkg list -- $package 2>/dev/null </dev/null | string match -v '*\\\\*')
    if string match -q '/*' -- (commandline -ct)
        printf '%s\n' $paths
    else
        string sub -s 2 -- $paths
    end
end

complete -c ztpkg -f
)fish";

std::string fishQuoted(std::string const& text) {
  return "'" + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + "'";
}

/// A function that answers whether its argument is one of the words.
std::string predicate(std::string const& name, std::vector<std::string> const& words) {
  std::string text = "function " + name + "\n    contains -- $argv[1]";
  for (std::string const& word : words) text += " " + fishQuoted(word);
  return text + "\nend\n\n";
}

std::string tables(std::vector<CommandDescription> const& commands) {
  std::vector<std::string> valued, groups;
  std::string canonical;
  for (CommandDescription const& command : commands) {
    if (!command.commands.empty()) groups.push_back(command.name);
    for (OptionDescription const& option : command.options)
      for (std::string const& name : option.names)
        if (option.value) valued.push_back(command.name + " " + name);
    for (std::string const& name : command.names())
      canonical += "        case " + fishQuoted(name) + "\n            echo " + fishQuoted(command.name) + "\n";
  }
  return predicate("__ztpkg_takes_value", valued) + predicate("__ztpkg_has_commands", groups) +
         "function __ztpkg_canonical\n    switch $argv[1]\n" + canonical +
         "        case '*'\n            echo $argv[1]\n    end\nend\n";
}

std::string complete(std::string const& condition) { return "complete -c ztpkg -n " + fishQuoted(condition); }

std::string wordsOf(ValueDescription const& value) {
  std::string words;
  for (WordDescription const& word : value.words) words += (words.empty() ? "" : " ") + word.text;
  return words;
}

/// What makes fish offer such values, and no others.
std::string offer(ValueDescription const& value, CommandDescription const& command) {
  switch (value.kind) {
    case ValueKind::Word:
      return " -f -a " + fishQuoted(wordsOf(value));
    case ValueKind::Assignment:
      return " -f";  // its names come one by one, with what they are for
    case ValueKind::File:
    case ValueKind::Package:
      return " -F";
    case ValueKind::Directory:
      return " -f -a '(__fish_complete_directories)'";
    case ValueKind::PathInPackage:
      return " -f -a '(__ztpkg_paths " + std::to_string(command.placeOfPackage()) + ")'";
    case ValueKind::Text:
      break;
  }
  return " -f";
}

std::string optionsOf(CommandDescription const& command) {
  std::string text;
  for (OptionDescription const& option : command.options) {
    text += complete("__ztpkg_at " + fishQuoted(command.name));
    for (std::string const& name : option.names)
      text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (option.value) text += " -r" + offer(*option.value, command);
    text += " -d " + fishQuoted(option.purpose) + "\n";
  }
  return text;
}

std::string argumentsOf(CommandDescription const& command) {
  std::string text;
  for (std::size_t i = 0; i < command.arguments.size(); ++i) {
    ArgumentDescription const& argument = command.arguments[i];
    std::string const place = std::to_string(i + 1) + (argument.isRepeatable ? " +" : "");
    std::string const begin = complete("__ztpkg_at " + fishQuoted(command.name) + " " + place);
    text += begin + offer(argument.value, command) + "\n";
    for (WordDescription const& word : argument.value.words)
      text += begin + " -a " + fishQuoted(word.text + "=") + " -d " + fishQuoted(word.purpose) + "\n";
  }
  return text;
}

std::string commandsOf(CommandDescription const& command) {
  std::string text;
  for (CommandDescription const& below : command.commands) {
    for (std::string const& word : below.words())
      text += complete("__ztpkg_at " + fishQuoted(command.name)) + " -a " + fishQuoted(word) + " -d " +
              fishQuoted(below.purpose) + "\n";
  }
  return text;
}

}  // namespace

std::string fishCompletion(CommandDescription const& tool) {
  std::vector<CommandDescription> const commands = allCommands(tool);
  std::string text = "# fish completion of ztpkg\n\n" + tables(commands) + kFunctions;
  for (CommandDescription const& command : commands)
    text += "\n# " + command.name + "\n" + commandsOf(command) + optionsOf(command) + argumentsOf(command);
  return text;
}

}  // namespace ztpkg::shell
