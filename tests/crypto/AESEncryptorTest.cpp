// SPDX-License-Identifier: Apache-2.0
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "crypto/CryptoSamples.hpp"
#include "crypto/Digests.hpp"
#include "crypto/Encodings.hpp"
#include "support/TestSupport.hpp"

namespace foundation::crypto {
namespace {

using namespace cryptolib_test;
using utils::CouldNotEncrypt;

std::string shown(Bytes const& message) {
  if (message.size() <= 64 + 16) return utils::hexEncode(message);
  Sha256 digest;
  digest.update(message.data(), message.size());
  return "sha256:" + utils::hexEncode(digest.finish());
}

TEST(AESEncryptor, AgreesWithAnIndependentImplementation) {
  for (auto const& row : zt_test::knownAnswers("aes"))
    EXPECT_EQ(shown(encrypted(zt_test::fromHex(row[0]), zt_test::fromHex(row[1]),
                              zt_test::sampleContent(std::stoul(row[2])))),
              row[3])
        << row[2] << " bytes";
}

TEST(AESEncryptor, MakesAMessageOfSixteenBytesMoreThanTheContent) {
  for (std::size_t length : {0U, 1U, 16U, 16384U, 100'000U})
    EXPECT_EQ(encrypted(sampleKey(), sampleIV(), Bytes(length)).size(), length + 16);
}

TEST(AESEncryptor, UsesEveryByteOfTheIV) {
  Bytes const message = encrypted(sampleKey(), sampleIV(), Bytes(64));
  for (std::size_t i = 0; i < 16; ++i) {
    Bytes iv = sampleIV();
    iv[i] ^= 1;
    EXPECT_NE(encrypted(sampleKey(), iv, Bytes(64)), message) << "byte " << i;
  }
}

TEST(AESEncryptor, StartsAnewWithEachMessage) {
  auto encryptor = encryptorOf(sampleKey(), sampleIV());
  Bytes const first = encrypt(zt_test::sampleContent(100), encryptor);
  encrypt(zt_test::sampleContent(77), encryptor);
  EXPECT_EQ(encrypt(zt_test::sampleContent(100), encryptor), first);
}

TEST(AESEncryptor, SharesAKeyWithoutBeingDisturbed) {
  auto const made = engine();
  AESKey const key = made.createAES256Key(sampleKey());
  AESEncryptor one(key, sampleIV()), other(key, Bytes(16, 1));
  AESDecryptor decryptor(key, sampleIV());
  Bytes const content = zt_test::sampleContent(50);
  Bytes const message = encrypted(sampleKey(), sampleIV(), content);
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(encrypt(content, other), encrypted(sampleKey(), Bytes(16, 1), content));
    EXPECT_EQ(encrypt(content, one), message);
    EXPECT_EQ(decrypt(message, decryptor), content);
    EXPECT_THROW(decrypt(Bytes(20), decryptor), utils::CouldNotDecrypt);
  }
}

TEST(AESEncryptor, AppendsToWhatIsThere) {
  auto encryptor = encryptorOf(sampleKey(), sampleIV());
  Bytes out = {1, 2, 3};
  encryptor.append(Bytes(5, 'x'), out);
  Bytes expected = encrypt(Bytes(5, 'x'), encryptor);
  expected.insert(expected.begin(), {1, 2, 3});
  EXPECT_EQ(out, expected);
}

TEST(AESEncryptor, UsesABufferAgain) {
  auto encryptor = encryptorOf(sampleKey(), sampleIV());
  for (std::size_t before : {0U, 3U, 10U, 18U, 19U, 20U, 40'000U}) {
    Bytes out(std::max<std::size_t>(before, 3), 9);
    encryptor.put(Bytes(5, 'x'), out, 3);
    Bytes expected = encrypt(Bytes(5, 'x'), encryptor);
    expected.insert(expected.begin(), {9, 9, 9});
    EXPECT_EQ(out, expected) << before;
  }
}

TEST(AESEncryptor, RefusesAnIVOfAnotherLength) {
  for (std::size_t length : {0U, 1U, 12U, 15U, 17U, 32U})
    EXPECT_THROW_MESSAGE(encryptorOf(sampleKey(), Bytes(length)), CouldNotEncrypt,
                         "An initialization vector must be 16 bytes long, not " + std::to_string(length));
}

TEST(AESEncryptor, FailsWithAStandardError) { EXPECT_THROW(encryptorOf(sampleKey(), {}), std::runtime_error); }

TEST(AESEncryptor, RefusesMoreThanGCMAllowsForOneMessage) {
  constexpr std::uint64_t longest = (std::uint64_t{1} << 36) - 31;
  if (longest > SIZE_MAX) GTEST_SKIP() << "nothing so long can be in memory";
  auto const count = static_cast<std::size_t>(longest);
  void* const reserved = mmap(nullptr, count, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (reserved == MAP_FAILED) GTEST_SKIP() << "no address space to reserve";
  auto encryptor = encryptorOf(sampleKey(), sampleIV());
  Bytes out = {7};
  EXPECT_THROW_MESSAGE(encryptor.append({static_cast<unsigned char*>(reserved), count}, out), CouldNotEncrypt,
                       "The content is too long to be one message");
  EXPECT_EQ(out, Bytes{7});
  munmap(reserved, count);
}

}  // namespace
}  // namespace foundation::crypto
