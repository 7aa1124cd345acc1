// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandLine.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

#include "cli/CommandDetails.hpp"
#include "cli/Errors.hpp"
#include "cli/HelpText.hpp"
#include "cli/Json.hpp"
#include "commands/Commands.hpp"
#include "commands/Properties.hpp"
#include "opc/ztservices/About.hpp"

// The one file that sees CLI11, which is slow to compile.
namespace ztpkg {
namespace {

using opc::model::CompressionLevel;

// CLI11 takes "[a,b]" for a list, also where it is the name of a file. A mark in front keeps such arguments whole.
constexpr char kMark = '\x01';
constexpr char const* kPurpose = "Keep directory trees in packages, and look into packages of any kind";

std::vector<std::string> markedArguments(int argc, char const* const* argv) {
  std::vector<std::string> arguments;
  for (int i = argc - 1; i > 0; --i) {  // in reverse, as the parser wants them
    std::string const argument = argv[i];
    bool const isMarked = argument.starts_with('[') || argument.starts_with(kMark);
    arguments.push_back(isMarked ? kMark + argument : argument);
  }
  return arguments;
}

void unmark(std::string& argument) {
  if (argument.starts_with(kMark)) argument.erase(0, 1);
}

void unmark(std::vector<std::string>& arguments) {
  for (std::string& argument : arguments) unmark(argument);
}

void unmark(KeyOptions& key) {
  unmark(key.file);
  unmark(key.password.file);
  unmark(key.password.environment);
}

CompressionLevel levelOf(std::string const& name) {
  if (name == "fast") return CompressionLevel::Fast;
  if (name == "default") return CompressionLevel::Default;
  if (name == "small") return CompressionLevel::Small;
  throw CLI::ValidationError("--level", "must be fast, default or small, not " + name);
}

CLI::App& addCommand(CLI::App& app, std::string const& name, std::string const& purpose, std::string const& example) {
  CLI::App& command = *app.add_subcommand(name, purpose);
  command.footer(example);
  return command;
}

CLI::Option& addPackage(CLI::App& command, std::string& package, std::string const& purpose = "The package") {
  return *command.add_option("PACKAGE", package, purpose)->required();
}

// An empty name would mean no key, and what was to be secret would lie open.
std::string refuseEmpty(std::string const& argument) { return argument.empty() ? "must not be empty" : ""; }

std::string refuseOtherModes(std::string const& mode) {
  return mode == "random" || mode == "deterministic" ? "" : "must be random or deterministic, not " + mode;
}

/// The options that tell where a key comes from; `ask` is what asking for a password means to the command.
void addKey(CLI::App& command, KeyOptions& key, std::string const& ask) {
  CLI::Option* const options[] = {
      command.add_option("-k,--key-file", key.file, "The file with the key: 32 bytes or 64 hexadecimal digits")
          ->type_name("FILE")
          ->check(refuseEmpty),
      command.add_flag("-p,--password", key.password.ask, ask),
      command.add_option("--password-file", key.password.file, "The file whose first line is the password")
          ->type_name("FILE")
          ->check(refuseEmpty),
      command.add_option("--password-env", key.password.environment, "The environment variable with the password")
          ->type_name("NAME")
          ->check(refuseEmpty),
      command
          .add_option("--password-fd", key.password.descriptor,
                      "The file descriptor from which a line with the password is read")
          ->type_name("N")
          ->check(CLI::Validator(CLI::NonNegativeNumber).description(""))};
  for (CLI::Option* const one : options)
    for (CLI::Option* const other : options)
      if (one != other) one->excludes(other);
  for (CLI::Option* const option : options) option->group("Encryption");
}

constexpr char kAsk[] = "Ask for the password on the terminal, as is done where one is needed";

/// An option for each core property.
void addProperties(CLI::App& command, std::shared_ptr<PackOptions> const& options) {
  for (PropertyName const& property : propertyNames())
    command
        .add_option_function<std::string>(
            "--" + property.name,
            [options, name = property.name](std::string value) {
              unmark(value);
              options->properties.emplace_back(name, std::move(value));
            },
            property.purpose)
        ->type_name("TEXT")
        ->group("Properties");
}

void addPack(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<PackOptions>();
  CLI::App& command = addCommand(app, "pack", "Store a directory tree in a new package",
                                 "ztpkg pack photos photos.ztpkg --exclude '*.tmp'");
  command.add_option("DIR", options->directory, "The directory whose contents are stored")->required();
  addPackage(command, options->package, "The package to make");
  command.add_flag("-f,--force", options->force, "Replace a package that exists");
  command
      .add_option("-x,--exclude", options->exclude,
                  "Leave out what the pattern matches, with all that lies below it; may be given several times")
      ->type_name("GLOB")
      ->allow_extra_args(false);  // or one option would swallow DIR and PACKAGE
  command.add_flag("--skip-outside-links", options->skipOutsideLinks,
                   "Leave out links with an absolute target outside DIR, which otherwise fail the command");
  command
      .add_option_function<std::string>(
          "-l,--level", [options](std::string const& name) { options->level = levelOf(name); },
          "How hard to compress: quickly, as usual, or to a small package")
      ->type_name("fast|default|small");
  command.add_flag("--text-to-utf8", options->textToUTF8, "Convert text files (.txt, .tq) to UTF-8");
  addKey(command, options->key, "Encrypt, and ask for a password on the terminal");
  command.add_option("--iv", options->ivMode, "Where initialization vectors come from: chance, or a sequence")
      ->check(refuseOtherModes)
      ->type_name("random|deterministic")
      ->group("Encryption");
  command
      .add_option("--iv-prefix", options->ivPrefix,
                  "The beginning of deterministic ones: 16 hexadecimal digits, never used before with this key")
      ->type_name("HEX")
      ->group("Encryption");
  addProperties(command, options);
  command.add_flag("-n,--dry-run", options->dryRun,
                   "Check everything, print the paths that would be stored, and write nothing");
  command.add_flag("!--no-progress", options->progress, "Show no bar while the work goes on");
  command.add_flag("-q,--quiet", options->quiet, "Print nothing but errors");
  command.callback([&invocation, options] {
    unmark(options->directory);
    unmark(options->package);
    unmark(options->exclude);
    unmark(options->key);
    invocation.package = options->package;
    invocation.action = [options](Output& out) { pack(*options, out); };
  });
}

void addAdd(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<AddOptions>();
  CLI::App& command = addCommand(app, "add", "Add files, directories and links to a package",
                                 "ztpkg add photos.ztpkg new/*.jpg --to /2025");
  addPackage(command, options->package);
  command.add_option("SOURCE", options->sources, "A file, directory or link, which is added under its own name")
      ->required();
  command
      .add_option("-t,--to", options->to, "The folder of the package to add to, made where it is missing (default: /)")
      ->type_name("PATH");
  command.add_flag("--text-to-utf8", options->textToUTF8, "Convert text files (.txt, .tq) to UTF-8");
  addKey(command, options->key, kAsk);
  command.add_flag("-f,--force", options->force, "Replace files and links that are in the package");
  command.add_flag("!--no-progress", options->progress, "Show no bar while the work goes on");
  command.add_flag("-q,--quiet", options->quiet, "Print nothing but errors");
  command.callback([&invocation, options] {
    unmark(options->package);
    unmark(options->sources);
    unmark(options->to);
    unmark(options->key);
    invocation.package = options->package;
    invocation.action = [options](Output&) { add(*options); };
  });
}

void addUnpack(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<UnpackOptions>();
  CLI::App& command = addCommand(app, "unpack", "Extract all files of a package, or some, into a directory",
                                 "ztpkg unpack photos.ztpkg restored /2024 '*.txt'");
  addPackage(command, options->package);
  command.add_option("DIR", options->directory, "The directory to extract into, made where it is missing")->required();
  command.add_option("PATH", options->paths,
                     "Extract only these files, folders or links, with all that lies below them; may be a pattern");
  addKey(command, options->key, kAsk);
  command.add_flag("--raw", options->raw, "Write contents as they are stored, without decrypting them");
  command.add_flag("!--no-restore", options->restore, "Leave times and permissions as the disk gives them");
  command.add_flag("-f,--force", options->force, "Replace files and links that exist");
  command.add_flag("--allow-outside-links", options->allowOutsideLinks,
                   "Also make links that point out of DIR, which otherwise fail the command");
  command.add_flag("!--no-progress", options->progress, "Show no bar while the work goes on");
  command.add_flag("-q,--quiet", options->quiet, "Print nothing but errors");
  command.callback([&invocation, options] {
    unmark(options->package);
    unmark(options->directory);
    unmark(options->paths);
    unmark(options->key);
    invocation.package = options->package;
    invocation.action = [options](Output&) { unpack(*options); };
  });
}

void addRemove(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<RemoveOptions>();
  CLI::App& command = addCommand(app, "remove", "Remove files, folders and links from a package",
                                 "ztpkg remove photos.ztpkg /2024/notes.txt --glob '*.tmp'");
  command.alias("rm");
  addPackage(command, options->package);
  command.add_option("PATH", options->paths,
                     "What is removed, a folder with all that lies below it; never taken for a pattern");
  command
      .add_option("-g,--glob", options->patterns,
                  "Also remove what the pattern matches, with all that lies below it; may be given several times")
      ->type_name("GLOB")
      ->allow_extra_args(false);  // or it would swallow PACKAGE
  addKey(command, options->key, kAsk);
  command.add_flag("-q,--quiet", options->quiet, "Print nothing but errors");
  command.callback([&invocation, options] {
    unmark(options->package);
    unmark(options->paths);
    unmark(options->patterns);
    unmark(options->key);
    if (options->paths.empty() && options->patterns.empty()) throw CLI::RequiredError("PATH or --glob");
    invocation.package = options->package;
    invocation.action = [options](Output&) { remove(*options); };
  });
}

void addVerify(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<VerifyOptions>();
  CLI::App& command =
      addCommand(app, "verify", "Read every byte of a package and list all its faults", "ztpkg verify photos.ztpkg");
  addPackage(command, options->package);
  addKey(command, options->key, "Ask for the password on the terminal");
  command.add_flag("--json", options->json, "Print one JSON object, for programs");
  command.add_flag("-q,--quiet", options->quiet, "Do not list the faults");
  command.callback([&invocation, options] {
    unmark(options->package);
    unmark(options->key);
    invocation.package = options->package;
    invocation.action = [options](Output& out) { verify(*options, out); };
  });
}

void addList(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<ListOptions>();
  CLI::App& command =
      addCommand(app, "list", "List the files, folders and links of a package", "ztpkg list --long photos.ztpkg");
  command.alias("ls");
  addPackage(command, options->package);
  addKey(command, options->key, kAsk);
  CLI::Option* const detailed =
      command.add_flag("-l,--long", options->detailed,
                       "Also print type, permissions, size, stored size, time, link target and content type");
  command.add_flag("-H,--human", options->human, "With --long: sizes as people say them, such as 1.2 MB")
      ->needs(detailed);
  command.add_flag("--json", options->json, "Print a JSON array of objects, for programs")->excludes(detailed);
  command.callback([&invocation, options] {
    unmark(options->package);
    unmark(options->key);
    invocation.package = options->package;
    invocation.action = [options](Output& out) { list(*options, out); };
  });
}

void addCat(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<CatOptions>();
  CLI::App& command =
      addCommand(app, "cat", "Print the contents of one file of a package", "ztpkg cat photos.ztpkg /2024/notes.txt");
  addPackage(command, options->package);
  command.add_option("PATH", options->path, "The file's path in the package")->required();
  addKey(command, options->key, kAsk);
  command.callback([&invocation, options] {
    unmark(options->package);
    unmark(options->path);
    unmark(options->key);
    invocation.package = options->package;
    invocation.action = [options](Output& out) { cat(*options, out); };
  });
}

void addInfo(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<InfoOptions>();
  CLI::App& command = addCommand(app, "info", "Describe any package: parts, relationships, properties, file system",
                                 "ztpkg info --json report.docx");
  addPackage(command, options->package);
  command.add_flag("--json", options->json, "Print one JSON object, for programs");
  addKey(command, options->key, kAsk);
  command.add_flag("--digest", options->digest, "Also print the SHA-256 of each part");
  command.callback([&invocation, options] {
    unmark(options->package);
    unmark(options->key);
    invocation.package = options->package;
    invocation.action = [options](Output& out) { info(*options, out); };
  });
}

void addGetProperties(CLI::App& props, Invocation& invocation) {
  auto const options = std::make_shared<GetPropertiesOptions>();
  CLI::App& command =
      addCommand(props, "get", "Print the core properties that a package has", "ztpkg props get --json report.docx");
  addPackage(command, options->package);
  command.add_flag("--json", options->json, "Print one JSON object, for programs");
  command.callback([&invocation, options] {
    unmark(options->package);
    invocation.package = options->package;
    invocation.action = [options](Output& out) { getProperties(*options, out); };
  });
}

void addSetProperties(CLI::App& props, Invocation& invocation) {
  auto const options = std::make_shared<SetPropertiesOptions>();
  CLI::App& command = addCommand(props, "set", "Change core properties of a package in place",
                                 "ztpkg props set report.docx title=Report keywords='spring, rain'");
  addPackage(command, options->package);
  command
      .add_option("NAME=VALUE", options->assignments,
                  "What to set to which value; an empty value removes a property, but for the first four")
      ->required();
  command.callback([&invocation, options] {
    unmark(options->package);
    unmark(options->assignments);
    invocation.package = options->package;
    invocation.action = [options](Output&) { setProperties(*options); };
  });
}

void addProps(CLI::App& app, Invocation& invocation) {
  CLI::App& command = addCommand(app, "props", "Print or change the core properties of any package",
                                 "ztpkg props set report.docx title=Report");
  command.require_subcommand(1);
  addGetProperties(command, invocation);
  addSetProperties(command, invocation);
}

void addKeygen(CLI::App& app, Invocation& invocation) {
  auto const options = std::make_shared<KeygenOptions>();
  CLI::App& command = addCommand(app, "keygen", "Make a file with a new random key", "ztpkg keygen photos.key");
  command.add_option("FILE", options->file, "The file, which must not exist and which only its owner can read")
      ->required();
  command.callback([&invocation, options] {
    unmark(options->file);
    invocation.action = [options](Output&) { keygen(*options); };
  });
}

std::vector<std::string> namesOf(CLI::Option const& option) {
  std::vector<std::string> names;
  for (std::string const& name : option.get_snames()) names.push_back("-" + name);
  for (std::string const& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

OptionDescription describeOption(CLI::Option const& option) {
  OptionDescription described{namesOf(option), option.get_description(), option.get_group(), {}, false};
  bool const isFlag = option.get_items_expected_max() == 0;
  if (!isFlag) described.value = describeValue(option.get_type_name());
  described.isRepeatable = !isFlag && option.get_items_expected_max() > 1;
  return described;
}

ArgumentDescription describeArgument(CLI::Option const& argument) {
  return {describeValue(argument.get_name(true)), argument.get_description(), argument.get_required(),
          argument.get_items_expected_max() > 1};
}

CommandDescription describe(CLI::App const& app) {
  CommandDescription described;
  described.name = (app.get_parent() == nullptr ? "" : describe(*app.get_parent()).name + " ") + app.get_name();
  described.aliases = app.get_aliases();
  described.purpose = app.get_description();
  described.details = detailsOf(described.name);
  described.example = app.get_footer();
  for (CLI::Option const* option : app.get_options()) {
    if (option->get_positional())
      described.arguments.push_back(describeArgument(*option));
    else
      described.options.push_back(describeOption(*option));
  }
  return described;
}

CommandDescription describeAll(CLI::App const& app) {
  CommandDescription described = describe(app);
  for (CLI::App const* below : app.get_subcommands(nullptr)) described.commands.push_back(describeAll(*below));
  return described;
}

std::string versions() {
  std::string text = "ztpkg " ZTPKG_VERSION;
  for (auto const& [name, version] : opc::ztservices::getLibraryVersions())
    text.append("\n").append(name).append(" ").append(version);
  return text + "\nCLI11 " CLI11_VERSION "\nnlohmann-json " + jsonLibraryVersion();
}

void addAll(CLI::App& app, Invocation& invocation) {
  app.require_subcommand(1);
  app.formatter_fn([](CLI::App const* asked, auto&&...) { return helpText(describeAll(*asked)); });
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.set_version_flag("-V,--version", versions, "Print the versions of ztpkg and of its libraries, and exit");
  app.footer("ztpkg pack photos photos.ztpkg");
  addPack(app, invocation);
  addAdd(app, invocation);
  addRemove(app, invocation);
  addUnpack(app, invocation);
  addList(app, invocation);
  addCat(app, invocation);
  addInfo(app, invocation);
  addVerify(app, invocation);
  addProps(app, invocation);
  addKeygen(app, invocation);
}

std::string commandOf(CLI::App const& app) {
  auto const parsed = app.get_subcommands();
  if (parsed.empty()) return "";
  std::string const below = commandOf(*parsed.front());
  return parsed.front()->get_name() + (below.empty() ? "" : " " + below);
}

[[noreturn]] void throwUsage(std::string const& message, std::string const& command) {
  std::string const help = "ztpkg " + (command.empty() ? "" : command + " ") + "--help";
  throw Failure(Report{Exit::Usage, "usage", message + " (see " + help + ")", {}});
}

}  // namespace

void parseCommandLine(int argc, char const* const* argv, Invocation& invocation) {
  // Known before anything else, so that a wrong command line is reported in the form that was asked for.
  invocation.json = std::any_of(argv, argv + argc, [](std::string_view argument) { return argument == "--json"; });
  CLI::App app{kPurpose, "ztpkg"};
  addAll(app, invocation);
  try {
    app.parse(markedArguments(argc, argv));
    invocation.command = commandOf(app);
  } catch (CLI::Success const& request) {  // --help, --version
    std::ostringstream text;
    app.exit(request, text, text);
    invocation.action = [answer = text.str()](Output& out) { out.print(answer); };
  } catch (CLI::ParseError const& error) {
    invocation.command = commandOf(app);
    std::string message = error.what();
    std::erase(message, kMark);
    int const next = invocation.command.empty() ? 1 : 2;  // where the name of a command should stand
    if (invocation.command.empty() || invocation.command == "props") {
      if (argc == next) message = "a command is required";
      if (argc > next && argv[next][0] != '-') message = std::string("no command ") + argv[next];
    }
    throwUsage(message, invocation.command);
  }
}

CommandDescription describeCommandLine() {
  Invocation unused;
  CLI::App app{kPurpose, "ztpkg"};
  addAll(app, unused);
  return describeAll(app);
}

}  // namespace ztpkg
