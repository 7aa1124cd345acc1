// SPDX-License-Identifier: Apache-2.0
#include "support/Corpus.hpp"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/TestSupport.hpp"

namespace zt_test {

std::vector<CorpusFile> corpusFiles(std::string const& folder) {
  std::vector<CorpusFile> files;
  std::ifstream manifest(corpus() / "MANIFEST.tsv");
  for (std::string line; std::getline(manifest, line);) {
    std::istringstream fields(line);
    std::string file, source, licence, expected, why, flags;
    for (auto field : {&file, &source, &licence, &expected, &why, &flags}) std::getline(fields, *field, '\t');
    if (file.starts_with(folder + "/"))
      files.push_back({file.substr(folder.size() + 1), corpus() / file, expected, flags});
  }
  if (files.empty()) throw std::runtime_error("the corpus has no folder " + folder);
  return files;
}

}  // namespace zt_test
