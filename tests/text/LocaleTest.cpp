// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "support/ScopedEnvironment.hpp"
#include "text/I18n.hpp"

namespace {

using fl::i18n::getGlobalLocaleEncodingName;
using zt_test::ScopedLocale;

TEST(GlobalLocaleEncodingName, IsTheUsersDefaultEncoding) {
  EXPECT_EQ((ScopedLocale("C.UTF-8"), getGlobalLocaleEncodingName()), u"UTF-8");
  EXPECT_EQ((ScopedLocale("xx_XX.ISO-8859-1"), getGlobalLocaleEncodingName()), u"ISO-8859-1");
}

TEST(GlobalLocaleEncodingName, IsASCIIInTheCLocale) {
  ScopedLocale const locale("C");
  EXPECT_EQ(getGlobalLocaleEncodingName(), u"US-ASCII");
}

TEST(GlobalLocaleEncodingName, FollowsTheEnvironment) {
  ScopedLocale const before("C");
  EXPECT_EQ(getGlobalLocaleEncodingName(), u"US-ASCII");
  ScopedLocale const after("C.UTF-8");
  EXPECT_EQ(getGlobalLocaleEncodingName(), u"UTF-8");
}

}  // namespace
