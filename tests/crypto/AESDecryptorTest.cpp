// SPDX-License-Identifier: Apache-2.0
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <stdexcept>
#include <string>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoSamples.hpp"
#include "support/MemoryScan.hpp"
#include "support/TestSupport.hpp"

namespace foundation::crypto {
namespace {

using namespace cryptolib_test;
using utils::CouldNotDecrypt;

// The one error that there is, and not a byte in the output.
void expectRefused(Bytes const& key, Bytes const& iv, Bytes const& message) {
  auto decryptor = decryptorOf(key, iv);
  Bytes out = {1, 2, 3};
  EXPECT_THROW_MESSAGE(decryptor.append(message, out), CouldNotDecrypt, kCouldNotDecrypt);
  EXPECT_EQ(out, (Bytes{1, 2, 3}));
}

// A message that begins with what was hidden, of so many bytes; the content itself is gone from memory.
Bytes messageOf(zt_test::HiddenKey const& hidden, std::size_t size) {
  Bytes content(size), revealed = hidden.reveal();
  std::copy(revealed.begin(), revealed.end(), content.begin());
  wipe(revealed.data(), revealed.size());
  Bytes message = encrypted(sampleKey(), sampleIV(), content);
  wipe(content.data(), content.size());
  return message;
}

TEST(AESDecryptor, GivesTheContentBack) {
  for (std::size_t length : {0U, 1U, 15U, 16U, 17U, 16383U, 16384U, 16385U, 40'000U}) {
    Bytes const content = zt_test::sampleContent(length);
    EXPECT_EQ(decrypted(sampleKey(), sampleIV(), encrypted(sampleKey(), sampleIV(), content)), content);
  }
}

TEST(AESDecryptor, ReadsWhatAnIndependentImplementationWrote) {
  for (auto const& row : zt_test::knownAnswers("aes")) {
    if (row[3].starts_with("sha256:")) continue;
    EXPECT_EQ(decrypted(zt_test::fromHex(row[0]), zt_test::fromHex(row[1]), zt_test::fromHex(row[3])),
              zt_test::sampleContent(std::stoul(row[2])));
  }
}

TEST(AESDecryptor, RefusesAnyBitChangedInCiphertextOrTag) {
  Bytes const message = encrypted(sampleKey(), sampleIV(), zt_test::sampleContent(37));
  for (std::size_t bit = 0; bit < 8 * message.size(); ++bit) {
    Bytes changed = message;
    changed[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    expectRefused(sampleKey(), sampleIV(), changed);
  }
}

TEST(AESDecryptor, RefusesAnyBitChangedInTheIV) {
  Bytes const message = encrypted(sampleKey(), sampleIV(), zt_test::sampleContent(37));
  for (std::size_t bit = 0; bit < 8 * 16; ++bit) {
    Bytes iv = sampleIV();
    iv[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    expectRefused(sampleKey(), iv, message);
  }
}

TEST(AESDecryptor, RefusesAnyBitChangedInTheKey) {
  Bytes const message = encrypted(sampleKey(), sampleIV(), zt_test::sampleContent(37));
  for (std::size_t bit = 0; bit < 8 * 32; ++bit) {
    Bytes key = sampleKey();
    key[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    expectRefused(key, sampleIV(), message);
  }
}

TEST(AESDecryptor, RefusesEveryTruncation) {
  Bytes const message = encrypted(sampleKey(), sampleIV(), zt_test::sampleContent(37));
  for (std::size_t length = 0; length < message.size(); ++length)
    expectRefused(sampleKey(), sampleIV(), {message.begin(), message.begin() + static_cast<std::ptrdiff_t>(length)});
}

TEST(AESDecryptor, RefusesALongerMessage) {
  Bytes message = encrypted(sampleKey(), sampleIV(), zt_test::sampleContent(37));
  message.push_back(0);
  expectRefused(sampleKey(), sampleIV(), message);
}

TEST(AESDecryptor, RefusesALongMessageWithAWrongEnd) {
  Bytes message = encrypted(sampleKey(), sampleIV(), zt_test::sampleContent(100'000));
  message.back() ^= 1;
  expectRefused(sampleKey(), sampleIV(), message);
}

TEST(AESDecryptor, RefusesAShortenedTag) {
  Bytes const message = encrypted(sampleKey(), sampleIV(), {});
  for (std::size_t length = 0; length < 16; ++length)
    expectRefused(sampleKey(), sampleIV(), {message.begin(), message.begin() + static_cast<std::ptrdiff_t>(length)});
}

TEST(AESDecryptor, UsesABufferAgain) {
  auto decryptor = decryptorOf(sampleKey(), sampleIV());
  Bytes const message = encrypted(sampleKey(), sampleIV(), zt_test::sampleContent(20'000));
  Bytes out(50'000, 9);
  decryptor.put(message, out, 0);
  EXPECT_EQ(out, zt_test::sampleContent(20'000));
}

TEST(AESDecryptor, LeavesNothingInMemoryOfWhatItRefuses) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  for (std::size_t const size : {32U, 100'000U}) {
    zt_test::HiddenKey const hidden;
    Bytes message = messageOf(hidden, size);
    Bytes out;
    decryptorOf(sampleKey(), sampleIV()).append(message, out);
    EXPECT_EQ(hidden.countInMemory(), 1U) << "the search finds nothing else";
    wipe(out.data(), out.size());
    out = Bytes(3);
    message.back() ^= 1;
    EXPECT_THROW(decryptorOf(sampleKey(), sampleIV()).append(message, out), CouldNotDecrypt);
    EXPECT_EQ(hidden.countInMemory(), 0U) << size;
  }
}

TEST(AESDecryptor, CutsAUsedBufferWhenItFails) {
  auto decryptor = decryptorOf(sampleKey(), sampleIV());
  Bytes out(50'000, 9);
  EXPECT_THROW(decryptor.put(Bytes(100), out, 2), CouldNotDecrypt);
  EXPECT_EQ(out, (Bytes{9, 9}));
}

TEST(AESDecryptor, RefusesAnIVOfAnotherLengthWithTheSameError) {
  for (std::size_t length : {0U, 1U, 12U, 15U, 17U, 32U})
    EXPECT_THROW_MESSAGE(decryptorOf(sampleKey(), Bytes(length)), CouldNotDecrypt, kCouldNotDecrypt);
}

TEST(AESDecryptor, FailsWithAStandardError) {
  EXPECT_THROW(decrypted(sampleKey(), sampleIV(), Bytes(20)), std::runtime_error);
}

TEST(AESDecryptor, WorksOnAfterAFailure) {
  auto decryptor = decryptorOf(sampleKey(), sampleIV());
  EXPECT_THROW(decrypt(Bytes(100), decryptor), CouldNotDecrypt);
  EXPECT_EQ(decrypt(encrypted(sampleKey(), sampleIV(), Bytes(9, 'x')), decryptor), Bytes(9, 'x'));
}

TEST(AESDecryptor, LeavesNothingInTheQueueOfErrors) {
  EXPECT_THROW(decrypted(sampleKey(), sampleIV(), Bytes(100)), CouldNotDecrypt);
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(AESDecryptor, RefusesMoreThanGCMAllowsForOneMessage) {
  constexpr std::uint64_t longest = (std::uint64_t{1} << 36) - 31 + 16;
  if (longest > SIZE_MAX) GTEST_SKIP() << "nothing so long can be in memory";
  auto const count = static_cast<std::size_t>(longest);
  void* const reserved = mmap(nullptr, count, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (reserved == MAP_FAILED) GTEST_SKIP() << "no address space to reserve";
  auto decryptor = decryptorOf(sampleKey(), sampleIV());
  Bytes out;
  EXPECT_THROW_MESSAGE(decryptor.append({static_cast<unsigned char*>(reserved), count}, out), CouldNotDecrypt,
                       kCouldNotDecrypt);
  munmap(reserved, count);
}

}  // namespace
}  // namespace foundation::crypto
