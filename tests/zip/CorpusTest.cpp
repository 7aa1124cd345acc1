// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

#include "foundation/zip/Archive.hpp"
#include "opc/model/Exceptions.hpp"
#include "support/TestSupport.hpp"
#include "zip/ZipTestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;
namespace fs = std::filesystem;

enum class Result { Sound, BadItem, Refused };

Result resultOf(fs::path const& file) {
  Result result = Result::Sound;
  try {
    auto const archive = Archive::open(openFileBytes(file.string()));
    for (std::size_t i = 0; i < archive->size(); ++i) try {
        auto const stream = archive->openContent(i);
        std::vector<unsigned char> buffer(65536);
        while (!stream->isEnd()) stream->read(buffer.data(), buffer.size());
      } catch (InvalidItem const&) {
        result = Result::BadItem;
      }
  } catch (InvalidPackage const&) {
    result = Result::Refused;
  }
  return result;
}

/// What the corpus expects of each of its files.
std::map<std::string, std::string> expectations(std::string const& folder) {
  std::map<std::string, std::string> expected;
  std::ifstream manifest(corpus() / "MANIFEST.tsv");
  for (std::string line; std::getline(manifest, line);) {
    std::istringstream fields(line);
    std::string file, source, licence, what;
    std::getline(std::getline(std::getline(std::getline(fields, file, '\t'), source, '\t'), licence, '\t'), what, '\t');
    if (file.rfind(folder + "/", 0) == 0) expected[file] = what;
  }
  return expected;
}

/// Where this reader is right to differ from the one whose verdicts the corpus records.
std::map<std::string, Result> const kOurVerdicts{
    // A prefix that the offsets do not count, as self-extracting archives have it.
    {"commons-compress__COMPRESS-621.zip", Result::Sound},
    {"libarchive__test_read_format_zip_padded1.zip", Result::Sound},
    // Data descriptors whose local headers already say one of the two sizes, rightly, or zeros in a zip64 field.
    {"jszip__data_descriptor.zip", Result::Sound},
    {"libarchive__test_read_format_zip_zip64b.zip", Result::Sound},
    {"libarchive__test_singlefile.zip", Result::Sound},
    {"rubyzip__gpbit3stored.zip", Result::Sound},
    // Every number in the zip64 record, as the format allows.
    {"libarchive__test_read_format_zip_with_invalid_traditional_eocd.zip", Result::Sound},
    // Methods that a package may not use (ECMA-376-2, Annex C).
    {"libarchive__test_read_format_zip_bzip2.zipx", Result::BadItem},
    {"libarchive__test_read_format_zip_bzip2_multi.zipx", Result::BadItem},
    // A descriptor that disagrees with the directory; bytes behind the end of the compressed data.
    {"libzip__incons-streamed-2.zip", Result::BadItem},
    {"libzip__incons-trailing-garbage.zip", Result::BadItem},
    // A zip64 record that says it ends before its last field; an archive in the comment of another.
    {"libzip__incons-eocd64-gap.zip", Result::Refused},
    {"libzip__zip64-in-archive-comment.zip", Result::Refused},
};

TEST(Corpus, HostileArchivesAreRefusedWhereTheyShouldBe) {
  ZT_SKIP_WITHOUT_CORPUS();
  for (auto const& [file, expected] : expectations("zip-hostile")) {
    Result const result = resultOf(corpus() / file);
    auto const ours = kOurVerdicts.find(fs::path(file).filename().string());
    if (ours != kOurVerdicts.end())
      EXPECT_EQ(result, ours->second) << file;
    else
      EXPECT_EQ(result == Result::Sound, expected == "zip-opens") << file;
  }
}

TEST(Corpus, GoodPackagesAreReadToTheirEnds) {
  ZT_SKIP_WITHOUT_CORPUS();
  for (auto const& [file, expected] : expectations("opc-good"))
    EXPECT_EQ(resultOf(corpus() / file), Result::Sound) << file;
}

TEST(Corpus, BadPackagesDoNoHarm) {
  ZT_SKIP_WITHOUT_CORPUS();
  for (auto const& folder : {"opc-bad", "made"})
    for (auto const& [file, expected] : expectations(folder)) EXPECT_NO_THROW(resultOf(corpus() / file)) << file;
}

}  // namespace
}  // namespace opc::model::zip
