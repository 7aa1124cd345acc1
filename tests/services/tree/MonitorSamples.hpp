// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "opc/Progress.hpp"
#include "services/tree/EncryptionTestSupport.hpp"
#include "support/CryptoAnswers.hpp"

namespace zt_test {

using opc::Monitor;
using opc::Progress;

inline constexpr std::size_t kLong = 3'000'000;

/// A directory "in" with three files, one of them long and hard to compress.
class Monitored : public testing::Test {
 protected:
  Monitored() {
    std::filesystem::create_directories(directory_ / "in/folder");
    writeFile(directory_ / "in/a.txt", "first");
    writeFile(directory_ / "in/folder/long", textOf(sampleContent(kLong)));
    writeFile(directory_ / "in/z.txt", "last");
    std::filesystem::create_symlink("a.txt", directory_ / "in/link");
  }

  Monitor recording() {
    return {.report = [this](Progress const& progress) {
      reports_.push_back(progress);
      return true;
    }};
  }
  /// Ends the operation at that report, or at the first one behind it.
  Monitor endingAt(std::size_t report) {
    return {.report = [this, report](Progress const& progress) {
      reports_.push_back(progress);
      return reports_.size() < report;
    }};
  }

  /// Ends the operation when it checks its monitor for that time, and not between two reports.
  Monitor endingAtCheck(std::size_t check) {
    return {.report = [this, check](Progress const& progress) {
      reports_.push_back(progress);
      std::this_thread::sleep_for(std::chrono::milliseconds(21));  // so that the next check reports too
      return reports_.size() < check;
    }};
  }

  void makePackage(Bytes const* key = nullptr) const {
    auto const package = Package::create(path_);
    FileSystemManager files(*package);
    if (key) files.enableEncryption(*key, IVMode::Random, {});
    files.addAll(directory_ / "in");
    package->save();
  }

  void expectWhole(std::uint64_t files, std::uint64_t bytes) const {
    ASSERT_FALSE(reports_.empty());
    for (std::size_t i = 1; i < reports_.size(); ++i) {
      EXPECT_GE(reports_[i].files, reports_[i - 1].files);
      EXPECT_GE(reports_[i].bytes, reports_[i - 1].bytes);
    }
    EXPECT_EQ(reports_.back().files, files);
    EXPECT_EQ(reports_.back().allFiles, files);
    EXPECT_EQ(reports_.back().bytes, bytes);
    EXPECT_EQ(reports_.back().allBytes, bytes);
  }

  /// The names in a folder, temporary ones too.
  static std::vector<std::string> namesIn(std::filesystem::path const& folder) {
    std::vector<std::string> names;
    for (auto const& item : std::filesystem::recursive_directory_iterator(folder))
      if (!item.is_directory()) names.push_back(item.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  TemporaryDirectory directory_;
  std::filesystem::path path_ = directory_ / "p";
  std::vector<Progress> reports_;
};

}  // namespace zt_test
