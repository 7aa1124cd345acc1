// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "cli/Output.hpp"

/// The command line as data. The parser, help, completions and manual pages are all made from it.
namespace ztpkg {

/// What a value is, by which a shell completes it.
enum class ValueKind { Text, Word, Assignment, File, Directory, Package, PathInPackage };

struct WordDescription {
  std::string text;
  std::string purpose;  ///< may be empty
};

struct ValueDescription {
  std::string name;  ///< as it stands in help: "DIR", "fast|default|small"
  ValueKind kind = ValueKind::Text;
  std::vector<WordDescription> words;  ///< the choices of a Word, the names of an Assignment; otherwise empty
};

/// The value called `name` in help. The kind follows from the name: words with bars between them are a choice.
ValueDescription describeValue(std::string const& name);

/// Where a given value goes. The function throws std::invalid_argument for a value that it refuses.
using Target = std::variant<std::monostate, bool*, std::string*, std::vector<std::string>*,
                            std::function<void(std::string const& value)>>;

struct OptionDescription {
  std::vector<std::string> names = {};  ///< with their dashes, short ones first
  std::string purpose = {};
  std::optional<ValueDescription> value = {};  ///< absent for a flag
  Target target = {};                          ///< of a flag a bool
  bool flagValue = true;                       ///< what a flag sets its target to
  std::string group = "Options";               ///< the heading in help
  bool isRepeatable = false;
  bool refusesEmpty = false;
  std::string alternatives = {};  ///< options with the same text here exclude each other; empty for none
  std::string needs = {};         ///< the option without which this one is refused; empty for none
};

struct ArgumentDescription {
  ValueDescription value = {};
  std::string purpose = {};
  Target target = {};
  bool isRequired = true;
  bool isRepeatable = false;
};

struct CommandDescription {
  std::string name = {};  ///< with the names of its parents: "ztpkg", "ztpkg props set"
  std::string purpose = {};
  std::string example = {};
  std::vector<std::string> details = {};  ///< further paragraphs of help
  std::vector<std::string> aliases = {};
  std::vector<ArgumentDescription> arguments = {};
  std::vector<OptionDescription> options = {};
  std::vector<CommandDescription> commands = {};

  std::function<void(Output&)> action = {};  ///< runs the command; owns what the targets point to
  std::string const* package = nullptr;      ///< the target of PACKAGE; null where there is none
  bool takesPipe = false;                    ///< whether "-" as PACKAGE is standard input, or output for a new one

  /// The last word of the name, then the aliases.
  std::vector<std::string> words() const;
  /// The name, then the same with each alias.
  std::vector<std::string> names() const;
  /// "ztpkg unpack [OPTION...] PACKAGE DIR [PATH...]".
  std::string usage() const;
  /// What --help prints: lines of at most 80 columns, each ended.
  std::string help() const;
  /// The command below this one that the word names; null where there is none.
  CommandDescription const* find(std::string const& word) const;
};

/// The command itself, then all below it, each before those that belong to it.
std::vector<CommandDescription> allCommands(CommandDescription const& top);

}  // namespace ztpkg
