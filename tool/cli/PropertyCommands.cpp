// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <vector>

#include "cli/CommandTable.hpp"
#include "cli/OptionTable.hpp"
#include "commands/Commands.hpp"

// The commands for core properties.
namespace ztpkg::table {
namespace {

CommandDescription getPropertiesCommand() {
  auto const options = std::make_shared<GetPropertiesOptions>();
  return {
      .name = "ztpkg props get",
      .purpose = "Print the core properties that a package has",
      .example = "ztpkg props get --json report.docx",
      .details = {"Prints one line NAME=VALUE for each property that the package has."},
      .arguments = {packageArgument(options->package)},
      .options = helpOption() + Options{jsonOption(options->json)},
      .action = [options](Output& out) { getProperties(*options, out); },
      .package = &options->package,
      .takesPipe = true,
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
      .options = helpOption() + Options{forceOption(options->force), retryOption(options->retryLock),
                                        verboseOption("Print the properties that are set, as 'ztpkg props get' does",
                                                      options->verbose),
                                        jsonOption(options->json)},
      .action = [options](Output& out) { setProperties(*options, out); },
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

}  // namespace

std::vector<CommandDescription> propertyCommands() { return {propsCommand()}; }

}  // namespace ztpkg::table
