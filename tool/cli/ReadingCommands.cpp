// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>
#include <vector>

#include "cli/CommandTable.hpp"
#include "cli/Errors.hpp"
#include "cli/OptionTable.hpp"
#include "commands/Commands.hpp"

// The commands that read the trees in packages.
namespace ztpkg::table {
namespace {

/// Without a directory the argument in its place is the first path.
void placeDirectory(UnpackOptions& options) {
  if (options.directory.empty() && !options.toOutput) throwUsage("DIR is required (see ztpkg unpack --help)");
  if (options.toOutput && options.verbose) throwUsage("--verbose excludes --stdout (see ztpkg unpack --help)");
  if (options.directory.empty() || !options.toOutput) return;
  options.paths.insert(options.paths.begin(), options.directory);
  options.directory.clear();
}

CommandDescription unpackCommand() {
  auto const options = std::make_shared<UnpackOptions>();
  CommandDescription command{
      .name = "ztpkg unpack",
      .purpose = "Extract all files of a package, or some, into a directory",
      .example = "ztpkg unpack photos.ztpkg restored /2024 '*.txt'",
      .details = {"A PATH that is no entry and contains '*', '?' or '[' is a pattern; quote it for the shell. Without "
                  "a slash it is matched with each name of a path ('*.txt'), with one with the whole path "
                  "('/2024/*.txt'). A pattern that matches nothing fails the command.",
                  "Before anything is written, the command checks that all contents exist, that nothing is in the way, "
                  "that the disk has room, and that no entry leaves DIR."},
      .arguments = {packageArgument(options->package),
                    optional(argument("DIR", "The directory to extract into, created if missing; none with --stdout",
                                      &options->directory)),
                    optional(argument(
                        "PATH",
                        "Extract only these files, folders or links, with everything below them; may be a pattern",
                        &options->paths))},
      .options =
          helpOption() + keyOptions(options->key) + excludeOptions(options->exclude) + namesOptions(*options) +
          Options{
              flag({"-u", "--update"},
                   "Extract only what differs from DIR in size, time, permissions or target, and replace it",
                   options->update),
              flag({"--delete"}, "With --update: remove files, links and empty folders of DIR that the package has not",
                   options->removesExtra),
              flag({"-O", "--stdout"}, "Print the contents of the files, one after the other, and make nothing",
                   options->toOutput),
              flag({"--skip-existing"}, "Leave alone what exists, and extract the rest", options->skipExisting),
              flag({"--raw"}, "Write contents as they are stored, without decrypting them", options->raw),
              clearing({"--no-restore"}, "Leave times and permissions as the disk gives them", options->restore),
              flag({"-f", "--force"}, "Replace files and links that exist", options->force),
              clearing({"--no-sparse"}, "Write long runs of zeros, of which holes are made otherwise", options->sparse),
              flag({"--allow-outside-links"}, "Also make links that point out of DIR, which otherwise fail the command",
                   options->allowOutsideLinks),
              verboseOption("Print the paths that are extracted", options->verbose), jsonOption(options->json)} +
          progressOptions(options->progress, options->quiet),
      .action =
          [options](Output& out) {
            placeDirectory(*options);
            takePaths(*options, options->paths, options->package);
            unpack(*options, out);
          },
      .package = &options->package,
      .takesPipe = true,
  };
  for (OptionDescription& option : command.options) {
    if (option.names.back() == "--delete") option.needs = "--update";
    std::string const& name = option.names.back();
    if (name == "--update" || name == "--skip-existing" || name == "--stdout") option.alternatives = "existing";
  }
  return command;
}

CommandDescription listCommand() {
  auto const options = std::make_shared<ListOptions>();
  CommandDescription command{
      .name = "ztpkg list",
      .purpose = "List the files, folders and links of a package",
      .example = "ztpkg list --long photos.ztpkg",
      .details =
          {"Prints one path per line, sorted. Control characters, and others that could disguise a line, are escaped.",
           "A PATH that is no entry and contains '*', '?' or '[' is a pattern; quote it for the shell."},
      .aliases = {"ls"},
      .arguments = {packageArgument(options->package),
                    optional(argument(
                        "PATH", "List only these files, folders or links, with everything below them; may be a pattern",
                        &options->paths))},
      .options =
          helpOption() + keyOptions(options->key) + namesOptions(*options) +
          Options{flag({"-l", "--long"},
                       "Also print type, permissions, size, stored size, time, link target and content type",
                       options->detailed),
                  flag({"-H", "--human"}, "With --long: print sizes with units, such as 1.2 MB", options->human),
                  flag({"--tree"}, "Print names below each other, indented as the folders are nested", options->tree),
                  valued({"--depth"}, "N", "Leave out entries whose paths have more than N names",
                         [options](std::string const& text) { options->depth = numberOf(text); }),
                  valued({"--sort"}, "name|size|time", "By path, or largest or newest first", &options->sort),
                  flag({"--total"}, "Print the numbers of entries and of bytes in a last line", options->total),
                  flag({"--json"}, "Print a JSON array of objects, for programs", options->json),
                  quietOption(options->quiet)},
      .action =
          [options](Output& out) {
            takePaths(*options, options->paths, options->package);
            list(*options, out);
          },
      .package = &options->package,
      .takesPipe = true,
  };
  for (OptionDescription& option : command.options) {
    if (option.names.back() == "--long" || option.names.back() == "--json" || option.names.back() == "--tree")
      option.alternatives = "form";
    if (option.names.back() == "--human") option.needs = "--long";
  }
  return command;
}

CommandDescription catCommand() {
  auto const options = std::make_shared<CatOptions>();
  return {
      .name = "ztpkg cat",
      .purpose = "Print the contents of files of a package",
      .example = "ztpkg cat photos.ztpkg /2024/notes.txt",
      .details = {"Prints the bytes of the files unchanged, one file after the other. PATH may not be a folder or a "
                  "link; a pattern stands for the files that it matches, and for those below a folder that it "
                  "matches."},
      .arguments = {packageArgument(options->package),
                    optional(argument("PATH", "A file's path in the package, or a pattern", &options->paths))},
      .options = helpOption() + keyOptions(options->key) + namesOptions(*options) +
                 Options{besideDataOption(options->json), quietOption(options->quiet)},
      .action =
          [options](Output& out) {
            if (options->meansAll(options->paths)) throwUsage("PATH is required (see ztpkg cat --help)");
            takePaths(*options, options->paths, options->package);
            cat(*options, out);
          },
      .package = &options->package,
      .takesPipe = true,
  };
}

CommandDescription diffCommand() {
  auto const options = std::make_shared<DiffOptions>();
  CommandDescription command{
      .name = "ztpkg diff",
      .purpose = "Compare a package with a directory or with another package",
      .example = "ztpkg diff photos.ztpkg photos",
      .details = {"Prints a line for each entry that differs: A for one that OTHER has and PACKAGE has not, D for one "
                  "that PACKAGE alone has, M for other contents, permissions, time or link target, T for another kind "
                  "of entry. Permissions and times of folders and links do not count.",
                  "Packages without a file system, such as office documents, are compared part by part: content types, "
                  "relationships, and the contents, of XML what it says and not how it is written.",
                  "The exit code is 0 if nothing differs and 1 if something does. A PATH with '*', '?' or '[' may be a "
                  "pattern."},
      .arguments = {packageArgument(options->package),
                    argument("OTHER", "A directory or package; - for standard input", &options->other),
                    optional(argument("PATH",
                                      "Compare only these files, folders or links, with everything below them; may be "
                                      "a pattern",
                                      &options->paths))},
      .options =
          helpOption() + keyOptions(options->key) + excludeOptions(options->exclude) + namesOptions(*options) +
          Options{oneFileSystemOption(options->oneFileSystem), skipOutsideLinksOption(options->skipOutsideLinks),
                  checksumOption(options->checksum),
                  flag({"--parts"}, "Compare two packages part by part, also those with a file system", options->parts),
                  flag({"--raw"}, "Compare XML parts by their bytes", options->raw),
                  verboseOption("Also print what differs", options->verbose),
                  flag({"--json"}, "Print a JSON array of objects, for programs", options->json)} +
          progressOptions(options->progress, options->quiet),
      .action =
          [options](Output& out) {
            takePaths(*options, options->paths, options->package == "-" ? options->package : options->other);
            diff(*options, out);
          },
      .package = &options->package,
      .takesPipe = true,
  };
  for (OptionDescription& option : command.options)
    if (option.names.back() == "--verbose" || option.names.back() == "--json") option.alternatives = "form";
  return command;
}

}  // namespace

std::vector<CommandDescription> readingCommands() {
  return {unpackCommand(), listCommand(), catCommand(), diffCommand()};
}

}  // namespace ztpkg::table
