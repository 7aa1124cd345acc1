// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "crypto/CryptoSamples.hpp"
#include "crypto/PasswordKeys.hpp"
#include "support/TestSupport.hpp"

// Vectors that others published, in their own JSON.
namespace foundation::crypto {
namespace {

using namespace cryptolib_test;
using nlohmann::json;

json vectors(std::string const& name) { return json::parse(zt_test::readFile(zt_test::corpus() / "vectors" / name)); }

Bytes bytesIn(json const& test, char const* field) { return zt_test::fromHex(test.at(field).get<std::string>()); }

Bytes messageOf(json const& test) {
  Bytes message = bytesIn(test, "ct");
  Bytes const tag = bytesIn(test, "tag");
  message.insert(message.end(), tag.begin(), tag.end());
  return message;
}

// Keys of 256 bits and no additional data, with IVs of these sizes in bits.
template <typename Check>
std::size_t forEachGCMTest(bool (*wanted)(int ivSize), Check check) {
  std::size_t count = 0;
  json const all = vectors("aes_gcm_test.json");
  for (json const& group : all.at("testGroups")) {
    if (group.at("keySize") != 256 || !wanted(group.at("ivSize").get<int>())) continue;
    for (json const& test : group.at("tests")) {
      SCOPED_TRACE("test " + test.at("tcId").dump());
      check(test);
      ++count;
    }
  }
  return count;
}

bool isOurs(int ivSize) { return ivSize == 128; }
bool isForeign(int ivSize) { return ivSize != 128; }

void expectMet(json const& test) {
  ASSERT_EQ(test.at("result"), "valid");
  ASSERT_EQ(test.at("aad"), "");
  Bytes const key = bytesIn(test, "key"), iv = bytesIn(test, "iv");
  EXPECT_EQ(encrypted(key, iv, bytesIn(test, "msg")), messageOf(test));
  EXPECT_EQ(decrypted(key, iv, messageOf(test)), bytesIn(test, "msg"));
}

void expectIVRefused(json const& test) {
  Bytes const key = bytesIn(test, "key"), iv = bytesIn(test, "iv");
  EXPECT_THROW(encryptorOf(key, iv), utils::CouldNotEncrypt);
  EXPECT_THROW(decryptorOf(key, iv), utils::CouldNotDecrypt);
}

void expectDerived(json const& test) {
  Bytes const expected = bytesIn(test, "dk");
  SecretBytes const derived = pbkdf2HMACSHA256(bytesIn(test, "password"), bytesIn(test, "salt"),
                                               test.at("iterationCount").get<int>(), expected.size());
  EXPECT_TRUE(std::equal(derived.begin(), derived.end(), expected.begin(), expected.end()));
}

TEST(PublishedVectors, OfGCMAreMet) {
  ZT_SKIP_WITHOUT_CORPUS();
  EXPECT_EQ(forEachGCMTest(isOurs, expectMet), 19U);
}

TEST(PublishedVectors, OfGCMWithOtherIVsAreRefused) {
  ZT_SKIP_WITHOUT_CORPUS();
  EXPECT_EQ(forEachGCMTest(isForeign, expectIVRefused), 86U);
}

TEST(PublishedVectors, OfPBKDF2AreMet) {
  ZT_SKIP_WITHOUT_CORPUS();
  json const all = vectors("pbkdf2_hmacsha256_test.json");
  std::size_t count = 0;
  for (json const& group : all.at("testGroups"))
    for (json const& test : group.at("tests")) {
      SCOPED_TRACE("test " + test.at("tcId").dump());
      expectDerived(test);
      ++count;
    }
  EXPECT_EQ(count, 60U);
}

}  // namespace
}  // namespace foundation::crypto
