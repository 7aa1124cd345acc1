// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "crypto/Digests.hpp"
#include "crypto/Encodings.hpp"

namespace foundation::crypto {
namespace {

// The expected digests were computed by Python's hashlib; those of the empty text and "abc" are in FIPS 180-4 too.
struct KnownAnswer {
  std::string message;
  char const* digest;
};

std::string allBytesRepeated() {
  std::string text;
  for (int round = 0; round < 37; ++round)
    for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
  return text;
}

KnownAnswer const kKnownAnswers[] = {
    {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {std::string(55, 'a'), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
    {std::string(56, 'a'), "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a"},
    {std::string(64, 'a'), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
    {allBytesRepeated(), "480d8641d6c1055a8755af19a919c09c6b3f4f57ee7615d67da1f902e8e4c782"},
};

std::string digestInSteps(std::string const& message, std::size_t step) {
  Sha256 digest;
  for (std::size_t at = 0; at < message.size(); at += step)
    digest.update(message.data() + at, std::min(step, message.size() - at));
  return utils::hexEncode(digest.finish());
}

class Sha256Steps : public testing::TestWithParam<std::size_t> {};

TEST_P(Sha256Steps, GiveTheKnownAnswers) {
  for (auto const& known : kKnownAnswers)
    EXPECT_EQ(digestInSteps(known.message, GetParam()), known.digest) << known.message.size() << " bytes";
}

INSTANTIATE_TEST_SUITE_P(AllSizes, Sha256Steps, testing::Values(1, 2, 15, 16, 17, 4096, 1000000));

TEST(Sha256, StartsAnewAfterFinish) {
  Sha256 digest;
  digest.update("something else", 14);
  digest.finish();
  digest.update("abc", 3);
  EXPECT_EQ(utils::hexEncode(digest.finish()), kKnownAnswers[1].digest);
}

TEST(Sha256, TakesAnEmptyPieceForNothing) {
  Sha256 digest;
  digest.update("ab", 2);
  digest.update("", 0);
  digest.update("c", 1);
  EXPECT_EQ(utils::hexEncode(digest.finish()), kKnownAnswers[1].digest);
}

TEST(Sha256, KeepsItsStateWhenItIsMoved) {
  Sha256 first;
  first.update("ab", 2);
  Sha256 second = std::move(first);
  second.update("c", 1);
  EXPECT_EQ(utils::hexEncode(second.finish()), kKnownAnswers[1].digest);
}

TEST(Sha256, KeepsTwoObjectsApart) {
  Sha256 one, other;
  one.update("abc", 3);
  other.update("xyz", 3);
  EXPECT_EQ(utils::hexEncode(one.finish()), kKnownAnswers[1].digest);
}

}  // namespace
}  // namespace foundation::crypto
