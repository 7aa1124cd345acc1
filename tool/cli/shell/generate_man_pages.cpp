// SPDX-License-Identifier: Apache-2.0
// generate_man_pages DIR VERSION DATE: writes the manual pages (section 1) of ztpkg and of each command into DIR.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cli/CommandLine.hpp"

namespace ztpkg {
namespace {

/// The header and footer of each page. The date is not that of the build, so that equal sources give equal pages.
struct Edition {
  std::string version;
  std::string date;
};

/// `text` with `to` in place of each `from`, from left to right.
std::string replaced(std::string const& text, std::string const& from, std::string const& to) {
  std::string result;
  std::size_t begin = 0;
  for (std::size_t found = 0; (found = text.find(from, begin)) != std::string::npos; begin = found + from.size())
    result += text.substr(begin, found - begin) + to;
  return result + text.substr(begin);
}

/// Text of a line of roff: nothing in it is a request, dashes and quotes are those of ASCII.
std::string roff(std::string const& text) {
  static std::vector<std::pair<std::string, std::string>> const characters{
      {"\\", "\\e"}, {"-", "\\-"}, {"'", "\\(aq"}, {"`", "\\(ga"}, {"^", "\\(ha"}, {"~", "\\(ti"}};
  std::string line = text;
  for (auto const& [character, escape] : characters) line = replaced(line, character, escape);
  return (line.starts_with('.') ? "\\&" : "") + line;
}

std::string bold(std::string const& text) { return "\\fB" + roff(text) + "\\fR"; }
std::string italic(std::string const& text) { return "\\fI" + roff(text) + "\\fR"; }

std::string section(std::string const& title) { return ".SH " + title + "\n"; }

/// A tagged paragraph: its tag is roff already.
std::string tagged(std::string const& tag, std::string const& text) { return ".TP\n" + tag + "\n" + roff(text) + "\n"; }

std::string pageOf(std::string const& name) { return replaced(name, " ", "-"); }

std::string upper(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

std::string heading(CommandDescription const& command, Edition const& edition) {
  std::string const page = pageOf(command.name);
  return ".TH \"" + upper(roff(page)) + "\" \"1\" \"" + edition.date + "\" \"ztpkg " + edition.version +
         "\" \"User Commands\"\n" + section("NAME") + roff(page) + " \\- " + roff(command.purpose) + "\n";
}

std::string synopsis(CommandDescription const& command) {
  std::string const rest = command.usage().substr(command.name.size());
  return section("SYNOPSIS") + bold(command.name) + roff(rest) + "\n";
}

std::string argumentsOf(CommandDescription const& command) {
  std::string text;
  for (ArgumentDescription const& argument : command.arguments)
    text += tagged(italic(argument.value.name), argument.purpose + ".");
  return text;
}

std::string commandsOf(CommandDescription const& command) {
  std::string text;
  for (CommandDescription const& below : command.commands) {
    std::string tag;
    for (std::string const& word : below.words()) tag += (tag.empty() ? "" : ", ") + bold(word);
    text += tagged(tag, below.purpose + ".");
  }
  return text.empty() ? "" : section("COMMANDS") + text;
}

std::string description(CommandDescription const& command) {
  std::string text = section("DESCRIPTION") + roff(command.purpose) + ".\n";
  for (std::string const& paragraph : command.details) text += ".PP\n" + roff(paragraph) + "\n";
  return text + argumentsOf(command);
}

std::string tagOf(OptionDescription const& option) {
  std::string tag;
  for (std::string const& name : option.names) tag += (tag.empty() ? "" : ", ") + bold(name);
  return tag + (option.value ? " " + italic(option.value->name) : "");
}

std::string optionsOf(CommandDescription const& command) {
  std::string text = section("OPTIONS");
  for (OptionDescription const& option : command.options) text += tagged(tagOf(option), option.purpose + ".");
  return text;
}

std::string namesOf(CommandDescription const& command) {
  std::string text;
  for (ArgumentDescription const& argument : command.arguments)
    for (WordDescription const& word : argument.value.words) text += tagged(bold(word.text), word.purpose + ".");
  return text.empty() ? "" : section("NAMES") + text;
}

std::string example(CommandDescription const& command) {
  return section("EXAMPLES") + ".nf\n" + roff(command.example) + "\n.fi\n";
}

std::string exitStatus() {
  return section("EXIT STATUS") + tagged("0", "Done.") +
         tagged(
             "1",
             "The package is at fault: damaged, no package, without the named entry, or with contents that cannot be "
             "stored or extracted.") +
         tagged("2", "The command line is wrong.") +
         tagged("3",
                "The disk failed: missing, not readable, not writable, full, already there; also standard output.") +
         tagged("4", "A key or password is missing or wrong, or encrypted content was modified.") +
         tagged("128+\\fIn\\fR", "Ended by signal n, after the temporary files were removed.");
}

std::string environment() {
  return section("ENVIRONMENT") +
         tagged(bold("SOURCE_DATE_EPOCH"),
                "Seconds since 1970: the time of creation that pack records where --created is not given.") +
         tagged(bold("LC_ALL") + ", " + bold("LC_CTYPE") + ", " + bold("LANG"),
                "The locale, in whose encoding messages are printed. Names are UTF-8 in every locale.") +
         tagged(bold("NO_COLOR"), "When set and not empty, nothing is printed in colour.");
}

std::string seeAlso(CommandDescription const& command, std::vector<CommandDescription> const& all) {
  std::string text;
  for (CommandDescription const& other : all)
    if (other.name != command.name) text += (text.empty() ? "" : " ,\n") + (".BR " + roff(pageOf(other.name)) + " (1)");
  return section("SEE ALSO") + text + "\n";
}

/// The pages by their file names. An alias has the page of its command.
std::map<std::string, std::string> manPages(CommandDescription const& tool, Edition const& edition) {
  std::vector<CommandDescription> const all = allCommands(tool);
  std::map<std::string, std::string> pages;
  for (CommandDescription const& command : all) {
    std::string const page = heading(command, edition) + synopsis(command) + description(command) +
                             commandsOf(command) + namesOf(command) + optionsOf(command) + example(command) +
                             exitStatus() + environment() + seeAlso(command, all);
    for (std::string const& name : command.names()) pages[pageOf(name) + ".1"] = page;
  }
  return pages;
}

void write(std::filesystem::path const& path, std::string const& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace
}  // namespace ztpkg

int main(int argc, char** argv) {
  try {
    if (argc != 4) throw std::runtime_error("usage: generate_man_pages DIR VERSION DATE");
    std::filesystem::path const directory = argv[1];
    std::filesystem::create_directories(directory);
    for (auto const& [name, page] : ztpkg::manPages(ztpkg::describeCommandLine(), {argv[2], argv[3]}))
      ztpkg::write(directory / name, page);
    return 0;
  } catch (std::exception const& error) {
    std::cerr << "generate_man_pages: " << error.what() << '\n';
    return 1;
  }
}
