// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <gmock/gmock.h>
#include <limits>
#include <type_traits>
#include <utility>

#include "opc/Exception.hpp"
#include "support/TestSupport.hpp"
#include "text/Narrow.hpp"

namespace {

TEST(Exception, CarriesItsMessage) {
  opc::Exception const exception("Something failed");
  EXPECT_STREQ(exception.what(), "Something failed");
}

TEST(Exception, HasAnEmptyCodeOfTheSystemWithoutOne) {
  opc::Exception const exception("Something failed");
  EXPECT_EQ(exception.getErrorCode().value(), 0);
  EXPECT_EQ(exception.getErrorCode().category(), boost::system::system_category());
}

TEST(Exception, CarriesTheCodeThatItWasGiven) {
  boost::system::error_code const code(ENOSPC, boost::system::system_category());
  EXPECT_EQ(opc::Exception("Something failed", code).getErrorCode(), code);
}

TEST(Exception, IsCopiedWithoutThrowing) { EXPECT_TRUE(std::is_nothrow_copy_constructible_v<opc::Exception>); }

TEST(Exception, KeepsItsMessageWhenItIsMovedFrom) {
  opc::Exception first("Something failed");
  opc::Exception second(std::move(first));
  EXPECT_STREQ(first.what(), "Something failed");
  opc::Exception third("else");
  third = std::move(second);
  EXPECT_STREQ(second.what(), "Something failed");
  EXPECT_STREQ(third.what(), "Something failed");
}

TEST(Narrow, KeepsWhatFits) {
  EXPECT_EQ(opc::narrow<unsigned char>(255L), 255);
  EXPECT_EQ(opc::narrow<signed char>(-128), -128);
}

TEST(Narrow, RefusesWhatDoesNotFit) {
  EXPECT_THROW_MESSAGE(opc::narrow<unsigned char>(256), opc::Exception, "A number is too large for this system");
  EXPECT_THROW_MESSAGE(opc::narrow<unsigned>(-1), opc::Exception, "A number is too large for this system");
  EXPECT_THROW_MESSAGE(opc::narrow<std::int64_t>(std::numeric_limits<std::uint64_t>::max()), opc::Exception,
                       "A number is too large for this system");
}

}  // namespace
