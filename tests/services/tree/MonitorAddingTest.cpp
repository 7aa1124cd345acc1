// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "opc/Progress.hpp"
#include "services/tree/MonitorSamples.hpp"

namespace {

using namespace zt_test;
using opc::Cancelled;
using opc::Monitor;
using opc::Progress;
using opc::ztservices::Compression;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<FileSystemEntry> filesOf(FileSystemManager const& manager) {
  std::vector<FileSystemEntry> files = manager.getAllLeafs();
  std::erase_if(files, [](FileSystemEntry const& entry) { return !entry.isFile(); });
  return files;
}

TEST_F(Monitored, AddAllCountsFilesAndBytes) {
  NewFileSystem fs;
  fs.package->setMonitor(recording());
  fs.manager.addAll(directory_ / "in");
  expectWhole(3, 5 + kLong + 4);
}

TEST_F(Monitored, AddAllEndsWhenAReportSaysSo) {
  NewFileSystem fs;
  fs.package->setMonitor(endingAt(1));
  EXPECT_THROW(fs.manager.addAll(directory_ / "in"), Cancelled);
  fs.package->setMonitor({});
  EXPECT_NO_THROW(fs.manager.createFolder("/new"));
}

TEST_F(Monitored, AddAllEndsAfterAStopRequest) {
  NewFileSystem fs;
  std::stop_source stop;
  fs.package->setMonitor({.report =
                              [&](Progress const&) {
                                stop.request_stop();
                                return true;
                              },
                          .stop = stop.get_token()});
  EXPECT_THROW(fs.manager.addAll(directory_ / "in"), Cancelled);
  EXPECT_FALSE(fs.manager.hasEntry("/z.txt"));
}

TEST_F(Monitored, AddFileCountsOneFile) {
  NewFileSystem fs;
  fs.package->setMonitor(recording());
  fs.manager.addFile(directory_ / "in/a.txt", "/a.txt");
  expectWhole(1, 5);
}

TEST_F(Monitored, AddFileThatEndsLeavesNothing) {
  writeFile(directory_ / "shorter", std::string(150'000, 'x'));
  for (bool const compresses : {false, true})
    for (std::size_t check = 1;; ++check) {
      NewFileSystem fs;
      if (compresses) fs.manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
      fs.manager.createFolder("/kept");
      reports_.clear();
      fs.package->setMonitor(endingAtCheck(check));
      EXPECT_THROW(fs.manager.addFile(directory_ / "shorter", "/kept/new/shorter"), Cancelled) << check;
      fs.package->setMonitor({});
      EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/kept")) << check;
      EXPECT_THAT(contentParts(*fs.package), IsEmpty()) << check;
      if (reports_.back().files == 1) break;  // that was the last report
    }
}

TEST_F(Monitored, AddFileThatEndsByAnExceptionOfTheReportLeavesNothing) {
  NewFileSystem fs;
  fs.package->setMonitor({.report = [](Progress const&) -> bool { throw std::runtime_error("mine"); }});
  EXPECT_THROW_MESSAGE(fs.manager.addFile(directory_ / "in/a.txt", "/new/a.txt"), std::runtime_error, "mine");
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
  EXPECT_THAT(contentParts(*fs.package), IsEmpty());
}

TEST_F(Monitored, AddFileThatFailsKeepsItsEmptyEntry) {
  NewFileSystem fs;
  fs.package->setMonitor(recording());
  EXPECT_THROW(
      fs.manager.addFile(std::make_unique<FailingSource>(), "/f", opc::Perms::OwnerRead, opc::getCurrentTime()),
      opc::StreamError);
  EXPECT_EQ(textAt(fs.manager, u"/f"), "");
}

TEST_F(Monitored, AddFileOfBytesCountsThemAndEnds) {
  NewFileSystem fs;
  Bytes const bytes = sampleContent(kLong);
  fs.package->setMonitor(recording());
  fs.manager.addFile(bytes, "/bytes");
  expectWhole(1, kLong);
  fs.package->setMonitor(endingAt(reports_.size() + 1));
  EXPECT_THROW(fs.manager.addFile(bytes, "/more"), Cancelled);
  EXPECT_FALSE(fs.manager.hasEntry("/more"));
}

TEST_F(Monitored, AddFileOfASourceCountsItsBytesAndEnds) {
  NewFileSystem fs;
  auto const add = [&](char const* const path) {
    fs.manager.addFile(std::make_unique<TextSource>(std::string(kLong, 'x')), path, opc::Perms::OwnerRead,
                       opc::getCurrentTime());
  };
  fs.package->setMonitor(recording());
  add("/source");
  expectWhole(1, kLong);
  EXPECT_EQ(reports_.front().bytes, 0u);
  reports_.clear();
  fs.package->setMonitor(endingAt(1));
  EXPECT_THROW(add("/more"), Cancelled);
  EXPECT_FALSE(fs.manager.hasEntry("/more"));
}

TEST_F(Monitored, AddAllThatEndsLeavesWholeFilesAlone) {
  std::filesystem::resize_file(directory_ / "in/folder/long", 100'000);
  writeFile(directory_ / "in/y.txt", std::string(100'000, 'x'));
  for (unsigned const threads : {0u, 2u})
    for (std::size_t check = 1;; ++check) {
      NewFileSystem fs;
      fs.manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
      fs.manager.enableDecryption(testKey());
      fs.package->setCompressionThreads(threads);
      reports_.clear();
      fs.package->setMonitor(endingAtCheck(check));
      EXPECT_THROW(fs.manager.addAll(directory_ / "in"), Cancelled) << check;
      fs.package->setMonitor({});
      std::vector<std::u16string> const files = pathsOf(filesOf(fs.manager));
      EXPECT_EQ(contentParts(*fs.package).size(), files.size()) << check;
      for (std::u16string const& file : files)
        EXPECT_EQ(fs.manager.readFile(file).size(), std::filesystem::file_size(directory_.u16("in") + file)) << check;
      if (reports_.back().files == 4) break;  // that was the last report
    }
}

TEST_F(Monitored, AddAllPassesOnWhatAReportThrowsWhileFilesWait) {
  for (std::size_t i = 0; i < 20; ++i) writeFile(directory_ / "in" / std::to_string(i), std::string(50'000, 'x'));
  NewFileSystem fs;
  fs.manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
  fs.package->setCompressionThreads(2);
  std::size_t reports = 0;
  fs.package->setMonitor({.report = [&](Progress const&) -> bool {
    std::this_thread::sleep_for(std::chrono::milliseconds(21));
    if (++reports < 10) return true;
    throw std::runtime_error("mine");
  }});
  EXPECT_THROW_MESSAGE(fs.manager.addAll(directory_ / "in"), std::runtime_error, "mine");
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
}

}  // namespace
