// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/Progress.hpp"
#include "opc/ztservices/Rekey.hpp"
#include "services/tree/MonitorSamples.hpp"

namespace {

using namespace zt_test;
using opc::Cancelled;
using opc::Monitor;
using opc::Progress;
using opc::ztservices::Compression;
using testing::ElementsAre;

TEST_F(Monitored, SaveCountsItems) {
  auto const package = Package::create(path_);
  FileSystemManager files(*package);
  files.addAll(directory_ / "in");
  package->setMonitor(recording());
  package->save();
  EXPECT_EQ(reports_.back().files, 5u);  // relationships, the manifest and three files
  EXPECT_EQ(reports_.back().bytes, reports_.back().allBytes);
  EXPECT_GT(reports_.back().bytes, 10'000u);  // of the long one, compressed
}

TEST_F(Monitored, SaveThatEndsLeavesTheOldFileAndNoTemporary) {
  makePackage();
  std::string const before = readFile(path_);
  for (unsigned const threads : {0u, 2u}) {
    auto const package = Package::open(path_, AccessMode::ReadWrite);
    package->setCompressionThreads(threads);
    FileSystemManager files(*package);
    files.addFile(directory_ / "in/folder/long", "/more");
    for (std::size_t report : {1u, 2u, 3u}) {
      reports_.clear();
      package->setMonitor(endingAt(report));
      EXPECT_THROW(package->save(), Cancelled) << report;
      EXPECT_TRUE(readFile(path_) == before);
      EXPECT_EQ(namesIn(directory_.path()), (std::vector<std::string>{"a.txt", "link", "long", "p", "z.txt"}));
      if (reports_.back().bytes == reports_.back().allBytes) break;  // that was the last report
    }
  }
}

TEST_F(Monitored, SaveCanBeRepeatedAfterItEnded) {
  auto const package = Package::create(path_);
  FileSystemManager files(*package);
  files.addAll(directory_ / "in");
  package->setMonitor({.report = [](Progress const&) { return false; }});
  EXPECT_THROW(package->save(), Cancelled);
  EXPECT_FALSE(std::filesystem::exists(path_));
  package->setMonitor({});
  package->save();
  auto const saved = Package::open(path_, AccessMode::ReadOnly);
  EXPECT_EQ(FileSystemManager(*saved).getAllLeafs().size(), 4u);
}

/// Neither a new manager nor a save without the first one finds a manifest that is empty.
TEST_F(Monitored, FirstSaveThatEndsLeavesNoPartOfAManifest) {
  for (std::size_t check = 1;; ++check) {
    auto const package = Package::createInMemory();
    auto files = std::make_unique<FileSystemManager>(*package);
    for (char const* const path : {"/a", "/b"}) files->createFolder(path);
    reports_.clear();
    package->setMonitor(endingAtCheck(check));
    try {
      package->save();
      break;
    } catch (Cancelled const&) {
      package->setMonitor({});
    }
    bool const hasManifest = files->isNonEncrypted();
    EXPECT_EQ(leafs(FileSystemManager(*package)).size(), hasManifest ? 2u : 0u) << check;
    files.reset();
    package->save();
    EXPECT_EQ(leafs(FileSystemManager(*reopen(*package))).size(), hasManifest ? 2u : 0u) << check;
  }
}

TEST_F(Monitored, SaveThatEndsWhileTheManifestTakesAnotherFormLeavesOneThatCanBeRead) {
  Bytes const key = testKey();
  makePackage(&key);
  auto const leafsAfter = [&](Package& package) {
    FileSystemManager reader(package);
    reader.enableDecryption(key);
    return leafs(reader);
  };
  for (std::size_t check = 1;; ++check) {
    auto const package = Package::open(path_, AccessMode::ReadWrite);
    std::size_t const parts = package->getPartNames().size();
    auto files = std::make_unique<FileSystemManager>(*package);
    files->enableDecryption(key);
    files->enableEncryption(key, IVMode::Random, {}, Compression::Deflate);
    files->createFolder("/new");
    reports_.clear();
    package->setMonitor(endingAtCheck(check));
    try {
      package->saveToBytes();
      break;
    } catch (Cancelled const&) {
      package->setMonitor({});
    }
    EXPECT_EQ(package->getPartNames().size(), parts) << check;
    EXPECT_THAT(leafsAfter(*package), testing::SizeIs(testing::AnyOf(4, 5))) << check;
    files.reset();
    EXPECT_THAT(leafsAfter(*reopen(*package)), testing::SizeIs(testing::AnyOf(4, 5))) << check;
  }
}

TEST_F(Monitored, SavesElsewhereAndInMemoryEndToo) {
  makePackage();
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  package->setMonitor({.report = [](Progress const&) { return false; }});
  EXPECT_THROW(package->saveAs(directory_ / "q"), Cancelled);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "q"));
  EXPECT_THROW(package->saveToBytes(), Cancelled);
}

TEST_F(Monitored, ExtractAllCountsFilesAndBytes) {
  makePackage();
  for (std::size_t const threads : {0u, 2u}) {
    reports_.clear();
    auto const package = Package::open(path_, AccessMode::ReadOnly);
    package->setMonitor(recording());
    FileSystemManager files(*package);
    files.setExtractionThreads(threads);
    files.extractAll(directory_ / ("out" + std::to_string(threads)));
    expectWhole(3, 5 + kLong + 4);
  }
}

TEST_F(Monitored, ExtractAllCountsDecryptedBytes) {
  Bytes const key = testKey();
  makePackage(&key);
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  package->setMonitor(recording());
  FileSystemManager files(*package);
  files.enableDecryption(key);
  files.extractAll(directory_ / "out");
  expectWhole(3, 5 + kLong + 4);
}

TEST_F(Monitored, ExtractAllThatEndsLeavesNoPartOfAFile) {
  makePackage();
  for (std::size_t const threads : {0u, 2u})
    for (std::size_t const report : {1u, 2u}) {
      reports_.clear();
      auto const package = Package::open(path_, AccessMode::ReadOnly);
      package->setMonitor(endingAt(report));
      std::filesystem::path const out = directory_ / ("out" + std::to_string(10 * threads + report));
      opc::ConfinedFileSystemOps disk(out);
      FileSystemManager files(*package, disk, disk);
      files.setExtractionThreads(threads);
      EXPECT_THROW(files.extractAll(out), Cancelled);
      auto const names = namesIn(out);
      if (std::ranges::find(names, "long") != names.end()) {
        EXPECT_EQ(std::filesystem::file_size(out / "folder/long"), kLong);
      }
      for (std::string const& name : names) EXPECT_FALSE(name.starts_with(".ztservices")) << name;
    }
}

TEST_F(Monitored, ExtractionWithAFaultHandlerEndsToo) {
  makePackage();
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  package->setMonitor({.report = [](Progress const&) { return false; }});
  FileSystemManager files(*package);
  int faults = 0;
  EXPECT_THROW(files.extractEntries(directory_.u16("out"), files.getAllLeafs(), kRestore, TransformMode::None,
                                    [&](auto const&, auto const&) { ++faults; }),
               Cancelled);
  EXPECT_EQ(faults, 0);
}

TEST_F(Monitored, ExtractionNamesAnEntryWhosePartHasNoPossibleName) {
  auto const package = foreignPackage(entryOf("/bad", "/a//b") + entryOf("/good", "/c"));
  package->setMonitor(recording());
  FileSystemManager files(*package);
  std::vector<std::u16string> bad;
  files.extractEntries(directory_.u16("out"), files.getAllLeafs(), kRestore, TransformMode::None,
                       [&](FileSystemEntry const& entry, auto const&) { bad.push_back(entry.getPathName()); });
  EXPECT_THAT(bad, ElementsAre(u"/bad"));
  EXPECT_EQ(readFile(directory_ / "out/good"), "content");
}

TEST_F(Monitored, RekeyCountsContentsAndEndsWithTheOldPackageWhole) {
  makePackage();
  Bytes const key = testKey();
  std::string const before = readFile(path_);
  opc::ztservices::RekeyOptions options{.newKey = &key};
  options.monitor = endingAt(1);
  EXPECT_THROW(rekeyPackage(path_, path_, options), Cancelled);
  EXPECT_TRUE(readFile(path_) == before);
  EXPECT_EQ(namesIn(directory_.path()), (std::vector<std::string>{"a.txt", "link", "long", "p", "z.txt"}));
  reports_.clear();
  options.monitor = recording();
  rekeyPackage(path_, path_, options);
  expectWhole(3, 5 + kLong + 4);
}

TEST_F(Monitored, PassesOnWhatAReportThrows) {
  NewFileSystem fs;
  fs.package->setMonitor({.report = [](Progress const&) -> bool { throw std::runtime_error("mine"); }});
  EXPECT_THROW_MESSAGE(fs.manager.addAll(directory_ / "in"), std::runtime_error, "mine");
}

TEST_F(Monitored, StreamsThatOutliveTheOperationAreFree) {
  makePackage();
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  std::unique_ptr<opc::InputStream> stream;
  std::stop_source stop;
  package->setMonitor({.report =
                           [&](Progress const&) {
                             if (!stream) stream = package->getPart("/fsroot/folder/long").getInputStream();
                             return true;
                           },
                       .stop = stop.get_token()});
  FileSystemManager(*package).extractAll(directory_ / "out");
  stop.request_stop();
  EXPECT_EQ(readAll(*stream).size(), kLong);
}

}  // namespace
