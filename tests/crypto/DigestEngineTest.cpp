// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "crypto/CryptoSamples.hpp"
#include "crypto/Encodings.hpp"
#include "support/MemoryScan.hpp"
#include "support/TestSupport.hpp"

namespace foundation::crypto {
namespace {

using namespace cryptolib_test;

TEST(DigestEngine, AgreesWithAnIndependentImplementation) {
  for (auto const& row : zt_test::knownAnswers("hmac")) {
    auto digests = engine().createHMACSHA256DigestEngine(zt_test::fromHex(row[0]));
    EXPECT_EQ(utils::hexEncode(digests.digest(zt_test::sampleContent(std::stoul(row[1])))), row[2]) << row[0];
  }
}

// RFC 4231, 4.3
TEST(DigestEngine, MeetsAPublishedVector) {
  auto digests = engine().createHMACSHA256DigestEngine(zt_test::bytesOf("Jefe"));
  EXPECT_EQ(utils::hexEncode(digests.digest(zt_test::bytesOf("what do ya want for nothing?"))),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
}

// Computed by Python's hmac; Java refuses such a key.
TEST(DigestEngine, TakesAnEmptyKey) {
  auto digests = engine().createHMACSHA256DigestEngine({});
  EXPECT_EQ(utils::hexEncode(digests.digest({})), "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
}

TEST(DigestEngine, StartsAnewWithEachDigest) {
  auto digests = engine().createHMACSHA256DigestEngine(sampleKey());
  Bytes const first = digests.digest(zt_test::bytesOf("/a"));
  EXPECT_NE(digests.digest(zt_test::bytesOf("/b")), first);
  EXPECT_EQ(digests.digest(zt_test::bytesOf("/a")), first);
}

TEST(DigestEngine, KeepsItsKeyWhenItIsMoved) {
  auto first = engine().createHMACSHA256DigestEngine(sampleKey());
  Bytes const expected = first.digest(zt_test::bytesOf("/a"));
  DigestEngine second = std::move(first);
  EXPECT_EQ(second.digest(zt_test::bytesOf("/a")), expected);
}

TEST(DigestEngine, LeavesNoKeyInMemory) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  {
    Bytes revealed = hidden.reveal();
    auto digests = engine().createHMACSHA256DigestEngine(revealed);
    digests.digest(Bytes(100));
    EXPECT_GT(hidden.countInMemory(), 0U) << "the search finds nothing";
    wipe(revealed.data(), revealed.size());
  }
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

}  // namespace
}  // namespace foundation::crypto
