// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "opc/ztservices/About.hpp"

namespace opc::ztservices {
namespace {

using testing::ElementsAre;
using testing::Field;
using testing::MatchesRegex;

TEST(About, TellsTheVersionOfThisLibrary) { EXPECT_THAT(getVersion(), MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+")); }

TEST(About, NamesTheLibrariesUnderneathInTheirOrder) {
  auto const named = [](char const* name) { return Field(&LibraryVersion::name, name); };
  EXPECT_THAT(getLibraryVersions(), ElementsAre(named("Boost"), named("Xerces-C"), named("zlib"), named("libdeflate"),
                                                named("OpenSSL"), named("ICU")));
}

TEST(About, GivesEachLibraryAVersionOfTwoNumbersOrMore) {
  for (auto const& [name, version] : getLibraryVersions())
    EXPECT_THAT(version, MatchesRegex("[0-9]+(\\.[0-9]+)+[a-z0-9.+-]*")) << name;
}

TEST(About, TellsNoVersionOlderThanTheBuildAsksFor) {
  auto const majorOf = [](std::size_t library) { return std::stoi(getLibraryVersions().at(library).version); };
  EXPECT_GE(majorOf(0), 1);
  EXPECT_GE(majorOf(1), 3);
  EXPECT_GE(majorOf(2), 1);
  EXPECT_GE(majorOf(3), 1);
  EXPECT_GE(majorOf(4), 3);
  EXPECT_GE(majorOf(5), 70);
}

}  // namespace
}  // namespace opc::ztservices
