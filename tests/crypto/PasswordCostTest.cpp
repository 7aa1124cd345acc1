// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/Encodings.hpp"
#include "crypto/PasswordKeys.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Relationship.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "support/CryptoAnswers.hpp"
#include "support/MemoryScan.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::CryptoError;
using foundation::crypto::ScryptCost;
using foundation::crypto::utils::CouldNotDecrypt;
using foundation::crypto::utils::hexEncode;
using zt_test::bytesOf;
using Bytes = std::vector<unsigned char>;
using Manager = CipherDataManager;

constexpr char16_t kCheapSalt[] = u"$scrypt$ln=4,r=8,p=1$00112233445566778899aabbccddeeff";
constexpr char16_t kPlainSalt[] = u"00112233445566778899aabbccddeeff";
Bytes const kDerivationIV(16, 0x5A);

CipherEntry entryOf(std::u16string const& password, std::u16string const& salt = kCheapSalt) {
  PasswordKey const made = Manager::derivePasswordKey(password, salt, kDerivationIV, 32);
  return {{model::URI(u"/"), model::RelationshipSelectorType::ByType, u"t"}, made.hash, salt, kDerivationIV};
}

std::u16string withCost(std::string const& cost) { return toString("$scrypt$" + cost + "$0011223344556677"); }

// RFC 7914, 12.
TEST(Scrypt, GivesThePublishedBytes) {
  EXPECT_EQ(hexEncode(foundation::crypto::scrypt({}, {}, {4, 1, 1}, 64)),
            "77d6576238657b203b19ca42c18a0497f16b4844e3074ae8dfdffa3fede21442"
            "fcd0069ded0948f8326a753a0fc81f17e8d3e0fb2e0d3628cf35e20c38d18906");
  EXPECT_EQ(hexEncode(foundation::crypto::scrypt(bytesOf("password"), bytesOf("NaCl"), {10, 8, 16}, 64)),
            "fdbabe1c9d3472007856e7190d01e9fe7c6ad7cbc8237830e77376634b373162"
            "2eaf30d92e22a3886ff109279d9830dac727afb94a83ee6d8360cbdfa2cc0640");
}

TEST(Scrypt, RefusesACostThatItIsNotDefinedFor) {
  for (ScryptCost const cost : {ScryptCost{0, 8, 1}, ScryptCost{41, 8, 1}, ScryptCost{16, 1, 1}, ScryptCost{4, 0, 1},
                                ScryptCost{4, 8, 0}, ScryptCost{4, 1U << 15, 1U << 15}})
    EXPECT_THROW_MESSAGE(foundation::crypto::scrypt({}, {}, cost, 1), CryptoError, "scrypt has no such cost");
}

// Computed with Python's hashlib and hmac; the first is the example of docs/formats.md.
TEST(PasswordCost, GivesTheKeysOfAnIndependentImplementation) {
  PasswordKey const made = Manager::derivePasswordKey(
      u"open sesame", u"$scrypt$ln=17,r=8,p=1$00112233445566778899aabbccddeeff", kDerivationIV, 32);
  EXPECT_EQ(hexEncode(made.key), "4ebedfb6cf6c71d9903f328aa66eee5cb627121a395ce80e45930ca75301941f");
  EXPECT_EQ(foundation::crypto::utils::base64Encode(made.hash), "59+CAKHFBaUkLQCSTMvvbvCLHzFkIX+Z7mLcHdUJirI=");
  EXPECT_EQ(hexEncode(Manager::derivePasswordKey(
                          u"open sesame", u"$scrypt$ln=10,r=4,p=3$00112233445566778899aabbccddeeff", kDerivationIV, 32)
                          .key),
            "4322a829681f964070d6651028c0855284613e6696b39a62f6bda3604722b9c9");
}

TEST(PasswordCost, ASaltThatNamesNoDerivationIsThatOfEarlierPackages) {
  PasswordKey const made = Manager::derivePasswordKey(u"open sesame", kPlainSalt, kDerivationIV, 32);
  EXPECT_EQ(made.key, Manager::deriveEncryptionKey(u"open sesame", kPlainSalt, kDerivationIV, 600'000, 32));
  EXPECT_EQ(made.hash, Manager::derivePasswordHash(u"open sesame", kPlainSalt, kDerivationIV, 600'000, 32));
}

TEST(PasswordCost, IsNamedByNewSalts) {
  std::u16string const salt = Manager::generateRandomSalt(PasswordCost());
  EXPECT_TRUE(salt.starts_with(u"$scrypt$ln=17,r=8,p=1$")) << toUTF8String(salt);
  EXPECT_EQ(salt.size(), 22u + 32u);
  EXPECT_NE(Manager::generateRandomSalt(PasswordCost()), salt);
  EXPECT_THROW(Manager::generateRandomSalt(PasswordCost{.logN = 0}), InvalidCipherData);
}

TEST(PasswordCost, OpensWithTheRightPasswordOnly) {
  CipherEntry const entry = entryOf(u"open sesame");
  EXPECT_EQ(Manager::derivePasswordKey(u"open sesame", entry, 32),
            Manager::derivePasswordKey(u"open sesame", kCheapSalt, kDerivationIV, 32).key);
  EXPECT_THROW_MESSAGE(Manager::derivePasswordKey(u"open sesamf", entry, 32), CouldNotDecrypt,
                       "The key is wrong or the content is damaged");
}

TEST(PasswordCost, EqualPasswordsInOtherFormsOpen) {
  CipherEntry const entry = entryOf(u"caf\u00E9 au lait");
  Bytes const key = Manager::derivePasswordKey(u"caf\u00E9 au lait", entry, 32);
  EXPECT_EQ(hexEncode(key), "11268fd481508e302bee18fb3a249e7b399218bd232e628d5182c720710e4dbf");
  for (std::u16string const same : {u"cafe\u0301 au lait", u"caf\u00E9\u00A0au\u3000lait", u"\uFEFFcaf\u00E9 au lait"})
    EXPECT_EQ(Manager::derivePasswordKey(same, entry, 32), key);
  EXPECT_THROW(Manager::derivePasswordKey(u"cafe au lait", entry, 32), CouldNotDecrypt);
}

// Earlier versions derived from the password as it was.
TEST(PasswordCost, PasswordsThatOpenOnlyAsTheyAreStillOpen) {
  std::u16string const decomposed = u"cafe\u0301";
  Bytes const hash = Manager::derivePasswordHash(decomposed, kPlainSalt, kDerivationIV, 600'000, 32);
  CipherEntry const entry({model::URI(u"/"), model::RelationshipSelectorType::ByType, u"t"}, hash, kPlainSalt,
                          kDerivationIV);
  EXPECT_EQ(Manager::derivePasswordKey(decomposed, entry, 32),
            Manager::deriveEncryptionKey(decomposed, kPlainSalt, kDerivationIV, 600'000, 32));
  EXPECT_THROW(Manager::derivePasswordKey(u"caf\u00E9", entry, 32), CouldNotDecrypt);
}

TEST(PasswordCost, IsBoundedBeforeAnyWork) {
  for (auto const& [cost, reason] : std::vector<std::pair<std::string, std::string>>{
           {"ln=21,r=8,p=1", "takes 2048 MiB of memory, and no more than 1024 are allowed"},
           {"ln=40,r=8,p=1", "takes 1073741824 MiB of memory, and no more than 1024 are allowed"},
           {"ln=1,r=1,p=1073741823", "takes 131072 MiB of memory, and no more than 1024 are allowed"}}) {
    CipherEntry const entry({model::URI(u"/"), model::RelationshipSelectorType::ByType, u"t"}, {1}, withCost(cost),
                            kDerivationIV);
    EXPECT_THROW_MESSAGE(Manager::derivePasswordKey(u"x", entry, 32), CouldNotDecrypt,
                         "deriving the key from the password " + reason);
  }
}

TEST(PasswordCost, OfTooMuchTimeIsRefusedByAnEstimate) {
  std::string const reason = Manager::describeExcessiveCost(withCost("ln=20,r=8,p=100000"));
  EXPECT_TRUE(reason.starts_with("deriving the key from the password takes about ")) << reason;
  EXPECT_TRUE(reason.ends_with(" seconds, and no more than 60 are allowed")) << reason;
}

TEST(PasswordCost, OfDefaultAndOfEarlierSaltsIsAllowed) {
  EXPECT_EQ(Manager::describeExcessiveCost(kPlainSalt), "");
  EXPECT_EQ(Manager::describeExcessiveCost(withCost("ln=17,r=8,p=1")), "");
  EXPECT_EQ(Manager::describeExcessiveCost(withCost("ln=20,r=8,p=1")), "");
}

TEST(PasswordCost, OfAnyAmountIsTakenWhereTheCallerAllowsIt) {
  CipherEntry const entry = entryOf(u"x", withCost("ln=1,r=8,p=2000"));
  EXPECT_EQ(Manager::derivePasswordKey(u"x", entry, 32, CostRule::Any),
            Manager::derivePasswordKey(u"x", entry, 32, CostRule::Bounded));
}

TEST(PasswordCost, ThatCannotBeReadIsInvalid) {
  for (char const* const salt :
       {"$", "$argon2id$v=19$m=65536,t=2,p=1$0011", "$scrypt$ln=17,r=8,p=1", "$scrypt$ln=,r=8,p=1$0011",
        "$scrypt$ln=017,r=8,p=1$0011", "$scrypt$ln=-1,r=8,p=1$0011", "$scrypt$ln=99999999999,r=8,p=1$0011",
        "$scrypt$ln=0,r=8,p=1$0011", "$scrypt$ln=16,r=1,p=1$0011", "$scrypt$ln=4,r=8,p=1,x=2$0011"})
    EXPECT_THROW(Manager::describeExcessiveCost(toString(std::string(salt))), InvalidCipherData) << salt;
}

TEST(PasswordCost, DerivingLeavesNoPasswordInMemory) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  Bytes revealed = hidden.reveal();
  std::u16string const password(revealed.begin(), revealed.end());
  foundation::crypto::wipe(revealed.data(), revealed.size());
  std::size_t const before = hidden.countInMemory(sizeof(char16_t));
  EXPECT_GT(before, 0U) << "the search finds nothing";
  Manager::derivePasswordKey(password, entryOf(password), 32);
  EXPECT_EQ(hidden.countInMemory(), 0U);
  EXPECT_EQ(hidden.countInMemory(sizeof(char16_t)), before);
}

}  // namespace
}  // namespace opc::ztservices
