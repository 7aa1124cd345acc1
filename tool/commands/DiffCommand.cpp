// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "commands/Commands.hpp"
#include "commands/Differences.hpp"
#include "commands/PartComparison.hpp"
#include "commands/Storing.hpp"
#include "disk/Comparison.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/PathFilter.hpp"
#include "disk/Paths.hpp"
#include "disk/SourceTree.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemManager;

/// A package to read, with its file system loaded.
struct ReadFileSystem {
  ReadFileSystem(std::unique_ptr<opc::model::Package> opened, std::string const& path, KeyOptions const& key)
      : package(std::move(opened)), manager(*package) {
    requireFileSystem(*package, path);
    enableDecryption(manager, key, path);
    load(manager, path);
    throwIfTooDeep(measureEntries(manager), path);
  }

  std::unique_ptr<opc::model::Package> package;
  FileSystemManager manager;
};

DifferenceListing::Form formOf(DiffOptions const& options) {
  using Form = DifferenceListing::Form;
  if (options.json) return Form::Json;
  if (options.quiet) return Form::None;
  return options.verbose ? Form::DetailedLines : Form::Lines;
}

/// Whether they differ.
bool printDifferences(ReadFileSystem& package, OtherTree& other, PathFilter& filter, DiffOptions const& options,
                      Output& out) {
  DifferenceListing listing(formOf(options), out);
  ComparisonRules const rules{.readContents = options.checksum,
                              .isWanted = [&](std::u16string const& path) { return filter.has(path); },
                              .isConverted = {},
                              .slashless = SlashlessPaths::FromRoot};
  compareTrees(package.manager, other, rules, [&](Difference const& difference) { listing.print(difference); });
  listing.finish();
  filter.throwIfUnmatched();
  return !listing.isEmpty();
}

bool diffDirectory(DiffOptions const& options, PathFilter& filter, Output& out) {
  if (options.parts || options.raw) throwUsage("--parts and --raw compare two packages, and OTHER is a directory");
  ReadFileSystem package(openPackage(options.package), options.package, options.key);
  StoringOptions reading;
  reading.oneFileSystem = options.oneFileSystem;
  reading.skipOutsideLinks = options.skipOutsideLinks;
  SourceTree::Rules rules = directoryRules(reading, options.package, options.other);
  rules.exclude = filter.excluded();
  opc::LocalFileSystemOps disk;
  Progress progress(options.progress && !options.quiet);
  SourceTree source(disk, existingDirectory(fromArgument(options.other)), std::move(rules), progress);
  surveyWithAdvice(source);
  if (options.checksum) progress.expect({source.fileCount(), source.fileBytes()});
  DirectoryTree other(source, progress);
  bool const differ = printDifferences(package, other, filter, options, out);
  progress.finish();
  if (!options.quiet && !options.json) printLeftOut(source, "diff");
  return differ;
}

/// Whether they differ.
bool printPartDifferences(opc::model::Package const& package, opc::model::Package const& other, PathFilter& filter,
                          DiffOptions const& options, Output& out) {
  PartComparisonRules const rules{.rawXml = options.raw,
                                  .isWanted = [&](std::u16string const& part) { return filter.has(part); }};
  std::vector<PartDifference> const differences = compareParts(package, other, rules);
  filter.throwIfUnmatched();
  DifferenceListing listing(formOf(options), out);
  for (PartDifference const& difference : differences) listing.print(difference);
  listing.finish();
  return !listing.isEmpty();
}

/// The trees of packages that have any; otherwise, or if the user wants it, the parts.
bool diffPackage(DiffOptions const& options, PathFilter& filter, Output& out) {
  if (options.oneFileSystem || options.skipOutsideLinks)
    throwUsage("--one-file-system and --skip-outside-links are for a directory, and OTHER is a package");
  auto package = openPackage(options.package), other = openPackage(options.other);
  if (options.parts || (!hasFileSystem(*package) && !hasFileSystem(*other)))
    return printPartDifferences(*package, *other, filter, options, out);
  if (options.raw) throwUsage("--raw compares parts: --parts is needed for packages with a file system");
  options.key.memory->keeps = true;  // for the second package
  ReadFileSystem tree(std::move(package), options.package, options.key);
  ReadFileSystem otherFileSystem(std::move(other), options.other, options.key);
  PackageTree otherTree(otherFileSystem.manager);
  return printDifferences(tree, otherTree, filter, options, out);
}

bool diffAny(DiffOptions const& options, Output& out) {
  if (options.package == "-" && options.other == "-") throwUsage("OTHER: standard input is PACKAGE already");
  boost::system::error_code error;
  PathFilter filter(options.paths, options.exclude, options);
  bool const isDirectoryGiven = options.other != "-" && isDirectory(fromArgument(options.other), error);
  return isDirectoryGiven ? diffDirectory(options, filter, out) : diffPackage(options, filter, out);
}

/// Exit code 1 says that there are differences, so that it cannot say that a package is damaged.
[[noreturn]] void throwTrouble(std::vector<Report> reports) {
  for (Report& report : reports)
    if (report.exit == Exit::Package) report.exit = Exit::Usage;
  throw Failure(std::move(reports));
}

}  // namespace

void diff(DiffOptions const& options, Output& out) {
  bool differ = false;
  try {
    differ = diffAny(options, out);
  } catch (Failure const& failure) {
    throwTrouble(failure.reports());
  } catch (Interrupted const&) {
    throw;
  } catch (std::exception const&) {
    throwTrouble(describe(std::current_exception(), fromArgument(options.package)));
  }
  out.close();
  if (differ) throw Ended(Exit::Package);
}

}  // namespace ztpkg
