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
      .options = helpOption() + Options{jsonOption(options->json)},
      .action = [options](Output& out) { keygen(*options, out); },
  };
}

CommandDescription rekeyCommand() {
  auto const options = std::make_shared<RekeyCommandOptions>();
  return {
      .name = "ztpkg rekey",
      .purpose = "Give a package another key or password, encrypt it, or make it plain",
      .example = "ztpkg rekey photos.ztpkg --key-file old.key --new-key-file new.key",
      .details = {"Encrypts all contents, names and the manifest anew, in one step. A package that is not encrypted "
                  "needs no old key. Everything else in the package stays as it is.",
                  "Copies and backups of the old package stay readable with the old key."},
      .arguments = {packageArgument(options->package)},
      .options = helpOption() + keyOptions(options->key) +
                 newKeyOptions(options->newKey, "new-", "Ask for the new password on the terminal") +
                 Options{flag({"--to-plain"}, "Store contents and manifest without encryption", options->toPlain),
                         flag({"-f", "--force"},
                              "Do not ask before --to-plain; also change a package that may not be written, or whose "
                              "owner cannot be kept",
                              options->force),
                         retryOption(options->retryLock),
                         verboseOption("Print the paths of the files that are stored anew", options->verbose),
                         jsonOption(options->json)} +
                 progressOptions(options->progress, options->quiet),
      .action = [options](Output& out) { rekey(*options, out); },
      .package = &options->package,
  };
}

}  // namespace

std::vector<CommandDescription> keyCommands() { return {keygenCommand(), rekeyCommand()}; }

}  // namespace ztpkg::table
