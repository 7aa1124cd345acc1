// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandTable.hpp"

#include <utility>
#include <vector>

#include "cli/CommandLine.hpp"
#include "cli/OptionTable.hpp"

namespace ztpkg {
namespace {

std::vector<CommandDescription> commandsOfAllFamilies() {
  std::vector<CommandDescription> all;
  for (auto* const family : {table::treeCommands, table::readingCommands, table::packageCommands, table::partCommands,
                             table::propertyCommands, table::keyCommands})
    for (CommandDescription& command : family()) all.push_back(std::move(command));
  return all;
}

}  // namespace

CommandDescription describeCommandLine() {
  using table::operator+;
  return {
      .name = "ztpkg",
      .purpose = "Keep directory trees in packages, and look into packages of any kind",
      .example = "ztpkg pack photos photos.ztpkg",
      .details = {"Data goes to standard output, everything else to standard error. A path in a package is printed "
                  "with its leading slash and may be given without it. Everything after -- is an argument."},
      .options = table::helpOption() +
                 table::Options{{.names = {"-V", "--version"},
                                 .purpose = "Print the versions of ztpkg and of its libraries, and exit"}},
      .commands = commandsOfAllFamilies(),
  };
}

}  // namespace ztpkg
