// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoSamples.hpp"
#include "support/TestSupport.hpp"

namespace foundation::crypto {
namespace {

using namespace cryptolib_test;

/// A provider that fails, or hands out sevens, and notes the seeds.
class ScriptedProvider final : public interfaces::ICryptoProvider {
 public:
  void fillWithRandomBytes(std::span<unsigned char> bytes) override {
    if (fails) throw CryptoError("no randomness");
    std::fill(bytes.begin(), bytes.end(), 7);
  }
  void mixIn(BytesView seed) override { seeds.emplace_back(seed.begin(), seed.end()); }

  bool fails = false;
  std::vector<std::string> seeds;
};

TEST(CryptoPRNG, GivesAsManyBytesAsAreAskedFor) {
  auto prng = engine().createDefaultCryptoPRNG({});
  for (std::size_t count : {0U, 1U, 16U, 17U, 70'000U}) EXPECT_EQ(prng.generateByteArray(count).size(), count);
}

TEST(CryptoPRNG, NeverRepeatsItself) {
  auto prng = engine().createDefaultCryptoPRNG({});
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(seen.insert(zt_test::textOf(prng.generateByteArray(16))).second);
}

TEST(CryptoPRNG, GivesDifferentBytesForEqualSeeds) {
  Bytes const seed(32, 1);
  auto one = engine().createDefaultCryptoPRNG(seed);
  auto other = engine().createDefaultCryptoPRNG(seed);
  EXPECT_NE(one.generateByteArray(16), other.generateByteArray(16));
  auto copy = one;
  EXPECT_NE(one.generateByteArray(16), copy.generateByteArray(16));
}

TEST(CryptoPRNG, MixesASeedIntoTheProvidersGenerator) {
  auto const provider = std::make_shared<ScriptedProvider>();
  CryptoEngine(provider).createDefaultCryptoPRNG(Bytes{1, 2, 3});
  EXPECT_EQ(provider->seeds, std::vector<std::string>{"\1\2\3"});
}

TEST(CryptoPRNG, LeavesAnEmptySeedOut) {
  auto const provider = std::make_shared<ScriptedProvider>();
  CryptoEngine(provider).createDefaultCryptoPRNG({});
  CryptoEngine(provider).getDefaultCryptoPRNG();
  EXPECT_TRUE(provider->seeds.empty());
}

TEST(CryptoPRNG, TakesItsBytesFromTheProvider) {
  auto prng = CryptoEngine(std::make_shared<ScriptedProvider>()).getDefaultCryptoPRNG();
  EXPECT_EQ(prng.generateByteArray(3), (Bytes{7, 7, 7}));
}

TEST(CryptoPRNG, FailsWhereTheGeneratorFails) {
  auto const provider = std::make_shared<ScriptedProvider>();
  provider->fails = true;
  auto prng = CryptoEngine(provider).getDefaultCryptoPRNG();
  EXPECT_THROW_MESSAGE(prng.generateByteArray(16), CryptoError, "no randomness");
}

}  // namespace
}  // namespace foundation::crypto
