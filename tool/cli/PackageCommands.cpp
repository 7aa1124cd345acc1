// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <vector>

#include "cli/CommandTable.hpp"
#include "cli/OptionTable.hpp"
#include "commands/Commands.hpp"

// The commands for packages of any kind.
namespace ztpkg::table {
namespace {

CommandDescription infoCommand() {
  auto const options = std::make_shared<InfoOptions>();
  return {
      .name = "ztpkg info",
      .purpose = "Describe any package: parts, relationships, properties, file system",
      .example = "ztpkg info --json report.docx",
      .details = {"Works on packages of any kind, with or without files stored by ztpkg. An internal relationship is "
                  "shown with the part that it leads to, an external one as it is written."},
      .arguments = {packageArgument(options->package)},
      .options = helpOption() + Options{jsonOption(options->json)} + keyOptions(options->key) +
                 Options{flag({"--digest"}, "Also print the SHA-256 of each part", options->digest),
                         valued({"--treemap"}, "FILE", "Draw where the bytes are to a new SVG file", &options->treemap),
                         quietOption(options->quiet)},
      .action = [options](Output& out) { info(*options, out); },
      .package = &options->package,
      .takesPipe = true,
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
                 Options{jsonOption(options->json), flag({"-q", "--quiet"}, "Do not list the faults", options->quiet)},
      .action = [options](Output& out) { verify(*options, out); },
      .package = &options->package,
      .takesPipe = true,
  };
}

CommandDescription repairCommand() {
  auto const options = std::make_shared<RepairCommandOptions>();
  return {
      .name = "ztpkg repair",
      .purpose = "Save what is sound in a damaged package to a new one",
      .example = "ztpkg repair broken.ztpkg saved.ztpkg",
      .details = {"Saves every part whose length and CRC are right, also of a package that is cut off or has lost its "
                  "directory, and lists what is lost. Contents that no entry of the file system names get a path below "
                  "/lost+found. PACKAGE is only read. Exits with 1 if anything is lost.",
                  "The manifest of an encrypted file system can be repaired with the key or the password alone."},
      .arguments = {packageArgument(options->package, "The damaged package"),
                    argument("NEW", "The package to make; nothing may have that name", &options->target)},
      .options =
          helpOption() + keyOptions(options->key, "Ask for the password on the terminal") +
          Options{verboseOption("Also print the names of the parts that are saved", options->verbose),
                  jsonOption(options->json), flag({"-q", "--quiet"}, "Do not list what is lost", options->quiet)},
      .action = [options](Output& out) { repair(*options, out); },
      .package = &options->package,
      .takesPipe = true,
  };
}

}  // namespace

std::vector<CommandDescription> packageCommands() { return {infoCommand(), verifyCommand(), repairCommand()}; }

}  // namespace ztpkg::table
