// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "container/Archive.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/BoundedRun.hpp"
#include "support/Corpus.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

enum class Result { Sound, BadItem, Refused };

Result resultHere(std::filesystem::path const& file) {
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

/// Nothing where it took too long or too much memory, or ended with an exception of another kind.
std::optional<Result> resultOf(std::filesystem::path const& file) {
  auto const result = runBounded([&] { return static_cast<int>(resultHere(file)); });
  return result ? std::optional(static_cast<Result>(*result)) : std::nullopt;
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
  for (auto const& file : corpusFiles("zip-hostile")) {
    auto const result = resultOf(file.path);
    ASSERT_TRUE(result) << file.name;
    auto const ours = kOurVerdicts.find(file.name);
    if (ours != kOurVerdicts.end())
      EXPECT_EQ(*result, ours->second) << file.name;
    else
      EXPECT_EQ(*result == Result::Sound, file.expected == "zip-opens") << file.name;
  }
}

TEST(Corpus, GoodPackagesAreReadToTheirEnds) {
  ZT_SKIP_WITHOUT_CORPUS();
  for (auto const& file : corpusFiles("opc-good")) EXPECT_EQ(resultOf(file.path), Result::Sound) << file.name;
}

TEST(Corpus, BadPackagesDoNoHarm) {
  ZT_SKIP_WITHOUT_CORPUS();
  for (auto const& folder : {"opc-bad", "made"})
    for (auto const& file : corpusFiles(folder)) EXPECT_TRUE(resultOf(file.path)) << file.name;
}

}  // namespace
}  // namespace opc::model::zip
