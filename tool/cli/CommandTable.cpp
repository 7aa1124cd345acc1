// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "cli/CommandLine.hpp"
#include "commands/Commands.hpp"
#include "commands/Properties.hpp"

// The commands, their options and their help.
namespace ztpkg {
namespace {

using Options = std::vector<OptionDescription>;
using Arguments = std::vector<ArgumentDescription>;

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

ArgumentDescription packageArgument(std::string& target, std::string purpose = "The package") {
  return argument("PACKAGE", std::move(purpose), &target);
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

int descriptorOf(std::string const& text) {
  int descriptor = -1;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), descriptor);
  if (error != std::errc() || end != text.data() + text.size() || descriptor < 0)
    throw std::invalid_argument("must be a number, not " + text);
  return descriptor;
}

opc::model::CompressionLevel levelOf(std::string const& name) {
  using opc::model::CompressionLevel;
  return name == "fast"    ? CompressionLevel::Fast
         : name == "small" ? CompressionLevel::Small
                           : CompressionLevel::Default;
}

constexpr char kForceProtected[] = "Change a package that may not be written, or whose owner cannot be kept";
constexpr char kAsk[] = "Ask for the password on the terminal; the default where one is needed";

/// The sources of a key. An empty name is refused: it would mean no key, and the contents would not be encrypted.
/// `ask` says what --password means to the command.
Options keyOptions(KeyOptions& key, std::string const& ask) {
  PasswordOptions& password = key.password;
  Options options = inGroup(
      "Encryption",
      {valued({"-k", "--key-file"}, "FILE", "The file with the key: 32 bytes or 64 hexadecimal digits", &key.file),
       flag({"-p", "--password"}, ask, password.ask),
       valued({"--password-file"}, "FILE", "The file whose first line is the password", &password.file),
       valued({"--password-env"}, "NAME", "The environment variable with the password", &password.environment),
       valued({"--password-fd"}, "N", "The file descriptor from which a line with the password is read",
              [&password](std::string const& text) { password.descriptor = descriptorOf(text); })});
  for (OptionDescription& option : options) {
    option.refusesEmpty = true;
    option.alternatives = "key";
  }
  return options;
}

/// How texts are stored. `--text-unknown` and `--text-charset` would have no effect alone.
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
  Options all{
      flag({"-n", "--dry-run"}, "Check everything, print the paths that would be stored, and write nothing",
           options.dryRun),
      flag({"-v", "--verbose"}, "Print the paths that are stored, texts with their character sets", options.verbose),
      flag({"--json"}, "Print them as a JSON array of objects, for programs", options.json)};
  all[1].alternatives = all[2].alternatives = "form";
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

CommandDescription packCommand() {
  auto const options = std::make_shared<PackOptions>();
  return {
      .name = "ztpkg pack",
      .purpose = "Store a directory tree in a new package",
      .example = "ztpkg pack photos photos.ztpkg --exclude '*.tmp'",
      .details = {"Stores files with their permissions and times, symbolic links as they are, and empty folders. "
                  "Leaves out sockets, fifos and devices, and PACKAGE itself if it lies in DIR.",
                  "A pattern without a slash is matched with each name of a path ('*.tmp'), one with a slash with the "
                  "path below DIR ('a/*/c', '/top').",
                  "A link that points out of DIR by a relative path is stored, but 'ztpkg unpack' makes it only with "
                  "--allow-outside-links.",
                  "If anything cannot be stored, all such entries are listed and nothing is written. The same tree "
                  "gives the same bytes with --uuid, and --created or the variable SOURCE_DATE_EPOCH."},
      .arguments = {argument("DIR", "The directory whose contents are stored", &options->directory),
                    packageArgument(options->package, "The package to make")},
      .options =
          helpOption() +
          Options{flag({"-f", "--force"}, "Replace a package that exists", options->force),
                  valued({"-x", "--exclude"}, "GLOB",
                         "Leave out what the pattern matches, with everything below it; repeatable", &options->exclude),
                  flag({"--skip-outside-links"},
                       "Leave out links with an absolute target outside DIR, which otherwise fail the command",
                       options->skipOutsideLinks),
                  valued({"-l", "--level"}, "fast|default|small",
                         "How hard to compress: fast, by default, or to a small package",
                         [options](std::string const& name) { options->level = levelOf(name); })} +
          textOptions(*options) + keyOptions(options->key, "Encrypt, and ask for a password on the terminal") +
          inGroup("Encryption",
                  {valued({"--iv"}, "random|deterministic", "How initialization vectors are made: random, or a counter",
                          &options->ivMode),
                   valued({"--iv-prefix"}, "HEX",
                          "The prefix of deterministic vectors: 16 hexadecimal digits, never used before with this key",
                          &options->ivPrefix)}) +
          propertyOptions(options->properties) + listingOptions(*options) +
          progressOptions(options->progress, options->quiet),
      .action = [options](Output& out) { pack(*options, out); },
      .package = &options->package,
  };
}

CommandDescription addCommand() {
  auto const options = std::make_shared<AddOptions>();
  return {
      .name = "ztpkg add",
      .purpose = "Add files, directories and links to a package",
      .example = "ztpkg add photos.ztpkg new/*.jpg --to /2025",
      .details = {"An existing folder takes what is added. A file or link never replaces a folder, and a folder never "
                  "replaces them. Everything is checked first, and the package is changed in one step."},
      .arguments = {packageArgument(options->package),
                    argument("SOURCE", "A file, directory or link to add under its own name", &options->sources)},
      .options = helpOption() +
                 Options{valued({"-t", "--to"}, "PATH",
                                "The folder of the package to add to, created if missing (default: /)", &options->to)} +
                 textOptions(*options) + keyOptions(options->key, kAsk) +
                 Options{flag({"-f", "--force"},
                              "Replace files and links that are in the package, and a package that may not be written",
                              options->force)} +
                 listingOptions(*options) + progressOptions(options->progress, options->quiet),
      .action = [options](Output& out) { add(*options, out); },
      .package = &options->package,
  };
}

CommandDescription removeCommand() {
  auto const options = std::make_shared<RemoveOptions>();
  return {
      .name = "ztpkg remove",
      .purpose = "Remove files, folders and links from a package",
      .example = "ztpkg remove photos.ztpkg /2024/notes.txt --glob '*.tmp'",
      .details = {"If a path does not exist or a pattern matches nothing, nothing is removed. The package is changed "
                  "in one step.",
                  "A pattern without a slash is matched with each name of a path ('*.tmp'), one with a slash with the "
                  "whole path ('/2024/*.txt')."},
      .aliases = {"rm"},
      .arguments = {packageArgument(options->package),
                    optional(argument("PATH", "The entry to remove, a folder with everything below it; never a pattern",
                                      &options->paths))},
      .options = helpOption() +
                 Options{valued({"-g", "--glob"}, "GLOB",
                                "Also remove what the pattern matches, with everything below it; repeatable",
                                &options->patterns)} +
                 keyOptions(options->key, kAsk) +
                 Options{flag({"-f", "--force"}, kForceProtected, options->force),
                         flag({"-q", "--quiet"}, "Print nothing but errors", options->quiet)},
      .action = [options](Output&) { remove(*options); },
      .package = &options->package,
  };
}

CommandDescription unpackCommand() {
  auto const options = std::make_shared<UnpackOptions>();
  return {
      .name = "ztpkg unpack",
      .purpose = "Extract all files of a package, or some, into a directory",
      .example = "ztpkg unpack photos.ztpkg restored /2024 '*.txt'",
      .details = {"A PATH that is no entry and contains '*', '?' or '[' is a pattern; quote it for the shell. Without "
                  "a slash it is matched with each name of a path ('*.txt'), with one with the whole path "
                  "('/2024/*.txt'). A pattern that matches nothing fails the command.",
                  "Before anything is written, the command checks that all contents exist, that nothing is in the way, "
                  "that the disk has room, and that no entry leaves DIR."},
      .arguments = {packageArgument(options->package),
                    argument("DIR", "The directory to extract into, created if missing", &options->directory),
                    optional(argument(
                        "PATH",
                        "Extract only these files, folders or links, with everything below them; may be a pattern",
                        &options->paths))},
      .options =
          helpOption() + keyOptions(options->key, kAsk) +
          Options{
              flag({"--raw"}, "Write contents as they are stored, without decrypting them", options->raw),
              clearing({"--no-restore"}, "Leave times and permissions as the disk gives them", options->restore),
              flag({"-f", "--force"}, "Replace files and links that exist", options->force),
              clearing({"--no-sparse"}, "Write long runs of zeros, of which holes are made otherwise", options->sparse),
              flag({"--allow-outside-links"}, "Also make links that point out of DIR, which otherwise fail the command",
                   options->allowOutsideLinks)} +
          progressOptions(options->progress, options->quiet),
      .action = [options](Output&) { unpack(*options); },
      .package = &options->package,
  };
}

CommandDescription listCommand() {
  auto const options = std::make_shared<ListOptions>();
  CommandDescription command{
      .name = "ztpkg list",
      .purpose = "List the files, folders and links of a package",
      .example = "ztpkg list --long photos.ztpkg",
      .details =
          {"Prints one path per line, sorted. Control characters, and others that could disguise a line, are escaped."},
      .aliases = {"ls"},
      .arguments = {packageArgument(options->package)},
      .options = helpOption() + keyOptions(options->key, kAsk) +
                 Options{flag({"-l", "--long"},
                              "Also print type, permissions, size, stored size, time, link target and content type",
                              options->detailed),
                         flag({"-H", "--human"}, "With --long: print sizes with units, such as 1.2 MB", options->human),
                         flag({"--json"}, "Print a JSON array of objects, for programs", options->json)},
      .action = [options](Output& out) { list(*options, out); },
      .package = &options->package,
  };
  for (OptionDescription& option : command.options) {
    if (option.names.back() == "--long" || option.names.back() == "--json") option.alternatives = "form";
    if (option.names.back() == "--human") option.needs = "--long";
  }
  return command;
}

CommandDescription catCommand() {
  auto const options = std::make_shared<CatOptions>();
  return {
      .name = "ztpkg cat",
      .purpose = "Print the contents of one file of a package",
      .example = "ztpkg cat photos.ztpkg /2024/notes.txt",
      .details = {"Prints the bytes of the file unchanged. PATH may not be a folder or a link."},
      .arguments = {packageArgument(options->package),
                    argument("PATH", "The file's path in the package", &options->path)},
      .options = helpOption() + keyOptions(options->key, kAsk),
      .action = [options](Output& out) { cat(*options, out); },
      .package = &options->package,
  };
}

CommandDescription infoCommand() {
  auto const options = std::make_shared<InfoOptions>();
  return {
      .name = "ztpkg info",
      .purpose = "Describe any package: parts, relationships, properties, file system",
      .example = "ztpkg info --json report.docx",
      .details = {"Works on packages of any kind, with or without files stored by ztpkg. An internal relationship is "
                  "shown with the part that it leads to, an external one as it is written."},
      .arguments = {packageArgument(options->package)},
      .options = helpOption() + Options{flag({"--json"}, "Print one JSON object, for programs", options->json)} +
                 keyOptions(options->key, kAsk) +
                 Options{flag({"--digest"}, "Also print the SHA-256 of each part", options->digest)},
      .action = [options](Output& out) { info(*options, out); },
      .package = &options->package,
  };
}

CommandDescription verifyCommand() {
  auto const options = std::make_shared<VerifyOptions>();
  return {
      .name = "ztpkg verify",
      .purpose = "Read every byte of a package and list all its faults",
      .example = "ztpkg verify photos.ztpkg",
      .details = {"Reads every byte of a package of any kind and lists all faults. With the key or the password it "
                  "authenticates encrypted contents and checks the encrypted manifest like a plain one. Without them "
                  "it checks what can be read, and one line says so. A key that decrypts nothing in the package is an "
                  "error (exit code 4)."},
      .arguments = {packageArgument(options->package)},
      .options = helpOption() + keyOptions(options->key, "Ask for the password on the terminal") +
                 Options{flag({"--json"}, "Print one JSON object, for programs", options->json),
                         flag({"-q", "--quiet"}, "Do not list the faults", options->quiet)},
      .action = [options](Output& out) { verify(*options, out); },
      .package = &options->package,
  };
}

CommandDescription getPropertiesCommand() {
  auto const options = std::make_shared<GetPropertiesOptions>();
  return {
      .name = "ztpkg props get",
      .purpose = "Print the core properties that a package has",
      .example = "ztpkg props get --json report.docx",
      .details = {"Prints one line NAME=VALUE for each property that the package has."},
      .arguments = {packageArgument(options->package)},
      .options = helpOption() + Options{flag({"--json"}, "Print one JSON object, for programs", options->json)},
      .action = [options](Output& out) { getProperties(*options, out); },
      .package = &options->package,
  };
}

CommandDescription setPropertiesCommand() {
  auto const options = std::make_shared<SetPropertiesOptions>();
  return {
      .name = "ztpkg props set",
      .purpose = "Change core properties of a package in place",
      .example = "ztpkg props set report.docx title=Report keywords='spring, rain'",
      .details = {"Sets all properties in one step; the rest of the package stays byte for byte. A package has either "
                  "all of content-type, friendly-name and release or none; it gets a uuid when they are first set. "
                  "These four cannot be removed."},
      .arguments = {packageArgument(options->package),
                    argument("NAME=VALUE",
                             "The property and its new value; an empty value removes any but the first four",
                             &options->assignments)},
      .options = helpOption() + Options{flag({"-f", "--force"}, kForceProtected, options->force)},
      .action = [options](Output&) { setProperties(*options); },
      .package = &options->package,
  };
}

CommandDescription propsCommand() {
  return {
      .name = "ztpkg props",
      .purpose = "Print or change the core properties of any package",
      .example = "ztpkg props set report.docx title=Report",
      .details = {"These are the standard core properties of any package (title, creator and so on), and the extended "
                  "ones: content-type, friendly-name, release and uuid."},
      .options = helpOption(),
      .commands = {getPropertiesCommand(), setPropertiesCommand()},
  };
}

CommandDescription keygenCommand() {
  auto const options = std::make_shared<KeygenOptions>();
  return {
      .name = "ztpkg keygen",
      .purpose = "Make a file with a new random key",
      .example = "ztpkg keygen photos.key",
      .details = {"Never replaces an existing file. Without the file its packages cannot be decrypted."},
      .arguments = {argument("FILE", "The file to create, which only its owner can read", &options->file)},
      .options = helpOption(),
      .action = [options](Output&) { keygen(*options); },
  };
}

}  // namespace

CommandDescription describeCommandLine() {
  return {
      .name = "ztpkg",
      .purpose = "Keep directory trees in packages, and look into packages of any kind",
      .example = "ztpkg pack photos photos.ztpkg",
      .details = {"Data goes to standard output, everything else to standard error. A path in a package is printed "
                  "with its leading slash and may be given without it. Everything after -- is an argument."},
      .options = helpOption() + Options{{.names = {"-V", "--version"},
                                         .purpose = "Print the versions of ztpkg and of its libraries, and exit"}},
      .commands = {packCommand(), addCommand(), removeCommand(), unpackCommand(), listCommand(), catCommand(),
                   infoCommand(), verifyCommand(), propsCommand(), keygenCommand()},
  };
}

}  // namespace ztpkg
