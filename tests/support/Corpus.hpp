// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zt_test {

/// What the corpus says about one of its files.
struct CorpusFile {
  std::string name;
  std::filesystem::path path;
  std::string expected;
  std::string flags;
};

/// The files of a folder of the corpus, in the order of its manifest.
std::vector<CorpusFile> corpusFiles(std::string const& folder);

}  // namespace zt_test
