// SPDX-License-Identifier: Apache-2.0
#include <boost/uuid/uuid_io.hpp>
#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>

#include "services/properties/RandomUUID.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

/// Counts its bytes up from one, and may fail.
class Counting final : public foundation::crypto::interfaces::ICryptoPRNG {
 public:
  foundation::crypto::Bytes generateByteArray(std::size_t count) override {
    if (fails) throw std::runtime_error("no entropy");
    drawn += count;
    foundation::crypto::Bytes bytes(count);
    for (auto& byte : bytes) byte = next++;
    return bytes;
  }

  bool fails = false;
  std::size_t drawn = 0;
  unsigned char next = 1;
};

TEST(RandomUUID, IsTheGeneratorsBytesWithVersionAndVariant) {
  Counting generator;
  auto const uuid = makeRandomUUID(generator);
  EXPECT_EQ(uuid.version(), boost::uuids::uuid::version_random_number_based);
  EXPECT_EQ(uuid.variant(), boost::uuids::uuid::variant_rfc_4122);
  EXPECT_EQ(generator.drawn, 16U);
  EXPECT_EQ(to_string(uuid), "01020304-0506-4708-890a-0b0c0d0e0f10");
}

TEST(RandomUUID, FailureOfTheGeneratorComesThrough) {
  Counting generator;
  generator.fails = true;
  EXPECT_THROW_MESSAGE(makeRandomUUID(generator), std::runtime_error, "no entropy");
}

}  // namespace
}  // namespace opc::ztservices
