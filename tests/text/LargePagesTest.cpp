// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "text/LargePages.hpp"

namespace opc {
namespace {

TEST(LargePages, ReservingKeepsWhatIsThereAndMakesRoom) {
  for (std::size_t const size : {0U, 1U, 4096U, 2U << 20, (32U << 20) + 1}) {
    std::vector<unsigned char> bytes{1, 2, 3};
    reserveToFill(bytes, size);
    EXPECT_GE(bytes.capacity(), size);
    EXPECT_EQ(bytes, (std::vector<unsigned char>{1, 2, 3}));
    unsigned char const* const place = bytes.data();
    bytes.resize(std::max<std::size_t>(size, 3), 7);
    EXPECT_EQ(bytes.data(), place);
    EXPECT_EQ(bytes.front(), 1);
  }
}

TEST(LargePages, StringsOfAnyCharacterCanBeReserved) {
  std::u16string text = u"text";
  reserveToFill(text, 8U << 20);
  text.resize(8U << 20, u'x');
  EXPECT_EQ(text.substr(0, 5), u"textx");
}

TEST(LargePages, NoMemoryAtAllIsFine) { preferLargePages(nullptr, 0); }

}  // namespace
}  // namespace opc
