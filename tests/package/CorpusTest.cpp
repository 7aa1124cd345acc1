// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "container/Archive.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "package/ModelSamples.hpp"
#include "support/BoundedRun.hpp"
#include "support/Corpus.hpp"
#include "support/TestSupport.hpp"

/// Other people's packages.
namespace opc::model {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> packagesIn(std::string const& folder) {
  std::vector<fs::path> paths;
  for (auto const& entry : fs::directory_iterator(zt_test::corpus() / folder)) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::unique_ptr<Package> openFile(fs::path const& path, AccessMode mode = AccessMode::ReadOnly) {
  return Package::open(toString(path.string()), mode);
}

std::vector<std::string> relationshipsOf(RelationshipSource const& source) {
  std::vector<std::string> lines;
  for (auto const& r : source.getRelationships())
    lines.push_back(toUTF8String(r.getID() + u" " + r.getType() + u" " + r.getTargetText()) +
                    (r.getMode() == TargetMode::External ? " external" : ""));
  return lines;
}

/// Everything that the package holds: parts with types to the letter, relationships, items that are no parts.
std::vector<std::string> everythingIn(Package const& package) {
  auto lines = samples::snapshot(package);
  for (auto const& name : package.getItemNames()) lines.push_back(toUTF8String(name));
  for (auto const& line : relationshipsOf(package)) lines.push_back("/: " + line);
  for (auto const& name : package.getPartNames())
    for (auto const& line : relationshipsOf(package.getPart(name)))
      lines.push_back(toUTF8String(name.toString()) + ": " + line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

/// The compressed bytes of an item, found by its local header (APPNOTE.TXT, 4.3.7).
std::string storedBytes(zip::Entry const& entry, std::string const& file) {
  auto const at = static_cast<std::size_t>(entry.localHeaderOffset);
  auto const number = [&](std::size_t offset) {
    return static_cast<unsigned char>(file.at(at + offset)) +
           256u * static_cast<unsigned char>(file.at(at + offset + 1));
  };
  return file.substr(at + 30 + number(26) + number(28), static_cast<std::size_t>(entry.storedSize));
}

/// All that the container says of its items, and their compressed bytes, by name; content types excepted,
/// which every save writes anew.
std::map<std::string, std::string> storedItemsOf(fs::path const& path) {
  std::string const file = zt_test::readFile(path);
  auto const archive = zip::Archive::open(zip::makeMemoryBytes(zt_test::bytesOf(file)));
  std::map<std::string, std::string> items;
  for (std::size_t i = 0; i < archive->size(); ++i) {
    zip::Entry const entry = archive->entry(i);
    std::ostringstream facts;
    facts << "method " << entry.method << ", time " << entry.dosTimeAndDate << ", crc " << entry.crc << ", size "
          << entry.size << ", attributes " << entry.externalAttributes << ", comment " << entry.comment << "\n";
    if (entry.name != "[Content_Types].xml") items.emplace(entry.name, facts.str() + storedBytes(entry, file));
  }
  return items;
}

/// The names at which the two differ.
std::vector<std::string> differences(std::map<std::string, std::string> const& before,
                                     std::map<std::string, std::string> const& after) {
  std::vector<std::string> names;
  for (auto const& [name, bytes] : before)
    if (after.count(name) == 0 || after.at(name) != bytes) names.push_back(name);
  for (auto const& [name, bytes] : after)
    if (before.count(name) == 0) names.push_back(name);
  return names;
}

TEST(Corpus, GoodPackagesKeepEveryItemByteForByteWhenAPartIsAdded) {
  ZT_SKIP_WITHOUT_CORPUS();
  zt_test::TemporaryDirectory const directory;
  std::size_t items = 0;
  for (auto const& path : packagesIn("opc-good")) {
    SCOPED_TRACE(path.filename().string());
    auto const package = openFile(path);
    package->saveAs(directory.u16("unchanged.opc"), Existing::Replace);
    auto const before = storedItemsOf(path);
    items += before.size();
    EXPECT_EQ(differences(before, storedItemsOf(directory / "unchanged.opc")), std::vector<std::string>());
    auto const changed = openFile(directory / "unchanged.opc", AccessMode::ReadWrite);
    samples::create(*changed, u"/ours/new.part-of-ours", "content");
    changed->save();
    EXPECT_EQ(differences(before, storedItemsOf(directory / "unchanged.opc")),
              std::vector<std::string>{"ours/new.part-of-ours"});
  }
  EXPECT_GT(items, 1000U);
}

TEST(Corpus, GoodPackagesOpenAndSurviveAChange) {
  ZT_SKIP_WITHOUT_CORPUS();
  zt_test::TemporaryDirectory const directory;
  for (auto const& path : packagesIn("opc-good")) {
    SCOPED_TRACE(path.filename().string());
    zt_test::writeFile(directory / "p.opc", zt_test::readFile(path));  // a copy would be as read-only as the corpus
    auto package = openFile(directory / "p.opc", AccessMode::ReadWrite);
    auto before = everythingIn(*package);
    EXPECT_FALSE(package->getPartNames().empty());
    samples::create(*package, u"/ours/new.part-of-ours", "content", u"application/x-ours;a=b");
    package->save();
    auto after = everythingIn(*openFile(directory / "p.opc"));
    EXPECT_EQ(everythingIn(*package), after);
    before.push_back("/ours/new.part-of-ours application/x-ours;a=b content");
    std::sort(before.begin(), before.end());
    EXPECT_EQ(after, before);
  }
}

enum class Outcome { Opens, RefusesContent, RefusesPackage };

Outcome outcomeHere(fs::path const& path) {
  std::unique_ptr<Package> package;
  try {
    package = openFile(path);
  } catch (InvalidPackage const&) {
    return Outcome::RefusesPackage;
  }
  try {
    PackageHelper::getCoreProperties(*package);
    samples::snapshot(*package);
    return Outcome::Opens;
  } catch (InvalidPartContent const&) {
    return Outcome::RefusesContent;
  } catch (InvalidItem const&) {
    return Outcome::RefusesContent;
  }
}

/// Nothing where it took too long or too much memory, or ended with an exception of another kind.
std::optional<Outcome> outcomeOf(fs::path const& path) {
  auto const outcome = zt_test::runBounded([&] { return static_cast<int>(outcomeHere(path)); });
  return outcome ? std::optional(static_cast<Outcome>(*outcome)) : std::nullopt;
}

TEST(Corpus, GoodPackagesHaveCorePropertiesOrSayWhyNot) {
  ZT_SKIP_WITHOUT_CORPUS();
  for (auto const& path : packagesIn("opc-good")) {
    // It has a document type declaration there.
    bool const isRefused = path.filename() == "poi__CorePropertiesHasEntities.ooxml";
    EXPECT_EQ(outcomeOf(path), isRefused ? Outcome::RefusesContent : Outcome::Opens) << path.filename();
  }
}

/// Bad packages that open all the same.
std::map<std::string, Outcome> const kOurVerdicts{
    // Only their core properties break rules: xml:lang, refinements, markup compatibility, a missing xsi:type.
    {"3mf-samples__MUSTFAIL_Chapter2.3.4_WhiteSpace.3mf", Outcome::RefusesContent},
    {"poi__OPCCompliance_CoreProperties_DCTermsNamespaceLimitedUseFAIL.docx", Outcome::RefusesContent},
    {"poi__OPCCompliance_CoreProperties_DoNotUseCompatibilityMarkupFAIL.docx", Outcome::RefusesContent},
    {"poi__OPCCompliance_CoreProperties_LimitedXSITypeAttribute_NotPresentFAIL.docx", Outcome::RefusesContent},
    // Its "/xl/metadata" and "/xl/metadata.xml" break no rule: a name is derived by whole segments.
    {"poi__64473.xlsx", Outcome::Opens},
};

TEST(Corpus, BadPackagesAreRefused) {
  ZT_SKIP_WITHOUT_CORPUS();
  for (auto const& file : zt_test::corpusFiles("opc-bad")) {
    auto const ours = kOurVerdicts.find(file.name);
    EXPECT_EQ(outcomeOf(file.path), ours == kOurVerdicts.end() ? Outcome::RefusesPackage : ours->second) << file.name;
  }
}

TEST(Corpus, HostileArchivesAreRefusedWithoutContentTypes) {
  ZT_SKIP_WITHOUT_CORPUS();
  for (auto const& file : zt_test::corpusFiles("zip-hostile")) {
    bool const isPackage = file.flags.find("not-opc") == std::string::npos;
    EXPECT_EQ(outcomeOf(file.path), isPackage ? Outcome::Opens : Outcome::RefusesPackage) << file.name;
  }
}

TEST(Corpus, MadePackagesFareAsExpected) {
  ZT_SKIP_WITHOUT_CORPUS();
  std::ifstream lines(zt_test::corpus() / "made.expect.tsv");
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string file, expected, why;
    std::getline(std::getline(fields, file, '\t'), expected, '\t');
    std::getline(fields, why);
    SCOPED_TRACE(file + ": " + why.substr(0, 100));
    auto const path = zt_test::corpus() / "made" / file;
    auto const outcome = outcomeOf(path);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome == Outcome::RefusesPackage, expected == "refuse-open");
    if (expected == "open" || expected == "report") {
      EXPECT_EQ(outcome, Outcome::Opens);
    }
    // A refused part is either no part at all or cannot be read.
    if (expected == "refuse-part" && outcome == Outcome::Opens) {
      EXPECT_FALSE(openFile(path)->getItemNames().empty());
    }
  }
}

}  // namespace
}  // namespace opc::model
