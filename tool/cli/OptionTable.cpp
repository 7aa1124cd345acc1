// SPDX-License-Identifier: Apache-2.0
#include "cli/OptionTable.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <variant>

#include "cli/Errors.hpp"
#include "commands/Properties.hpp"

namespace ztpkg::table {
namespace {

/// Without empty lines and those that begin with "#".
std::vector<std::string> linesOf(std::string const& file) {
  std::ifstream stream(file, std::ios::binary);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (!line.empty() && !line.starts_with('#')) lines.push_back(line);
  }
  if (!stream.eof()) throw std::invalid_argument("cannot read " + file);
  return lines;
}

opc::model::CompressionLevel levelOf(std::string const& name) {
  using opc::model::CompressionLevel;
  return name == "fast"    ? CompressionLevel::Fast
         : name == "small" ? CompressionLevel::Small
                           : CompressionLevel::Default;
}

}  // namespace

OptionDescription flag(std::vector<std::string> names, std::string purpose, bool& target) {
  return {.names = std::move(names), .purpose = std::move(purpose), .target = &target};
}

OptionDescription clearing(std::vector<std::string> names, std::string purpose, bool& target) {
  OptionDescription option = flag(std::move(names), std::move(purpose), target);
  option.flagValue = false;
  return option;
}

OptionDescription valued(std::vector<std::string> names, std::string const& value, std::string purpose, Target target) {
  OptionDescription option{.names = std::move(names), .purpose = std::move(purpose), .value = describeValue(value)};
  option.isRepeatable = std::holds_alternative<std::vector<std::string>*>(target);
  option.target = std::move(target);
  return option;
}

ArgumentDescription argument(std::string const& name, std::string purpose, Target target) {
  ArgumentDescription described{.value = describeValue(name), .purpose = std::move(purpose)};
  described.isRepeatable = std::holds_alternative<std::vector<std::string>*>(target);
  described.target = std::move(target);
  return described;
}

ArgumentDescription optional(ArgumentDescription described) {
  described.isRequired = false;
  return described;
}

ArgumentDescription packageArgument(std::string& target, std::string purpose) {
  return argument("PACKAGE", std::move(purpose), &target);
}

int numberOf(std::string const& text) {
  int number = -1;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0)
    throw std::invalid_argument("must be a number, not " + text);
  return number;
}

Options operator+(Options all, Options const& more) {
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

Options inGroup(std::string const& group, Options options) {
  for (OptionDescription& option : options) option.group = group;
  return options;
}

Options helpOption() { return {{.names = {"-h", "--help"}, .purpose = "Print this help and exit"}}; }

namespace {

/// Names with a prefix have no short form.
std::vector<std::string> named(std::string const& prefix, std::vector<std::string> names) {
  if (prefix.empty()) return names;
  return {"--" + prefix + names.back().substr(2)};
}

Options secretOptions(KeyOptions& key, std::string const& prefix, std::string const& ask) {
  PasswordOptions& password = key.password;
  Options options = inGroup(
      "Encryption",
      {valued(named(prefix, {"-k", "--key-file"}), "FILE", "The file with the key: 32 bytes or 64 hexadecimal digits",
              &key.file),
       flag(named(prefix, {"-p", "--password"}), ask, password.ask),
       valued(named(prefix, {"--password-file"}), "FILE", "The file whose first line is the password", &password.file),
       valued(named(prefix, {"--password-env"}), "NAME", "The environment variable with the password",
              &password.environment),
       valued(named(prefix, {"--password-fd"}), "N", "The file descriptor from which a line with the password is read",
              [&password](std::string const& text) { password.descriptor = numberOf(text); })});
  for (OptionDescription& option : options) {
    option.refusesEmpty = true;
    option.alternatives = prefix + "key";
  }
  return options;
}

unsigned costOf(std::string const& text) {
  constexpr int kLeast = 10, kMost = 20;  // 1 MiB, and the 1 GiB that readers allow
  int const cost = numberOf(text);
  if (cost < kLeast || cost > kMost) throw std::invalid_argument("must be from 10 to 20, not " + text);
  return static_cast<unsigned>(cost);
}

}  // namespace

Options keyOptions(KeyOptions& key, std::string const& ask) {
  return secretOptions(key, "", ask) +
         inGroup("Encryption", {flag({"--allow-costly-password"},
                                     "Derive the key whatever memory and time the package demands for its password",
                                     key.allowCostly)});
}

Options newKeyOptions(NewKeyOptions& key, std::string const& prefix, std::string const& ask) {
  return secretOptions(key, prefix, ask) +
         inGroup("Encryption",
                 {valued({"--password-cost"}, "N",
                         "How much a guess of the password costs: 2^N KiB of memory, N from 10 to 20 (default: 17)",
                         [&key](std::string const& text) { key.passwordCost = costOf(text); }),
                  flag({"--compress"}, "Compress contents before they are encrypted", key.compress)});
}

OptionDescription verboseOption(std::string const& what, bool& verbose) {
  return flag({"-v", "--verbose"}, what, verbose);
}

OptionDescription jsonOption(bool& json) { return flag({"--json"}, "Print one JSON object, for programs", json); }

OptionDescription besideDataOption(bool& json) {
  return flag({"--json"}, "Print one JSON object, for programs, on standard error, beside the data", json);
}

OptionDescription quietOption(bool& quiet) { return flag({"-q", "--quiet"}, "Print no warnings", quiet); }

OptionDescription oneFileSystemOption(bool& oneFileSystem) {
  return flag({"--one-file-system"}, "Do not look into directories of other file systems, and keep these empty",
              oneFileSystem);
}

OptionDescription skipOutsideLinksOption(bool& skipOutsideLinks) {
  return flag({"--skip-outside-links"},
              "Leave out links with an absolute target outside the directory, which otherwise fail the command",
              skipOutsideLinks);
}

Options sourceOptions(StoringOptions& options) {
  return excludeOptions(options.exclude) +
         Options{
             oneFileSystemOption(options.oneFileSystem),
             flag({"--keep-going"}, "Leave out files that cannot be read or change meanwhile, and end with exit code 1",
                  options.keepGoing),
             skipOutsideLinksOption(options.skipOutsideLinks), levelOption(options.level)};
}

Options textOptions(StoringOptions& options) {
  Options all{flag({"--text-to-utf8"}, "Convert text files (.txt, .tq) to UTF-8", options.textToUTF8),
              valued({"--text-charset"}, "NAME",
                     "The character set of texts that are not UTF-8, such as windows-1252; without it each text is "
                     "examined",
                     &options.textCharset),
              valued({"--text-unknown"}, "keep|fail",
                     "With a text whose character set is unknown: keep its bytes and say so (the default), or fail",
                     [&options](std::string const& word) { options.failOnUnknownText = word == "fail"; })};
  for (OptionDescription& option : all)
    if (option.value) option.needs = "--text-to-utf8";
  all[1].refusesEmpty = true;
  return all;
}

Options listingOptions(StoringOptions& options) {
  Options all{flag({"-n", "--dry-run"}, "Check everything, print the paths that would be stored, and write nothing",
                   options.dryRun),
              verboseOption("Print the paths that are stored, texts with their character sets", options.verbose),
              jsonOption(options.json)};
  return all;
}

Options progressOptions(bool& progress, bool& quiet) {
  return {clearing({"--no-progress"}, "Show no progress bar", progress),
          flag({"-q", "--quiet"}, "Print nothing but errors", quiet)};
}

Options propertyOptions(std::vector<std::pair<std::string, std::string>>& properties) {
  Options options;
  for (PropertyName const& property : propertyNames())
    options.push_back(valued(
        {"--" + property.name}, "TEXT", property.purpose,
        [&properties, name = property.name](std::string const& value) { properties.emplace_back(name, value); }));
  return inGroup("Properties", options);
}

OptionDescription levelOption(opc::model::CompressionLevel& level) {
  return valued({"-l", "--level"}, "fast|default|small",
                "How hard to compress: fast, by default, or to a small package",
                [&level](std::string const& name) { level = levelOf(name); });
}

Options excludeOptions(std::vector<std::string>& patterns) {
  return {
      valued({"-x", "--exclude"}, "GLOB", "Leave out what the pattern matches, with everything below it; repeatable",
             &patterns),
      valued({"--exclude-from"}, "FILE", "Leave out what a pattern of the file matches, which has one in each line",
             [&patterns](std::string const& file) { std::ranges::move(linesOf(file), std::back_inserter(patterns)); })};
}

Options namesOptions(NamesFile& names, std::string const& what) {
  Options options{
      valued({"--files-from"}, "FILE", "Take further " + what + " from a file, one in each line; - for standard input",
             &names.namesFile),
      flag({"-0", "--null"}, "With --files-from: a NUL ends each name, as 'find -print0' prints them",
           names.namesEndWithNul)};
  options[0].refusesEmpty = true;
  options[1].needs = "--files-from";
  return options;
}

void takePaths(NamesFile& from, std::vector<std::string>& paths, std::string const& package) {
  if (from.namesFile == "-" && package == "-") throwUsage("--files-from -: standard input is the package");
  from.patternCount = paths.size();
  std::ranges::move(pathsIn(from), std::back_inserter(paths));
}

void takeSources(NamesFile const& from, std::vector<std::string>& sources) {
  bool const isPiped = std::ranges::find(sources, "-") != sources.end();
  if (from.namesFile == "-" && isPiped) throwUsage("--files-from -: standard input is a source");
  for (std::string& name : namesIn(from)) sources.push_back(name == "-" ? "./-" : std::move(name));
}

OptionDescription checksumOption(bool& checksum) {
  return flag({"-c", "--checksum"}, "Compare contents too; otherwise files of one size and time are taken for equal",
              checksum);
}

OptionDescription retryOption(std::chrono::seconds& limit) {
  return valued({"--retry-lock"}, "SECONDS",
                "While other processes change the package, begin again for up to so many seconds (default: 30)",
                [&limit](std::string const& text) { limit = std::chrono::seconds(numberOf(text)); });
}

OptionDescription forceOption(bool& force) {
  return flag({"-f", "--force"}, "Change a package that may not be written, or whose owner cannot be kept", force);
}

}  // namespace ztpkg::table
