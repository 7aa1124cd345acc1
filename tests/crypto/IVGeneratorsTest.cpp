// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <span>
#include <string>
#include <unordered_set>
#include <vector>

#include "crypto/CryptoErrors.hpp"
#include "crypto/IVGenerators.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "support/CryptoAnswers.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using zt_test::Bytes;
using zt_test::fromHex;

constexpr char kFixedTooShort[] = "IV fixed portion must be at least 8 bytes";
constexpr char kSeedTooShort[] = "IV seed must be at least 8 bytes when it is specified";

Bytes const kFixed = {0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7};

std::string asKey(Bytes const& iv) { return zt_test::textOf(iv); }

TEST(IVMode, IsNumbered) {
  EXPECT_EQ(static_cast<std::uint32_t>(IVMode::Random), 0U);
  EXPECT_EQ(static_cast<std::uint32_t>(IVMode::Deterministic), 1U);
}

TEST(DeterministicIVGenerator, CountsBehindTheFixedPortion) {
  auto const generator = createIVGenerator(IVMode::Deterministic, kFixed);
  EXPECT_EQ(generator->generate(), fromHex("f0f1f2f3f4f5f6f70100000000000000"));
  EXPECT_EQ(generator->generate(), fromHex("f0f1f2f3f4f5f6f700000000000000d8"));
  EXPECT_EQ(generator->generate(), fromHex("f0f1f2f3f4f5f6f7000000000000006c"));
}

TEST(DeterministicIVGenerator, GivesTheSameSequenceForTheSameFixedPortion) {
  auto const one = createIVGenerator(IVMode::Deterministic, kFixed);
  auto const other = createIVGenerator(IVMode::Deterministic, kFixed);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(one->generate(), other->generate());
}

TEST(DeterministicIVGenerator, DoesNotRepeatInAMillionSteps) {
  auto const generator = createIVGenerator(IVMode::Deterministic, kFixed);
  std::unordered_set<std::uint64_t> seen;
  for (int i = 0; i < 1'000'000; ++i) {
    Bytes const iv = generator->generate();
    ASSERT_TRUE(std::equal(kFixed.begin(), kFixed.end(), iv.begin()));
    std::uint64_t counter = 0;
    std::memcpy(&counter, iv.data() + 8, sizeof counter);
    ASSERT_NE(counter, 0U);
    ASSERT_TRUE(seen.insert(counter).second) << "step " << i;
  }
}

// The polynomial x^64 + x^63 + x^61 + x^60 + 1, stepped bit by bit.
TEST(DeterministicIVGenerator, StepsAsAShiftRegisterOfBits) {
  auto const generator = createIVGenerator(IVMode::Deterministic, kFixed);
  std::vector<bool> bits(64, false);  // least significant first
  bits[0] = true;
  for (int step = 0; step < 5000; ++step) {
    Bytes const iv = generator->generate();
    for (std::size_t i = 0; i < 64; ++i) ASSERT_EQ(bits[i], (iv[8 + i / 8] >> i % 8 & 1) != 0) << "step " << step;
    bool const out = bits[0];
    std::rotate(bits.begin(), bits.begin() + 1, bits.end());
    bits[63] = out;
    for (std::size_t tap : {62U, 60U, 59U}) bits[tap] = bits[tap] != out;
  }
}

TEST(DeterministicIVGenerator, NeedsEightBytes) {
  for (std::size_t count : {0U, 1U, 7U})
    EXPECT_THROW_MESSAGE(createIVGenerator(IVMode::Deterministic, Bytes(count)), InvalidIVBytesSize, kFixedTooShort);
  EXPECT_EQ(createIVGenerator(IVMode::Deterministic, Bytes(8, 9))->generate().size(), 16U);
}

TEST(DeterministicIVGenerator, TakesTheFirstEightOfMoreBytes) {
  Bytes longer = kFixed;
  longer.resize(20, 0xEE);
  EXPECT_EQ(createIVGenerator(IVMode::Deterministic, longer)->generate(),
            createIVGenerator(IVMode::Deterministic, kFixed)->generate());
}

TEST(DeterministicIVGenerator, IsMeantByEveryModeButRandom) {
  EXPECT_EQ(createIVGenerator(static_cast<IVMode>(7), kFixed)->generate(),
            createIVGenerator(IVMode::Deterministic, kFixed)->generate());
}

TEST(RandomIVGenerator, TakesNoSeedOrOneOfEightBytes) {
  for (std::size_t count : {0U, 8U, 9U, 1000U})
    EXPECT_EQ(createIVGenerator(IVMode::Random, Bytes(count))->generate().size(), 16U) << count;
}

TEST(RandomIVGenerator, RefusesAShorterSeed) {
  for (std::size_t count : {1U, 5U, 7U})
    EXPECT_THROW_MESSAGE(createIVGenerator(IVMode::Random, Bytes(count)), InvalidIVBytesSize, kSeedTooShort);
}

TEST(RandomIVGenerator, DoesNotRepeatInAHundredThousand) {
  auto const generator = createIVGenerator(IVMode::Random, {});
  std::unordered_set<std::string> seen;
  for (int i = 0; i < 100'000; ++i) ASSERT_TRUE(seen.insert(asKey(generator->generate())).second);
}

TEST(RandomIVGenerator, GivesDifferentIVsForEqualSeeds) {
  std::unordered_set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    auto const generator = createIVGenerator(IVMode::Random, Bytes(16, 0xAA));
    EXPECT_TRUE(seen.insert(asKey(generator->generate())).second);
    EXPECT_TRUE(seen.insert(asKey(generator->generate())).second);
  }
}

TEST(RandomIVGenerator, SharesNoIVWithAForkedProcess) {
  auto const generator = createIVGenerator(IVMode::Random, {});
  generator->generate();
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  pid_t const child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    try {
      Bytes const iv = generator->generate();
      _exit(write(ends[1], iv.data(), iv.size()) == static_cast<ssize_t>(iv.size()) ? 0 : 1);
    } catch (...) {
      _exit(1);
    }
  }
  close(ends[1]);
  Bytes childs(16);
  EXPECT_EQ(read(ends[0], childs.data(), childs.size()), 16);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  close(ends[0]);
  for (int i = 0; i < 1000; ++i) EXPECT_NE(generator->generate(), childs);
}

class FailingProvider final : public foundation::crypto::interfaces::ICryptoProvider {
 public:
  void fillWithRandomBytes(std::span<unsigned char>) override {
    throw foundation::crypto::CryptoError("no randomness");
  }
  void mixIn(foundation::crypto::BytesView) override {}
};

/// Counts up, as the copy of a memory would again, until entropy comes in.
class CopiedProvider final : public foundation::crypto::interfaces::ICryptoProvider {
 public:
  void fillWithRandomBytes(std::span<unsigned char> bytes) override {
    drawn = bytes.size();
    std::ranges::fill(bytes, state_);
    if (!bytes.empty()) bytes.back() = static_cast<unsigned char>(++state_);
  }
  void mixIn(foundation::crypto::BytesView entropy) override {
    mixed.emplace_back(entropy.begin(), entropy.end());
    state_ = static_cast<unsigned char>(state_ + entropy.front());
  }

  std::size_t drawn = 0;
  std::vector<Bytes> mixed;

 private:
  unsigned char state_ = 0;
};

TEST(RandomIVGenerator, MixesInOtherEntropyBeforeEachSixteenVectors) {
  auto const provider = std::make_shared<CopiedProvider>();
  RandomIVGenerator first(provider, {}), second(provider, {});
  for (int i = 0; i < 16; ++i) first.generate();
  EXPECT_EQ(provider->drawn, 256U);
  EXPECT_EQ(provider->mixed.size(), 1U);
  first.generate();
  second.generate();
  ASSERT_EQ(provider->mixed.size(), 3U);
  for (Bytes const& entropy : provider->mixed) EXPECT_EQ(entropy.size(), 32U);
  EXPECT_NE(provider->mixed[0], provider->mixed[1]);
  EXPECT_NE(provider->mixed[1], provider->mixed[2]);
}

TEST(RandomIVGenerator, FailsWhereTheGeneratorFails) {
  RandomIVGenerator generator(std::make_shared<FailingProvider>(), {});
  EXPECT_THROW_MESSAGE(generator.generate(), foundation::crypto::CryptoError, "no randomness");
}

TEST(InvalidIVBytesSize, CarriesNoErrorCode) {
  try {
    createIVGenerator(IVMode::Random, Bytes(5));
    ADD_FAILURE() << "nothing was thrown";
  } catch (Exception const& error) {
    EXPECT_EQ(error.getErrorCode(), boost::system::error_code(0, boost::system::system_category()));
  }
}

}  // namespace
}  // namespace opc::ztservices
