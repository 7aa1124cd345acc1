// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Json.hpp"
#include "cli/Output.hpp"
#include "cli/Progress.hpp"
#include "commands/Commands.hpp"
#include "disk/SourceTree.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/FileSystem.hpp"

/// The steps of the commands that store trees.
namespace ztpkg {

/// What the options say of every source. `package` is the user's text.
SourceTree::Rules sourceRules(StoringOptions const& options, std::string const& package);
/// Of a whole directory, which the user names too.
SourceTree::Rules directoryRules(StoringOptions const& options, std::string const& package,
                                 std::string const& directory);

/// Surveys the tree. A failure names the options that help.
void surveyWithAdvice(SourceTree& tree);

/// The time that replaces the current one in reproducible builds (reproducible-builds.org), if SOURCE_DATE_EPOCH is
/// set.
std::optional<boost::posix_time::ptime> sourceDate();

/// A file that could not be read has no content to replace the old one with: throws Failure with the faults of the
/// source if the package no longer has the path.
void throwIfLost(opc::ztservices::FileSystemManager const& manager, SourceTree const& source,
                 std::u16string const& replaced);

/// The paths under which a listing of the disk could contain the package that is being written.
std::vector<std::u16string> namesOf(std::u16string const& package);

/// Makes the manager read from one tree after the other.
class TreeInTurn final : public opc::FileSystemOpsSelector {
 public:
  explicit TreeInTurn(opc::FileSystemOps& disk) : current_(&disk) {}
  opc::FileSystemOps& getForPath(std::u16string const&) override { return *current_; }
  void take(opc::FileSystemOps& tree) { current_ = &tree; }

 private:
  opc::FileSystemOps* current_;
};

/// Completes the output and throws Failure with what could not be read and was left out, after all else was stored.
void closeAndThrowFaults(std::vector<SourceTree const*> const& trees, Output& out);

/// Prints what the survey of the tree left out.
void printLeftOut(SourceTree const& source, char const* command);

/// What a command that stores trees has done.
struct StoredTotals {
  Entries entries;
  std::optional<std::uint64_t> packageBytes;  ///< absent with --dry-run
  std::chrono::duration<double> time;
};

/// What the survey found, with the bytes that were read.
Entries entriesOf(std::vector<SourceTree const*> const& trees, Progress const& progress);

/// Stores trees, or tries it, and keeps the character sets that their texts were taken for.
class Storing {
 public:
  /// Throws Failure (usage) for an unknown character set. `command` is for messages.
  Storing(StoringOptions const& options, std::string command);

  /// Adds the leaves and folders that the survey of the tree found. An unknown text is stored as it is.
  void add(opc::ztservices::FileSystemManager& manager, SourceTree& source);
  /// Reads the texts of the tree and stores nothing.
  void examine(SourceTree& source, Progress& progress);

  /// If unknown texts are to fail the command, throws Failure with all of them.
  void throwIfRefused() const;
  /// For people: prints what was left out, which texts were not converted, and the listing that the options ask for.
  /// The listing is of the trees and of other paths.
  void print(std::vector<SourceTree const*> const& trees, Output& out,
             std::vector<std::u16string> const& others = {}) const;
  /// For programs: one object with the totals, the same, and with --verbose or --dry-run the entries.
  void printDocument(std::vector<SourceTree const*> const& trees, StoredTotals const& totals, Output& out,
                     std::vector<std::u16string> const& others = {}) const;
  /// The members of that object that list left out and unconverted files.
  void addOmissions(JsonObject& document, std::vector<SourceTree const*> const& trees) const;

 private:
  using TextFinding = opc::ztservices::TextFinding;

  void note(SourceTree const& source, std::u16string const& path, TextFinding const& finding);
  void printText(std::vector<std::u16string> const& paths, Output& out) const;
  std::string json(std::u16string const& path) const;

  StoringOptions options_;
  std::string command_;
  std::map<std::u16string, TextFinding> texts_;        // without a listing only the unknown ones
  std::map<std::u16string, std::u16string> unknowns_;  // the paths on disk of the unknown texts
};

}  // namespace ztpkg
