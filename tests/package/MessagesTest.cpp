// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "package/Messages.hpp"

namespace opc::model::detail::messages {
namespace {

TEST(Messages, ShowANameEscaped) {
  EXPECT_EQ(shown(std::u16string_view(u"a\nb")), "a\\nb");
  EXPECT_EQ(shown(std::string_view("a\nb")), "a\\nb");
}

TEST(Messages, ShowALongNameWhole) {
  std::u16string const name(8192, u'n');
  EXPECT_EQ(shown(name), std::string(8192, 'n'));
}

TEST(Messages, ShowTheBeginningOfANameThatIsToFillTheMemory) {
  std::u16string const name(120'000, u'n');
  EXPECT_EQ(shown(name), std::string(1024, 'n') + "... (120000 UTF-16 code units)");
}

TEST(Messages, CutNoCharacterInTwo) {
  std::u16string const name = std::u16string(1023, u'n') + u"\U0001F600" + std::u16string(9000, u'n');
  EXPECT_EQ(shown(name), std::string(1023, 'n') + "... (10025 UTF-16 code units)");
}

}  // namespace
}  // namespace opc::model::detail::messages
