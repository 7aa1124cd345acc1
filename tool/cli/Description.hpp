// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// The command line as plain values, for what is written from it: help, completions, manual pages.
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
  std::vector<WordDescription> words;  ///< of Word all there are, of Assignment the names; otherwise none
};

struct OptionDescription {
  std::vector<std::string> names;  ///< with their dashes, short ones first
  std::string purpose;
  std::string group;  ///< the heading that it stands under
  std::optional<ValueDescription> value;
  bool isRepeatable = false;
};

struct ArgumentDescription {
  ValueDescription value;
  std::string purpose;
  bool isRequired = false;
  bool isRepeatable = false;
};

struct CommandDescription {
  std::string name;  ///< with those of the commands it belongs to: "ztpkg", "ztpkg props set"
  std::vector<std::string> aliases;
  std::string purpose;
  std::vector<std::string> details;  ///< paragraphs
  std::string example;
  std::vector<OptionDescription> options;
  std::vector<ArgumentDescription> arguments;
  std::vector<CommandDescription> commands;

  /// The last word of the name, then the aliases.
  std::vector<std::string> words() const;
  /// The name, then those that it has by its aliases.
  std::vector<std::string> names() const;
  /// "ztpkg unpack [OPTION...] PACKAGE DIR [PATH...]".
  std::string usage() const;
  /// The number, from 1, of the argument that is the package; 0 where there is none.
  std::size_t placeOfPackage() const;
};

/// The value called `name` in help. Its name tells its kind: words with bars between them are a choice.
ValueDescription describeValue(std::string const& name);

/// The command itself, then all below it, each before those that belong to it.
std::vector<CommandDescription> allCommands(CommandDescription const& top);

}  // namespace ztpkg
