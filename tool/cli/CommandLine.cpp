// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandLine.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "cli/Completion.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "opc/ztservices/About.hpp"

// The only file that includes CLI11, which is slow to compile. Every value reaches its target as text, without the
// templates of CLI11 for values.
namespace ztpkg {
namespace {

// CLI11 takes "[a,b]" for a list, also where it is the name of a file, and "--title=" for an option without its value.
// A mark in front of such a value keeps it whole.
constexpr char kMark = '\x01';

/// Where a mark belongs: behind the equals sign of a long option, in front of every other argument.
std::size_t valueOf(std::string const& argument) {
  std::size_t const sign = argument.starts_with("--") ? argument.find('=') : argument.npos;
  return sign == argument.npos ? 0 : sign + 1;
}

std::string marked(std::string argument) {
  std::size_t const value = valueOf(argument);
  bool const isMissing = value > 0 && value == argument.size();
  if (isMissing || argument[value] == '[' || argument[value] == kMark) argument.insert(value, 1, kMark);
  return argument;
}

std::string unmarked(std::string argument) {
  std::size_t const value = valueOf(argument);
  if (argument[value] == kMark) argument.erase(value, 1);
  return argument;
}

/// In reverse, as the parser wants them.
std::vector<std::string> markedArguments(int argc, char const* const* argv) {
  std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  std::ranges::reverse(arguments);
  std::ranges::transform(arguments, arguments.begin(), marked);
  return arguments;
}

/// CLI11 refuses an equals sign in a name.
std::string parserName(ArgumentDescription const& argument) {
  std::string name = argument.value.name;
  std::ranges::replace(name, '=', '-');
  return name;
}

std::string joined(std::vector<std::string> const& names) {
  std::string all;
  for (std::string const& name : names) all += (all.empty() ? "" : ",") + name;
  return all;
}

struct Store {
  std::string value;

  void operator()(std::monostate) const {}
  void operator()(bool*) const {}
  void operator()(std::string* target) const { *target = value; }
  void operator()(std::vector<std::string>* target) const { target->push_back(value); }
  void operator()(std::function<void(std::string const&)> const& target) const { target(value); }
};

CLI::callback_t storeIn(Target const& target, std::string const& name) {
  return [&target, &name](CLI::results_t const& given) {
    try {
      for (std::string const& argument : given) std::visit(Store{unmarked(argument)}, target);
      return true;
    } catch (std::invalid_argument const& refusal) {
      throw CLI::ValidationError(name, refusal.what());
    }
  };
}

/// "fast, default or small".
std::string choiceOf(std::vector<WordDescription> const& words) {
  std::string text;
  for (WordDescription const& word : words) {
    char const* const separator = text.empty() ? "" : &word == &words.back() ? " or " : ", ";
    text += separator + word.text;
  }
  return text;
}

/// Why the option refuses the value; empty where it takes it.
std::string faultOf(OptionDescription const& option, std::string const& value) {
  if (option.refusesEmpty && value.empty()) return "must not be empty";
  auto const& words = option.value->words;
  if (option.value->kind == ValueKind::Word && std::ranges::find(words, value, &WordDescription::text) == words.end())
    return "must be " + choiceOf(words) + ", not " + value;
  return "";
}

CLI::Option& addFlag(CLI::App& app, OptionDescription const& option) {
  auto const set = [&option](std::int64_t count) { *std::get<bool*>(option.target) = (count > 0) == option.flagValue; };
  return *app.add_flag_function(joined(option.names), set, option.purpose);
}

CLI::Option& addValued(CLI::App& app, OptionDescription const& option) {
  CLI::Option& added =
      *app.add_option(joined(option.names), storeIn(option.target, option.names.back()), option.purpose);
  // Without extra arguments, or one option would swallow the arguments that follow.
  if (option.isRepeatable) added.expected(CLI::detail::expected_max_vector_size)->allow_extra_args(false);
  added.check([&option](std::string const& value) { return faultOf(option, unmarked(value)); });
  return added;
}

void addOptions(CLI::App& app, CommandDescription const& command) {
  std::multimap<std::string, CLI::Option*> alternatives;
  for (OptionDescription const& option : command.options) {
    if (std::holds_alternative<std::monostate>(option.target)) continue;  // --help and --version
    CLI::Option& added = option.value ? addValued(app, option) : addFlag(app, option);
    if (!option.needs.empty()) added.needs(app.get_option(option.needs));
    if (option.alternatives.empty()) continue;
    auto const [begin, end] = alternatives.equal_range(option.alternatives);
    for (auto other = begin; other != end; ++other) other->second->excludes(&added);
    alternatives.emplace(option.alternatives, &added);
  }
}

void addArguments(CLI::App& app, CommandDescription const& command) {
  for (ArgumentDescription const& argument : command.arguments) {
    CLI::Option& added =
        *app.add_option(parserName(argument), storeIn(argument.target, argument.value.name), argument.purpose);
    if (argument.isRepeatable) added.expected(CLI::detail::expected_max_vector_size);
    added.required(argument.isRequired);
  }
}

void addCommand(CLI::App& app, CommandDescription const& command) {
  addOptions(app, command);
  addArguments(app, command);
  if (!command.commands.empty()) app.require_subcommand(1);
  for (CommandDescription const& below : command.commands) {
    CLI::App& added = *app.add_subcommand(below.words().front(), below.purpose);
    for (std::string const& alias : below.aliases) added.alias(alias);
    addCommand(added, below);
  }
}

/// The command that was parsed, with its name in `name`.
CommandDescription const& commandOf(CLI::App const& app, CommandDescription const& top, std::string& name) {
  CommandDescription const* command = &top;
  for (auto parsed = app.get_subcommands(); !parsed.empty(); parsed = parsed.front()->get_subcommands()) {
    command = command->find(parsed.front()->get_name());
    name += (name.empty() ? "" : " ") + parsed.front()->get_name();
  }
  return *command;
}

bool isQuiet(CommandDescription const& command) {
  auto const isGiven = [](OptionDescription const& option) {
    return option.names.back() == "--quiet" && *std::get<bool*>(option.target);
  };
  return std::ranges::any_of(command.options, isGiven);
}

std::string versions() {
  std::string text = "ztpkg " ZTPKG_VERSION;
  for (auto const& [name, version] : opc::ztservices::getLibraryVersions())
    text.append("\n").append(name).append(" ").append(version);
  return text + "\nCLI11 " CLI11_VERSION "\nnlohmann-json " + jsonLibraryVersion() + "\n";
}

std::string messageOf(CLI::ParseError const& error, CommandDescription const& command) {
  std::string message = error.what();
  std::erase(message, kMark);
  for (ArgumentDescription const& argument : command.arguments)
    if (message == parserName(argument) + " is required") return argument.value.name + " is required";
  return message;
}

[[noreturn]] void throwParseError(std::string message, CommandDescription const& command, int argc,
                                  char const* const* argv) {
  int const next = command.name == "ztpkg" ? 1 : 2;  // where the name of a command should stand
  if (!command.commands.empty() && argc == next) message = "a command is required";
  if (!command.commands.empty() && argc > next && argv[next][0] != '-')
    message = std::string("no command ") + argv[next];
  throwUsage(message + " (see " + command.name + " --help)");
}

std::function<void(Output&)> printing(std::string text) {
  return [text = std::move(text)](Output& out) { out.print(text); };
}

}  // namespace

void parseCommandLine(int argc, char const* const* argv, Invocation& invocation) {
  // Known before anything else, because errors of the command line are reported in this form too.
  invocation.json = std::any_of(argv, argv + argc, [](std::string_view argument) { return argument == "--json"; });
  CommandDescription const top = describeCommandLine();
  if (argc > 1 && std::string_view(argv[1]) == kCompletionCommand) {
    invocation.action = printing(completionsOf(top, {argv + 2, argv + argc}));
    return;
  }
  CLI::App app{top.purpose, top.name};
  app.set_help_flag("-h,--help", "");
  app.set_version_flag("-V,--version", "");
  addCommand(app, top);
  try {
    app.parse(markedArguments(argc, argv));
    CommandDescription const& command = commandOf(app, top, invocation.command);
    if (command.package) invocation.package = *command.package;
    if (invocation.package == "-" && !command.takesPipe)
      throwUsage("PACKAGE: '-' is a pipe, which cannot be changed; ./- is a file of that name");
    invocation.warns = !invocation.json && !isQuiet(command);
    invocation.action = command.action;
  } catch (CLI::CallForVersion const&) {
    invocation.action = printing(versions());
  } catch (CLI::CallForHelp const&) {
    std::string name;
    invocation.action = printing(commandOf(app, top, name).help());
  } catch (CLI::ParseError const& error) {
    CommandDescription const& command = commandOf(app, top, invocation.command);
    throwParseError(messageOf(error, command), command, argc, argv);
  }
}

}  // namespace ztpkg
