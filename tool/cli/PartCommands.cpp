// SPDX-License-Identifier: Apache-2.0
#include "commands/PartCommands.hpp"

#include <memory>
#include <string>
#include <vector>

#include "cli/CommandTable.hpp"
#include "cli/OptionTable.hpp"

// The commands for the parts and relationships of packages of any maker.
namespace ztpkg::table {
namespace {

OptionDescription namesOption(bool& verbose) { return verboseOption("Print the names of the parts", verbose); }
OptionDescription linesOption(bool& verbose) {
  return verboseOption("Print the relationships as 'ztpkg rel list' does", verbose);
}

OptionDescription sourceOption(std::string& source, std::string const& purpose) {
  return valued({"-s", "--source"}, "PART", purpose, &source);
}

CommandDescription listPartsCommand() {
  auto const options = std::make_shared<ListPartsOptions>();
  CommandDescription command{
      .name = "ztpkg part list",
      .purpose = "List the parts of a package",
      .example = "ztpkg part list --long report.docx",
      .details = {"Prints one part name per line, sorted, relationships parts included."},
      .arguments = {packageArgument(options->package)},
      .options =
          helpOption() +
          Options{flag({"-l", "--long"}, "Also print size, stored size and content type, in bytes", options->detailed),
                  flag({"--json"}, "Print a JSON array of objects, for programs", options->json)},
      .action = [options](Output& out) { listParts(*options, out); },
      .package = &options->package,
      .takesPipe = true,
  };
  for (OptionDescription& option : command.options)
    if (option.names.back() != "--help") option.alternatives = "form";
  return command;
}

CommandDescription catPartsCommand() {
  auto const options = std::make_shared<CatPartsOptions>();
  return {
      .name = "ztpkg part cat",
      .purpose = "Print the bytes of parts of a package",
      .example = "ztpkg part cat report.docx /word/document.xml",
      .details = {"Prints the bytes as the package stores them: encrypted contents stay encrypted."},
      .arguments = {packageArgument(options->package),
                    argument("PART", "The name of a part, such as /word/document.xml", &options->parts)},
      .options = helpOption() + Options{besideDataOption(options->json)},
      .action = [options](Output& out) { catParts(*options, out); },
      .package = &options->package,
      .takesPipe = true,
  };
}

CommandDescription putPartCommand() {
  auto const options = std::make_shared<PutPartOptions>();
  return {
      .name = "ztpkg part put",
      .purpose = "Add a part to a package, or replace its bytes",
      .example = "ztpkg part put report.docx /word/document.xml document.xml",
      .details = {"The package is changed in one step, and everything else in it stays byte for byte. A part that is "
                  "replaced keeps its relationships, and its content type unless --type is given."},
      .arguments = {packageArgument(options->package),
                    argument("PART", "The name of the part, such as /word/document.xml", &options->part),
                    argument("FILE", "The file with the bytes; - for standard input", &options->file)},
      .options =
          helpOption() + Options{valued({"-t", "--type"}, "TYPE",
                                        "The content type, such as image/png; needed for a new part", &options->type),
                                 forceOption(options->force), retryOption(options->retryLock),
                                 namesOption(options->verbose), jsonOption(options->json)},
      .action = [options](Output& out) { putPart(*options, out); },
      .package = &options->package,
  };
}

CommandDescription removePartsCommand() {
  auto const options = std::make_shared<RemovePartsOptions>();
  return {
      .name = "ztpkg part remove",
      .purpose = "Remove parts from a package",
      .example = "ztpkg part remove report.docx /docProps/thumbnail.jpeg",
      .details = {"Removes the parts with their own relationships, in one step. Relationships that lead to a removed "
                  "part stay, and are reported."},
      .aliases = {"rm"},
      .arguments = {packageArgument(options->package), argument("PART", "The name of a part", &options->parts)},
      .options = helpOption() + Options{forceOption(options->force), retryOption(options->retryLock),
                                        namesOption(options->verbose), jsonOption(options->json)},
      .action = [options](Output& out) { removeParts(*options, out); },
      .package = &options->package,
  };
}

CommandDescription partCommand() {
  return {
      .name = "ztpkg part",
      .purpose = "List, print, add, replace or remove parts of any package",
      .example = "ztpkg part list report.docx",
      .details = {"A part name is printed with its leading slash and may be given without it."},
      .options = helpOption(),
      .commands = {listPartsCommand(), catPartsCommand(), putPartCommand(), removePartsCommand()},
  };
}

CommandDescription listRelationshipsCommand() {
  auto const options = std::make_shared<ListRelationshipsOptions>();
  return {
      .name = "ztpkg rel list",
      .purpose = "List the relationships of a package and of its parts",
      .example = "ztpkg rel list report.docx --source /word/document.xml",
      .details = {"Prints one line for each: source, id, type and target. An internal target is shown as the part that "
                  "it leads to, an external one as it is written."},
      .arguments = {packageArgument(options->package)},
      .options = helpOption() +
                 Options{sourceOption(options->source, "List those of this part alone; / for the package itself"),
                         flag({"--json"}, "Print a JSON array of objects, for programs", options->json)},
      .action = [options](Output& out) { listRelationships(*options, out); },
      .package = &options->package,
      .takesPipe = true,
  };
}

CommandDescription addRelationshipCommand() {
  auto const options = std::make_shared<AddRelationshipOptions>();
  return {
      .name = "ztpkg rel add",
      .purpose = "Add a relationship to a package or to one of its parts",
      .example = "ztpkg rel add report.docx http://example.com/types/note /notes/1.xml",
      .details = {"Prints the id of the relationship. The package is changed in one step."},
      .arguments = {packageArgument(options->package),
                    argument("TYPE", "The URI that names the role of the target", &options->type),
                    argument("TARGET", "The name of a part, perhaps relative to the source; a URI with --external",
                             &options->target)},
      .options = helpOption() +
                 Options{sourceOption(options->source,
                                      "The part that the relationship starts from (default: /, the "
                                      "package)"),
                         valued({"--id"}, "ID", "Its id (default: the first free one of rId1, rId2 ...)", &options->id),
                         flag({"--external"}, "TARGET lies outside the package", options->external),
                         forceOption(options->force), retryOption(options->retryLock), linesOption(options->verbose),
                         jsonOption(options->json)},
      .action = [options](Output& out) { addRelationship(*options, out); },
      .package = &options->package,
  };
}

CommandDescription removeRelationshipsCommand() {
  auto const options = std::make_shared<RemoveRelationshipsOptions>();
  return {
      .name = "ztpkg rel remove",
      .purpose = "Remove relationships from a package or from one of its parts",
      .example = "ztpkg rel remove report.docx rId7 --source /word/document.xml",
      .details = {"Removes the relationships and not the parts that they lead to, in one step."},
      .aliases = {"rm"},
      .arguments = {packageArgument(options->package), argument("ID", "The id of a relationship", &options->ids)},
      .options = helpOption() +
                 Options{sourceOption(options->source, "The part that they start from (default: /, the package)"),
                         forceOption(options->force), retryOption(options->retryLock), linesOption(options->verbose),
                         jsonOption(options->json)},
      .action = [options](Output& out) { removeRelationships(*options, out); },
      .package = &options->package,
  };
}

CommandDescription relCommand() {
  return {
      .name = "ztpkg rel",
      .purpose = "List, add or remove relationships of any package",
      .example = "ztpkg rel list report.docx",
      .details = {"A relationship leads from the package, or from a part, to a part or to a place outside."},
      .options = helpOption(),
      .commands = {listRelationshipsCommand(), addRelationshipCommand(), removeRelationshipsCommand()},
  };
}

CommandDescription explodeCommand() {
  auto const options = std::make_shared<ExplodeOptions>();
  return {
      .name = "ztpkg explode",
      .purpose = "Write each part of any package as a file",
      .example = "ztpkg explode report.docx report",
      .details = {"Writes the parts below DIR/parts under their names, and DIR/package.json with their content types "
                  "and all relationships. 'ztpkg implode' makes an equal package of them.",
                  "A part whose name no disk can hold is written to DIR/escaped under a number."},
      .arguments = {packageArgument(options->package),
                    argument("DIR", "The directory to write to, created if missing", &options->directory)},
      .options = helpOption() +
                 Options{flag({"-f", "--force"}, "Write to a directory that is not empty, and replace files in it",
                              options->force),
                         jsonOption(options->json), namesOption(options->verbose),
                         flag({"-q", "--quiet"}, "Print nothing but errors", options->quiet)},
      .action = [options](Output& out) { explode(*options, out); },
      .package = &options->package,
      .takesPipe = true,
  };
}

CommandDescription implodeCommand() {
  auto const options = std::make_shared<ImplodeOptions>();
  return {
      .name = "ztpkg implode",
      .purpose = "Make a package of the files that 'ztpkg explode' has written",
      .example = "ztpkg implode report report.docx",
      .details = {"Stores the parts and relationships that DIR/package.json names. No link is followed, and no file "
                  "outside of DIR is read."},
      .arguments = {argument("DIR", "The directory with package.json", &options->directory),
                    packageArgument(options->package, "The package to make")},
      .options = helpOption() + Options{flag({"-f", "--force"}, "Replace a package that exists", options->force),
                                        jsonOption(options->json), namesOption(options->verbose),
                                        flag({"-q", "--quiet"}, "Print nothing but errors", options->quiet)},
      .action = [options](Output& out) { implode(*options, out); },
      .package = &options->package,
      .takesPipe = true,
  };
}

}  // namespace

std::vector<CommandDescription> partCommands() {
  return {partCommand(), relCommand(), explodeCommand(), implodeCommand()};
}

}  // namespace ztpkg::table
