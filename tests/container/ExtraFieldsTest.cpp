// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "container/Directory.hpp"
#include "container/ZipTestSupport.hpp"

namespace opc::model::zip {
namespace {
using zt_test::le;

std::string field(std::uint16_t id, std::string const& data) { return le(id, 2) + le(data.size(), 2) + data; }

TEST(ExtraFields, AreFoundByTheirKind) {
  std::string const extra = field(7, "seven") + field(8, "") + field(7, "again");
  EXPECT_EQ(findExtraField(extra, 7), "seven");
  EXPECT_EQ(findExtraField(extra, 8), "");
  EXPECT_EQ(findExtraField(extra, 9), std::nullopt);
  EXPECT_EQ(findExtraField("", 7), std::nullopt);
}

TEST(ExtraFields, FitWhenTheLastOneEndsWithTheBlock) {
  EXPECT_TRUE(extraFieldsFit(""));
  EXPECT_TRUE(extraFieldsFit(field(7, "seven")));
  EXPECT_TRUE(extraFieldsFit(field(7, "seven") + std::string(3, '\0')));
  EXPECT_FALSE(extraFieldsFit(field(7, "seven") + std::string("\7\0\1\0", 4)));
}

TEST(ExtraFields, ArePaddedWithZerosOrNotAtAll) {
  EXPECT_TRUE(isPaddedWithZeros(""));
  EXPECT_TRUE(isPaddedWithZeros(field(7, "seven")));
  EXPECT_TRUE(isPaddedWithZeros(field(7, "seven") + std::string(3, '\0')));
  EXPECT_FALSE(isPaddedWithZeros(field(7, "seven") + std::string("\0\0\1", 3)));
}

TEST(ExtraFields, AreTakenOutByTheirKind) {
  std::string const broken = std::string("\7\0\xFF\xFF", 4);
  EXPECT_EQ(withoutExtraField(field(1, "x") + field(7, "y") + field(1, "z") + broken, 1), field(7, "y") + broken);
  EXPECT_EQ(withoutExtraField("ab", 1), "ab");
}

TEST(Zip64Numbers, StandOnlyForTheNumbersThatAskForThem) {
  std::string const extra = field(1, le(UINT64_MAX, 8) + le(7, 8) + le(3, 4));
  Zip64Numbers numbers(extra);
  std::uint64_t size = 0xFFFFFFFF, stored = 12, offset = 0xFFFFFFFF;
  std::uint32_t disk = 0xFFFF;
  EXPECT_TRUE(numbers.widen(size) && numbers.widen(stored) && numbers.widen(offset) && numbers.widenDisk(disk));
  EXPECT_EQ(size, UINT64_MAX);
  EXPECT_EQ(stored, 12u);
  EXPECT_EQ(offset, 7u);
  EXPECT_EQ(disk, 3u);
}

TEST(Zip64Numbers, AreMissedWhereTheFieldIsTooShort) {
  std::string const extra = field(1, le(5, 7));
  Zip64Numbers numbers(extra);
  std::uint64_t size = 0xFFFFFFFF;
  std::uint32_t disk = 0xFFFF;
  EXPECT_FALSE(numbers.widen(size));
  EXPECT_FALSE(Zip64Numbers("").widenDisk(disk));
}

TEST(UnicodePath, RenamesOnlyAnAsciiName) {
  std::string const extra = field(0x7075, std::string("\1\0\0\0\0other", 10));
  EXPECT_TRUE(isRenamedByUnicodePath("name", extra));
  EXPECT_FALSE(isRenamedByUnicodePath("other", extra));
  EXPECT_FALSE(isRenamedByUnicodePath("n\x84me", extra));
  EXPECT_FALSE(isRenamedByUnicodePath("name", field(0x7075, "\1")));
  EXPECT_FALSE(isRenamedByUnicodePath("name", ""));
}

}  // namespace
}  // namespace opc::model::zip
