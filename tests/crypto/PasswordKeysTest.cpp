// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoSamples.hpp"
#include "crypto/Encodings.hpp"
#include "crypto/PasswordKeys.hpp"
#include "opc/Strings.hpp"
#include "support/MemoryScan.hpp"
#include "support/TestSupport.hpp"

namespace foundation::crypto {
namespace {

using namespace cryptolib_test;

constexpr char16_t kPassword[] = u"open sesame";
constexpr char16_t kSalt[] = u"00112233445566778899aabbccddeeff";

std::u16string textFromHex(std::string const& digits) {
  return opc::toString(zt_test::textOf(zt_test::fromHex(digits)));
}

SecretBytes decryptionKey(std::u16string const& password, Bytes const& hash) {
  return engine().getDecryptionKeyFromPassword(password, kSalt, hash, sampleIV(), 10, 32);
}

Bytes sampleHash() { return engine().getPasswordHash(kPassword, kSalt, sampleIV(), 10, 32); }

TEST(PasswordKeys, AgreeWithAnIndependentImplementation) {
  for (auto const& row : zt_test::knownAnswers("password")) {
    PasswordKeys const keys(textFromHex(row[0]), textFromHex(row[1]), zt_test::fromHex(row[2]), std::stoi(row[3]),
                            std::stoi(row[4]));
    EXPECT_EQ(utils::hexEncode(keys.key()), row[5]);
    EXPECT_EQ(utils::hexEncode(keys.verifier()), row[6]);
  }
}

// RFC 5869, A.1
TEST(PasswordKeys, ExpandAsPublished) {
  Bytes const root = zt_test::fromHex("077709362c2e32df0ddc3f0dc47bba6390b6c73bb50f9c3122ec844ad7c2b3e5");
  Bytes const info = zt_test::fromHex("f0f1f2f3f4f5f6f7f8f9");
  EXPECT_EQ(utils::hexEncode(hkdfExpandSHA256(root, zt_test::textOf(info), 42)),
            "3cb25f25faacd57a90434f64d0362f2a2d2d0a90cf1a5a4c5db02d56ecc4c5bf34007208d5b887185865");
}

TEST(PasswordKeys, GiveTheSameKeyForEncryptionAndDecryption) {
  EXPECT_EQ(decryptionKey(kPassword, sampleHash()),
            engine().getEncryptionKeyFromPassword(kPassword, kSalt, sampleIV(), 10, 32));
}

TEST(PasswordKeys, DependOnEveryArgument) {
  auto const keyOf = [](std::u16string const& password, std::u16string const& salt, Bytes const& iv, int iterations) {
    return PasswordKeys(password, salt, iv, iterations, 32).key();
  };
  SecretBytes const key = keyOf(kPassword, kSalt, sampleIV(), 10);
  EXPECT_NE(keyOf(u"open sesamf", kSalt, sampleIV(), 10), key);
  EXPECT_NE(keyOf(kPassword, u"00112233445566778899aabbccddeefe", sampleIV(), 10), key);
  EXPECT_NE(keyOf(kPassword, kSalt, Bytes(16, 0x5B), 10), key);
  EXPECT_NE(keyOf(kPassword, kSalt, sampleIV(), 11), key);
}

TEST(PasswordKeys, ShowNothingOfTheKeyInTheHash) {
  SecretBytes const key = engine().getEncryptionKeyFromPassword(kPassword, kSalt, sampleIV(), 10, 32);
  EXPECT_NE(Bytes(key.begin(), key.end()), sampleHash());
  EXPECT_EQ(sampleHash().size(), 32U);
}

TEST(PasswordKeys, AreRefusedForAnotherPassword) {
  for (char16_t const* password : {u"", u"open sesam", u"Open sesame", u"open sesame "})
    EXPECT_THROW_MESSAGE(decryptionKey(password, sampleHash()), utils::CouldNotDecrypt, kCouldNotDecrypt);
}

TEST(PasswordKeys, AreRefusedForAChangedHash) {
  for (std::size_t i = 0; i < 32; ++i) {
    Bytes hash = sampleHash();
    hash[i] ^= 0x80;
    EXPECT_THROW_MESSAGE(decryptionKey(kPassword, hash), utils::CouldNotDecrypt, kCouldNotDecrypt);
  }
  Bytes const hash = sampleHash();
  EXPECT_THROW(decryptionKey(kPassword, {}), utils::CouldNotDecrypt);
  EXPECT_THROW(decryptionKey(kPassword, {hash.begin(), hash.end() - 1}), utils::CouldNotDecrypt);
}

TEST(PasswordKeys, TakeAnEmptyPassword) {
  EXPECT_NO_THROW(engine().getEncryptionKeyFromPassword(u"", kSalt, sampleIV(), 1, 32));
}

TEST(PasswordKeys, BoundTheIterations) {
  for (int iterations : {-1, 0, 10'000'001})
    EXPECT_THROW_MESSAGE(PasswordKeys(kPassword, kSalt, sampleIV(), iterations, 32), CryptoError,
                         "The number of iterations must be from 1 to 10000000");
}

TEST(PasswordKeys, BoundTheSalt) {
  for (std::size_t length : {0U, 7U, 1025U})
    EXPECT_THROW_MESSAGE(PasswordKeys(kPassword, std::u16string(length, u's'), {}, 1, 32), CryptoError,
                         "Salt and initialization vector must have 8 to 1024 bytes together");
  EXPECT_NO_THROW(PasswordKeys(kPassword, std::u16string(8, u's'), {}, 1, 32));
  EXPECT_NO_THROW(PasswordKeys(kPassword, std::u16string(1008, u's'), sampleIV(), 1, 32));
}

TEST(PasswordKeys, BoundTheLengthOfTheKey) {
  for (int keyBytes : {-1, 0, 8161})
    EXPECT_THROW_MESSAGE(PasswordKeys(kPassword, kSalt, sampleIV(), 1, keyBytes), CryptoError,
                         "The length of the key must be from 1 to 8160 bytes");
  EXPECT_EQ(PasswordKeys(kPassword, kSalt, sampleIV(), 1, 8160).key().size(), 8160U);
}

TEST(PasswordKeys, DoNotQuoteATextThatIsNone) {
  std::u16string const lone = u"secret\xD800";
  EXPECT_THROW_MESSAGE(PasswordKeys(lone, kSalt, sampleIV(), 1, 32), CryptoError, "The password is not valid text");
  EXPECT_THROW_MESSAGE(PasswordKeys(kPassword, lone, sampleIV(), 1, 32), CryptoError, "The salt is not valid text");
}

TEST(PasswordKeys, LeaveNoPasswordInMemory) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  Bytes revealed = hidden.reveal();
  std::u16string const password(revealed.begin(), revealed.end());  // not what is searched for: that is UTF-8
  wipe(revealed.data(), revealed.size());
  PasswordKeys const keys(password, kSalt, sampleIV(), 2, 32);
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

}  // namespace
}  // namespace foundation::crypto
