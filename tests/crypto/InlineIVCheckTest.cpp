// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>

#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "crypto/IVGenerators.hpp"
#include "crypto/InlineIVCheck.hpp"
#include "crypto/TransformSamples.hpp"

namespace opc::ztservices {
namespace {

using namespace crypto_test;
using foundation::crypto::AESKey;

Bytes encryptedInline(Bytes const& content) {
  EncryptionWithInlineIVTransform transform(sourceOf(content), std::make_shared<CryptoEncryptor>(kKey), "AES256-GCM",
                                            createIVGenerator(IVMode::Random, {}));
  return readAll(transform);
}

/// Gives the message in pieces of so many bytes.
bool isAuthentic(InlineIVCheck& check, Bytes const& message, std::size_t step = SIZE_MAX) {
  foundation::crypto::BytesView rest(message);
  check.begin();
  while (!rest.empty()) {
    std::size_t const count = std::min(step, rest.size());
    check.append(rest.first(count));
    rest = rest.subspan(count);
  }
  return check.isAuthentic();
}

bool isAuthentic(Bytes const& message) {
  InlineIVCheck check{AESKey(kKey)};
  return isAuthentic(check, message);
}

TEST(InlineIVCheck, TakesWhatTheTransformMakes) {
  for (std::size_t const size : {0U, 1U, 15U, 16U, 17U, 16383U, 16384U, 16385U, 100'000U})
    EXPECT_TRUE(isAuthentic(encryptedInline(sampleContent(size)))) << size;
}

TEST(InlineIVCheck, TakesMessagesInPiecesOfAnySize) {
  Bytes const message = encryptedInline(sampleContent(5000));
  InlineIVCheck check{AESKey(kKey)};
  for (std::size_t const step : {1U, 2U, 15U, 16U, 17U, 31U, 32U, 33U, 4096U})
    EXPECT_TRUE(isAuthentic(check, message, step)) << step;
}

TEST(InlineIVCheck, RefusesAnyBitChanged) {
  Bytes const message = encryptedInline(sampleContent(37));
  for (std::size_t bit = 0; bit < 8 * message.size(); ++bit) {
    Bytes changed = message;
    changed[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    EXPECT_FALSE(isAuthentic(changed)) << bit;
  }
}

TEST(InlineIVCheck, RefusesEveryOtherLength) {
  Bytes message = encryptedInline(sampleContent(37));
  for (std::size_t size = 0; size < message.size(); ++size) EXPECT_FALSE(isAuthentic(front(message, size))) << size;
  message.push_back(0);
  EXPECT_FALSE(isAuthentic(message));
}

TEST(InlineIVCheck, RefusesAnotherKey) {
  Bytes other = kKey;
  other.back() ^= 1;
  InlineIVCheck check{AESKey(other)};
  EXPECT_FALSE(isAuthentic(check, encryptedInline(sampleContent(37))));
}

TEST(InlineIVCheck, TakesOneMessageAfterADamagedOne) {
  Bytes const message = encryptedInline(sampleContent(37));
  InlineIVCheck check{AESKey(kKey)};
  EXPECT_FALSE(isAuthentic(check, front(message, 20)));
  EXPECT_TRUE(isAuthentic(check, message));
}

TEST(InlineIVCheck, SaysOfAMessageOnlyOnceThatItIsAuthentic) {
  InlineIVCheck check{AESKey(kKey)};
  EXPECT_TRUE(isAuthentic(check, encryptedInline(sampleContent(37))));
  EXPECT_FALSE(check.isAuthentic());
}

}  // namespace
}  // namespace opc::ztservices
