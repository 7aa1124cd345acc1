// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/Encodings.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "support/CryptoAnswers.hpp"
#include "support/MemoryScan.hpp"
#include "support/TestSupport.hpp"

/// The keys that the cipher-data manager derives.
namespace opc::ztservices {
namespace {

using foundation::crypto::CryptoError;
using foundation::crypto::utils::hexEncode;
using Bytes = std::vector<unsigned char>;
using Manager = CipherDataManager;

constexpr char16_t kPassword[] = u"open sesame";
constexpr char16_t kSalt[] = u"00112233445566778899aabbccddeeff";
Bytes const kSampleIV(16, 0x5A);

std::u16string textFromHex(std::string const& digits) { return toString(zt_test::textOf(zt_test::fromHex(digits))); }

TEST(CipherKeys, AgreeWithAnIndependentImplementation) {
  auto const rows = zt_test::knownAnswers("password");
  ASSERT_FALSE(rows.empty());
  for (auto const& row : rows) {
    std::u16string const password = textFromHex(row[0]);
    std::u16string const salt = textFromHex(row[1]);
    Bytes const iv = zt_test::fromHex(row[2]);
    int const iterations = std::stoi(row[3]);
    int const keyBytes = std::stoi(row[4]);
    EXPECT_EQ(hexEncode(Manager::deriveEncryptionKey(password, salt, iv, iterations, keyBytes)), row[5]);
    Bytes const hash = Manager::derivePasswordHash(password, salt, iv, iterations, keyBytes);
    EXPECT_EQ(hexEncode(hash), row[6]);
    EXPECT_EQ(hexEncode(Manager::deriveDecryptionKey(password, salt, hash, iv, iterations, keyBytes)), row[5]);
  }
}

// The example of docs/formats.md, computed with Python's hashlib and hmac.
TEST(CipherKeys, AreThoseOfTheDocumentedExample) {
  EXPECT_EQ(hexEncode(Manager::deriveEncryptionKey(kPassword, kSalt, kSampleIV, 600'000, 32)),
            "8f310d47101db112d5b4235e4c72a2831001c5d5ccbac395fca79ac161481e3e");
  EXPECT_EQ(
      foundation::crypto::utils::base64Encode(Manager::derivePasswordHash(kPassword, kSalt, kSampleIV, 600'000, 32)),
      "Ugd5MF3J0i+2fuauT5PX47T5UOT6JG7TkAeU4nPLqV4=");
}

TEST(CipherKeys, AreRefusedForAnotherPassword) {
  Bytes const hash = Manager::derivePasswordHash(kPassword, kSalt, kSampleIV, 10, 32);
  EXPECT_THROW_MESSAGE(Manager::deriveDecryptionKey(u"open sesamf", kSalt, hash, kSampleIV, 10, 32),
                       foundation::crypto::utils::CouldNotDecrypt, "The key is wrong or the content is damaged");
  EXPECT_THROW(Manager::deriveDecryptionKey(kPassword, kSalt, hash, kSampleIV, 11, 32), std::runtime_error);
}

TEST(CipherKeys, HaveAHashThatIsNeitherTheKeyNorABeginningOfIt) {
  Bytes const hash = Manager::derivePasswordHash(kPassword, kSalt, kSampleIV, 10, 32);
  for (int keyBytes : {1, 16, 31, 32, 33, 64}) {
    Bytes const key = Manager::deriveEncryptionKey(kPassword, kSalt, kSampleIV, 10, keyBytes);
    EXPECT_NE(key, hash);
    auto const shorter = std::min(key.size(), hash.size());
    EXPECT_FALSE(std::equal(key.begin(), key.begin() + static_cast<std::ptrdiff_t>(shorter), hash.begin())) << keyBytes;
  }
  Bytes const longKey = Manager::deriveEncryptionKey(kPassword, kSalt, kSampleIV, 10, 8160);
  EXPECT_EQ(std::search(longKey.begin(), longKey.end(), hash.begin(), hash.end()), longKey.end());
}

TEST(CipherKeys, HaveAHashOf32BytesWhateverTheLengthOfTheKey) {
  Bytes const hash = Manager::derivePasswordHash(kPassword, kSalt, kSampleIV, 10, 1);
  EXPECT_EQ(hash.size(), 32U);
  EXPECT_EQ(Manager::derivePasswordHash(kPassword, kSalt, kSampleIV, 10, 64), hash);
}

TEST(CipherKeys, RefuseWhatIsOutOfBounds) {
  for (int iterations : {-1, 0, 10'000'001})
    EXPECT_THROW_MESSAGE(Manager::deriveEncryptionKey(kPassword, kSalt, kSampleIV, iterations, 32), CryptoError,
                         "The number of iterations must be from 1 to 10000000");
  // A derivation with these would take seconds: it does not begin.
  for (auto const& salt : {std::u16string(), std::u16string(1025, u's')})
    EXPECT_THROW_MESSAGE(Manager::deriveDecryptionKey(kPassword, salt, {1}, {}, 10'000'000, 32), CryptoError,
                         "Salt and initialization vector must have 8 to 1024 bytes together");
  EXPECT_THROW_MESSAGE(Manager::derivePasswordHash(kPassword, kSalt, kSampleIV, 10'000'000, 0), CryptoError,
                       "The length of the key must be from 1 to 8160 bytes");
}

TEST(CipherKeys, LeaveNoPasswordInMemory) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  Bytes revealed = hidden.reveal();
  std::u16string const password(revealed.begin(), revealed.end());  // not what is searched for: that is UTF-8
  foundation::crypto::wipe(revealed.data(), revealed.size());
  Bytes const hash = Manager::derivePasswordHash(password, kSalt, kSampleIV, 2, 32);
  Manager::deriveDecryptionKey(password, kSalt, hash, kSampleIV, 2, 32);
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

}  // namespace
}  // namespace opc::ztservices
