// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "cli/Description.hpp"
#include "commands/Commands.hpp"

/// What the rows of the command table are made of, and the options that several commands have: defined once, they mean
/// the same everywhere.
namespace ztpkg::table {

using Options = std::vector<OptionDescription>;

/// `names` are with their dashes, short ones first.
OptionDescription flag(std::vector<std::string> names, std::string purpose, bool& target);
/// A flag that sets its target to false.
OptionDescription clearing(std::vector<std::string> names, std::string purpose, bool& target);
/// An option with a value; repeatable where the target is a list.
OptionDescription valued(std::vector<std::string> names, std::string const& value, std::string purpose, Target target);

ArgumentDescription argument(std::string const& name, std::string purpose, Target target);
ArgumentDescription optional(ArgumentDescription described);
ArgumentDescription packageArgument(std::string& target, std::string purpose = "The package");

/// Of an option's value. Throws std::invalid_argument.
int numberOf(std::string const& text);

Options operator+(Options all, Options const& more);
Options inGroup(std::string const& group, Options options);

Options helpOption();

inline constexpr char kAsk[] = "Ask for the password on the terminal; the default where one is needed";
/// The sources of a key. An empty name is refused: it would mean no key, and the contents would not be encrypted.
/// `ask` says what --password means to the command.
Options keyOptions(KeyOptions& key, std::string const& ask = kAsk);

/// The same for a key that contents are encrypted with. `prefix` stands in front of the names ("" or "new-").
Options newKeyOptions(NewKeyOptions& key, std::string const& prefix, std::string const& ask);
/// --verbose. `what` says which lines the command prints with it, and which members --json gains.
OptionDescription verboseOption(std::string const& what, bool& verbose);
/// For commands that print one JSON object.
OptionDescription jsonOption(bool& json);
/// The same for commands whose data is on standard output.
OptionDescription besideDataOption(bool& json);
/// For commands that print nothing but data and warnings.
OptionDescription quietOption(bool& quiet);

OptionDescription oneFileSystemOption(bool& oneFileSystem);
OptionDescription skipOutsideLinksOption(bool& skipOutsideLinks);
/// What is stored of a source, and how hard it is compressed.
Options sourceOptions(StoringOptions& options);
/// How texts are stored. `--text-unknown` and `--text-charset` would have no effect alone.
Options textOptions(StoringOptions& options);
Options listingOptions(StoringOptions& options);
Options progressOptions(bool& progress, bool& quiet);
Options propertyOptions(std::vector<std::pair<std::string, std::string>>& properties);
OptionDescription levelOption(opc::model::CompressionLevel& level);
/// --exclude, and --exclude-from with a file of such patterns.
Options excludeOptions(std::vector<std::string>& patterns);
/// --files-from and --null. `what` are the names, and where they belong.
Options namesOptions(NamesFile& names, std::string const& what = "PATHs");
/// Adds the names in the file behind those of the command line, and notes where they begin. The package or source "-"
/// needs standard input itself.
void takePaths(NamesFile& from, std::vector<std::string>& paths, std::string const& package);
void takeSources(NamesFile const& from, std::vector<std::string>& sources);
OptionDescription checksumOption(bool& checksum);
/// Of the commands that change a package.
OptionDescription retryOption(std::chrono::seconds& limit);
/// --force of the commands that change a package and replace nothing in it.
OptionDescription forceOption(bool& force);

}  // namespace ztpkg::table
