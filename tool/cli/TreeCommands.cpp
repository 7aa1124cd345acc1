// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>
#include <vector>

#include "cli/CommandTable.hpp"
#include "cli/Errors.hpp"
#include "cli/OptionTable.hpp"
#include "commands/Commands.hpp"

// The commands that make packages of trees, and change the trees in them.
namespace ztpkg::table {
namespace {

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
          helpOption() + Options{flag({"-f", "--force"}, "Replace a package that exists", options->force)} +
          sourceOptions(*options) + namesOptions(*options, "paths below DIR, of what is stored,") +
          textOptions(*options) + newKeyOptions(options->key, "", "Encrypt, and ask for a password on the terminal") +
          inGroup("Encryption",
                  {valued({"--iv"}, "random|deterministic", "How initialization vectors are made: random, or a counter",
                          &options->ivMode),
                   valued({"--iv-prefix"}, "HEX",
                          "The prefix of deterministic vectors: 16 hexadecimal digits, never used before with this key",
                          &options->ivPrefix)}) +
          propertyOptions(options->properties) + listingOptions(*options) +
          progressOptions(options->progress, options->quiet),
      .action =
          [options](Output& out) {
            takePaths(*options, options->paths, "");
            pack(*options, out);
          },
      .package = &options->package,
      .takesPipe = true,
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
                    optional(argument("SOURCE",
                                      "A file, directory or link to add under its own name; - for standard input",
                                      &options->sources))},
      .options =
          helpOption() +
          Options{valued({"-t", "--to"}, "PATH", "The folder of the package to add to, created if missing (default: /)",
                         &options->to),
                  valued({"--as"}, "NAME", "The name that standard input gets, perhaps in a folder", &options->as),
                  flag({"--create"}, "Give a package without a file system one, such as an office document",
                       options->create)} +
          sourceOptions(*options) + namesOptions(*options, "SOURCEs") + textOptions(*options) +
          keyOptions(options->key) +
          inGroup("Encryption", {flag({"--compress"},
                                      "Compress contents before they are encrypted; the default where those of "
                                      "the package are",
                                      options->key.compress)}) +
          Options{flag({"-f", "--force"},
                       "Replace files and links that are in the package, and a package that may not be written",
                       options->force),
                  retryOption(options->retryLock)} +
          listingOptions(*options) + progressOptions(options->progress, options->quiet),
      .action =
          [options](Output& out) {
            if (options->meansAll(options->sources)) throwUsage("SOURCE is required (see ztpkg add --help)");
            takeSources(*options, options->sources);
            add(*options, out);
          },
      .package = &options->package,
  };
}

CommandDescription updateCommand() {
  auto const options = std::make_shared<UpdateOptions>();
  return {
      .name = "ztpkg update",
      .purpose = "Make a package equal to a directory",
      .example = "ztpkg update --delete photos.ztpkg photos",
      .details = {"Stores what 'ztpkg diff' finds added or modified, and leaves everything else as it is stored. The "
                  "package is changed in one step; if nothing differs, nothing is written.",
                  "Without --delete, entries that the directory does not have stay."},
      .arguments = {packageArgument(options->package),
                    argument("DIR", "The directory that the package is to hold", &options->directory),
                    optional(argument("PATH",
                                      "Update only these files, folders or links, with everything below them; may be "
                                      "a pattern",
                                      &options->paths))},
      .options = helpOption() +
                 Options{flag({"--delete"}, "Remove entries that the directory does not have", options->removesMissing),
                         checksumOption(options->checksum)} +
                 sourceOptions(*options) + namesOptions(*options) + textOptions(*options) + keyOptions(options->key) +
                 Options{forceOption(options->force), retryOption(options->retryLock)} + listingOptions(*options) +
                 progressOptions(options->progress, options->quiet),
      .action =
          [options](Output& out) {
            takePaths(*options, options->paths, options->package);
            update(*options, out);
          },
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
                 namesOptions(*options) + keyOptions(options->key) +
                 Options{forceOption(options->force), retryOption(options->retryLock),
                         verboseOption("Print the paths that are removed", options->verbose), jsonOption(options->json),
                         flag({"-q", "--quiet"}, "Print nothing but errors", options->quiet)},
      .action =
          [options](Output& out) {
            takePaths(*options, options->paths, options->package);
            remove(*options, out);
          },
      .package = &options->package,
  };
}

CommandDescription moveCommand() {
  auto const options = std::make_shared<MoveOptions>();
  return {
      .name = "ztpkg move",
      .purpose = "Rename or move a file, link or folder in a package",
      .example = "ztpkg move photos.ztpkg /2024/draft /2025/final",
      .details = {"A folder moves with everything below it. If TO is an existing folder, or ends in a slash, the entry "
                  "keeps its name in that folder; missing folders are created. No content is read or written, so "
                  "moving takes no longer for large files. The package is changed in one step.",
                  "Links keep their targets, and links that lead to the entry are not changed."},
      .aliases = {"mv"},
      .arguments = {packageArgument(options->package), argument("FROM", "The path of the entry", &options->from),
                    argument("TO", "Its new path, or the folder to move it to", &options->to)},
      .options =
          helpOption() + keyOptions(options->key) +
          Options{flag({"-f", "--force"},
                       "Replace a file or link that is at TO, and change a package that may not be written",
                       options->force),
                  retryOption(options->retryLock),
                  verboseOption("Print the paths of the files, links and empty folders that move, old and new",
                                options->verbose),
                  jsonOption(options->json), flag({"-q", "--quiet"}, "Print nothing but errors", options->quiet)},
      .action = [options](Output& out) { move(*options, out); },
      .package = &options->package,
  };
}

}  // namespace

std::vector<CommandDescription> treeCommands() {
  return {packCommand(), addCommand(), updateCommand(), removeCommand(), moveCommand()};
}

}  // namespace ztpkg::table
