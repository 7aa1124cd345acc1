// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "crypto/CryptoSamples.hpp"
#include "crypto/PasswordKeys.hpp"
#include "support/CryptoAnswers.hpp"

// Vectors that others published; the keys have 256 bits, and there is no additional data.
namespace foundation::crypto {
namespace {

using namespace cryptolib_test;
using zt_test::fromHex;

using Row = std::vector<std::string>;

// Checks each vector of a kind, and returns how many there are.
template <typename Check>
std::size_t forEachVector(std::string const& kind, Check check) {
  std::vector<Row> const rows = zt_test::publishedVectors(kind);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(kind + " " + std::to_string(i));
    check(rows[i]);
  }
  return rows.size();
}

void expectMet(Row const& row) {
  Bytes const key = fromHex(row.at(0)), iv = fromHex(row.at(1)), text = fromHex(row.at(2)),
              message = fromHex(row.at(3));
  EXPECT_EQ(encrypted(key, iv, text), message);
  EXPECT_EQ(decrypted(key, iv, message), text);
}

void expectIVRefused(Row const& row) {
  Bytes const iv = fromHex(row.at(0)), key = fromHex(row.at(1));
  EXPECT_THROW(encryptorOf(key, iv), utils::CouldNotEncrypt);
  EXPECT_THROW(decryptorOf(key, iv), utils::CouldNotDecrypt);
}

void expectDerived(Row const& row) {
  Bytes const expected = fromHex(row.at(3));
  SecretBytes const derived =
      pbkdf2HMACSHA256(fromHex(row.at(0)), fromHex(row.at(1)), std::stoi(row.at(2)), expected.size());
  EXPECT_TRUE(std::equal(derived.begin(), derived.end(), expected.begin(), expected.end()));
}

TEST(PublishedVectors, OfGCMAreMet) { EXPECT_EQ(forEachVector("gcm", expectMet), 19U); }

TEST(PublishedVectors, OfGCMWithOtherIVsAreRefused) { EXPECT_EQ(forEachVector("gcm-iv", expectIVRefused), 86U); }

TEST(PublishedVectors, OfPBKDF2AreMet) { EXPECT_EQ(forEachVector("pbkdf2", expectDerived), 60U); }

}  // namespace
}  // namespace foundation::crypto
