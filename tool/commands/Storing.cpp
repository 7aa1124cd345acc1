// SPDX-License-Identifier: Apache-2.0
#include "commands/Storing.hpp"

#include <algorithm>
#include <boost/date_time/posix_time/conversion.hpp>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <ios>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "disk/CheckedStreams.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/ContentTypes.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemManager;
using opc::ztservices::TextContentSource;
using opc::ztservices::TransformMode;

Report undecodable(std::u16string const& file, std::string const& reason) {
  return {Exit::Package, "bad-text", "cannot store " + shown(file) + " as UTF-8: " + reason, file};
}

bool isText(SourceTree& source, std::u16string const& leaf) {
  opc::model::ContentType const text = opc::ztservices::getTextContentType();
  auto const otherwise = opc::ztservices::getTALBEXDefaultContentType();
  return opc::ztservices::lookupContentType(source, leaf, otherwise) == text && source.isFile(leaf);
}

std::unique_ptr<opc::ztservices::IContentSource> contentOf(SourceTree& source, std::u16string const& leaf,
                                                           Progress& progress) {
  std::u16string const path = source.givenPath(leaf);
  boost::system::error_code error;
  auto file = source.createInputStream(leaf, std::ios::in | std::ios::binary, error);
  if (error) throw Failure(diskReport("cannot-read", "cannot read", path, error));
  return std::make_unique<opc::ztservices::FileContentSource>(
      path, opc::ztservices::getTextContentType(), std::make_unique<CheckedInput>(std::move(file), path, progress));
}

std::optional<std::string> unlessEmpty(std::string const& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

/// In order, those of the trees and others.
std::vector<std::u16string> pathsOf(std::vector<SourceTree const*> const& trees, std::vector<std::u16string> paths) {
  for (SourceTree const* const tree : trees) {
    paths.insert(paths.end(), tree->leaves().begin(), tree->leaves().end());
    paths.insert(paths.end(), tree->folders().begin(), tree->folders().end());
  }
  std::ranges::sort(paths);
  return paths;
}

}  // namespace

std::optional<boost::posix_time::ptime> sourceDate() {
  constexpr long long kLastSecond = 253'402'300'799;  // of the year 9999
  char const* const text = std::getenv("SOURCE_DATE_EPOCH");
  if (!text) return std::nullopt;
  long long seconds = 0;
  auto const [end, error] = std::from_chars(text, text + std::strlen(text), seconds);
  if (error != std::errc() || *end != '\0' || seconds < 0 || seconds > kLastSecond)
    throwUsage("SOURCE_DATE_EPOCH must be a number of seconds since 1970");
  return boost::posix_time::from_time_t(static_cast<std::time_t>(seconds));
}

Entries entriesOf(std::vector<SourceTree const*> const& trees, Progress const& progress) {
  Entries entries{0, 0, 0, progress.done().bytes};
  for (SourceTree const* const tree : trees) {
    entries.files += tree->fileCount();
    entries.folders += tree->folders().size();
    entries.links += tree->linkCount();
  }
  return entries;
}

std::vector<std::u16string> namesOf(std::u16string const& package) {
  return {resolvedPath(package), placeOnDisk(package)};
}

void throwIfLost(FileSystemManager const& manager, SourceTree const& source, std::u16string const& replaced) {
  if (!manager.hasEntry(replaced)) throw Failure({source.faults().begin(), source.faults().end()});
}

SourceTree::Rules sourceRules(StoringOptions const& options, std::string const& package) {
  SourceTree::Rules rules;
  for (std::string const& pattern : options.exclude) rules.exclude.emplace_back(fromArgument(pattern));
  rules.skipOutsideLinks = options.skipOutsideLinks;
  rules.oneFileSystem = options.oneFileSystem;
  rules.keepGoing = options.keepGoing;
  if (package != "-") rules.ownFiles = namesOf(fromArgument(package));
  return rules;
}

SourceTree::Rules directoryRules(StoringOptions const& options, std::string const& package,
                                 std::string const& directory) {
  SourceTree::Rules rules = sourceRules(options, package);
  rules.given = fromArgument(directory);
  rules.otherRoots = unresolvedNames(rules.given);
  return rules;
}

void surveyWithAdvice(SourceTree& tree) try { tree.survey(); } catch (Failure const& failure) {
  std::vector<Report> reports = failure.reports();
  for (Report& report : reports)
    if (report.code == "outside-link") report.message += " (--skip-outside-links leaves it out)";
  throw Failure(std::move(reports));
}

void closeAndThrowFaults(std::vector<SourceTree const*> const& trees, Output& out) {
  std::vector<Report> reports;
  for (SourceTree const* const tree : trees)
    for (Report const& fault : tree->faults())
      reports.push_back({Exit::Package, fault.code, fault.message, fault.item});
  if (reports.empty()) return;
  out.close();
  throw Failure(std::move(reports));
}

void printLeftOut(SourceTree const& source, char const* command) {
  for (std::string const& line : source.leftOut()) std::cerr << "ztpkg: " << command << ": " << line << '\n';
}

Storing::Storing(StoringOptions const& options, std::string command) : options_(options), command_(std::move(command)) {
  std::string const& charset = options_.textCharset;
  if (!charset.empty() && !TextContentSource::isKnownCharset(charset))
    throwUsage("--text-charset: no character set " + shown(opc::toString(charset, false)) + " is known");
}

void Storing::add(FileSystemManager& manager, SourceTree& source) {
  manager.setTextConversion({.charset = options_.textCharset,
                             .report = [&](auto const& path, auto const& finding) { note(source, path, finding); }});
  try {
    manager.addAll(u"/", options_.textToUTF8 ? TransformMode::Transform : TransformMode::None);
  } catch (opc::UndecodableText const& fault) {  // of a long text, which was read before
    source.checkLastFile();
    throw Failure(undecodable(source.givenPath(source.lastFile()), fault.what()));
  }
  source.checkAdded([&](std::u16string const& path) { return manager.hasEntry(path); });
  source.checkLastFile();
  for (std::u16string const& path : source.broken()) manager.deleteFile(manager.getEntry(path));
  for (std::u16string const& folder : source.folders())
    if (!manager.hasEntry(folder)) manager.createFolder(folder);
}

void Storing::examine(SourceTree& source, Progress& progress) {
  if (!options_.textToUTF8) return;
  progress.expect({source.fileCount(), source.fileBytes()});
  for (std::u16string const& leaf : source.leaves())
    if (isText(source, leaf)) {
      TextContentSource text(contentOf(source, leaf, progress), options_.textCharset);
      note(source, leaf, text.getFinding());
      progress.addFile();
    }
}

void Storing::note(SourceTree const& source, std::u16string const& path, TextFinding const& finding) {
  bool const isUnknown = finding.charset.empty();
  if (isUnknown || options_.isListing()) texts_[path] = finding;
  if (isUnknown) unknowns_[path] = source.givenPath(path);
}

void Storing::throwIfRefused() const {
  if (!options_.failOnUnknownText || unknowns_.empty()) return;
  std::vector<Report> reports;
  for (auto const& [path, file] : unknowns_) reports.push_back(undecodable(file, texts_.at(path).reason));
  throw Failure(std::move(reports));
}

void Storing::print(std::vector<SourceTree const*> const& trees, Output& out,
                    std::vector<std::u16string> const& others) const {
  if (!options_.quiet) {
    for (SourceTree const* const tree : trees) printLeftOut(*tree, command_.c_str());
    for (auto const& [path, file] : unknowns_)
      std::cerr << oneLine("ztpkg: " + command_ + ": not converted: " + shown(file) + ": " + texts_.at(path).reason)
                << '\n';
  }
  if (options_.isListing()) printText(pathsOf(trees, others), out);
}

void Storing::addOmissions(JsonObject& document, std::vector<SourceTree const*> const& trees) const {
  std::vector<std::string> lines;
  for (SourceTree const* const tree : trees) std::ranges::move(tree->leftOut(), std::back_inserter(lines));
  std::string texts;
  for (auto const& [path, file] : unknowns_)
    texts += (texts.empty() ? "" : ",") + JsonObject().add("path", path).add("reason", texts_.at(path).reason).text();
  document.add("leftOut", lines).addText("notConverted", "[" + texts + "]");
}

void Storing::printDocument(std::vector<SourceTree const*> const& trees, StoredTotals const& totals, Output& out,
                            std::vector<std::u16string> const& others) const {
  JsonObject document;
  addTo(document, totals.entries);
  document.add("packageBytes", totals.packageBytes).add("seconds", totals.time);
  addOmissions(document, trees);
  if (!options_.verbose && !options_.dryRun) return document.print(out);
  std::string const text = document.text();
  out.print(text.substr(0, text.size() - 1) + ",\"entries\":");
  JsonArray entries(out);
  for (std::u16string const& path : pathsOf(trees, others)) entries.add(json(path));
  out.print(entries.isEmpty() ? "]}\n" : "\n]}\n");
}

void Storing::printText(std::vector<std::u16string> const& paths, Output& out) const {
  for (std::u16string const& path : paths) {
    out.printName(path);
    if (auto const text = texts_.find(path); text != texts_.end()) {
      std::string const& charset = text->second.charset;
      out.printName(u"  " + (charset.empty() ? u"unknown" : opc::toString(charset, false)));
    }
    out.print("\n");
  }
}

std::string Storing::json(std::u16string const& path) const {
  auto const text = texts_.find(path);
  TextFinding const finding = text == texts_.end() ? TextFinding() : text->second;
  JsonObject entry;
  entry.add("path", path).add("charset", unlessEmpty(finding.charset));
  return entry.add("reason", unlessEmpty(finding.reason)).text();
}

}  // namespace ztpkg
