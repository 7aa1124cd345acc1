// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <vector>

#include "cli/CommandTable.hpp"
#include "cli/OptionTable.hpp"
#include "commands/Commands.hpp"

// The commands for keys.
namespace ztpkg::table {
namespace {

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

std::vector<CommandDescription> keyCommands() { return {keygenCommand()}; }

}  // namespace ztpkg::table
