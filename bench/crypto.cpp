// SPDX-License-Identifier: Apache-2.0
// What do the crypto layers cost above OpenSSL's own loop over the same buffers? Encrypts and decrypts messages of
// several sizes with both, interleaved, and prints the medians and their ratio; into one buffer that is kept, and
// through the adapters into a fresh one for each message. Then HMACs of 100 bytes.
//
//   bench_crypto [ROUNDS]      (default: 41)
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <openssl/evp.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "crypto/CryptoAdapters.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoRandom.hpp"

namespace {

using foundation::crypto::AESDecryptor;
using foundation::crypto::AESEncryptor;
using foundation::crypto::AESKey;
using foundation::crypto::CryptoEngine;
using foundation::crypto::cryptopp::CryptoProvider;
using opc::ztservices::CryptoDecryptor;
using opc::ztservices::CryptoDigestEngine;
using opc::ztservices::CryptoEncryptor;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t kTagBytes = 16;
constexpr std::size_t kBytesARound = std::size_t{16} << 20;

void check(int result) {
  if (result != 1) throw std::runtime_error("OpenSSL failed");
}

/// One context with one key, re-initialised with the IV alone: the fastest loop that OpenSSL allows.
class Peer {
 public:
  explicit Peer(Bytes const& key) : context_(EVP_CIPHER_CTX_new()) {
    check(EVP_CipherInit_ex(context_, EVP_aes_256_gcm(), nullptr, nullptr, nullptr, 1));
    check(EVP_CIPHER_CTX_ctrl(context_, EVP_CTRL_AEAD_SET_IVLEN, 16, nullptr));
    check(EVP_CipherInit_ex(context_, nullptr, nullptr, key.data(), nullptr, 1));
  }
  ~Peer() { EVP_CIPHER_CTX_free(context_); }
  Peer(Peer const&) = delete;
  Peer& operator=(Peer const&) = delete;

  void encrypt(Bytes const& iv, Bytes const& in, unsigned char* out) {
    int count = 0;
    check(EVP_CipherInit_ex(context_, nullptr, nullptr, nullptr, iv.data(), 1));
    check(EVP_CipherUpdate(context_, out, &count, in.data(), static_cast<int>(in.size())));
    check(EVP_CipherFinal_ex(context_, out + count, &count));
    check(EVP_CIPHER_CTX_ctrl(context_, EVP_CTRL_AEAD_GET_TAG, kTagBytes, out + in.size()));
  }
  void decrypt(Bytes const& iv, Bytes& in, unsigned char* out) {
    int count = 0;
    std::size_t const length = in.size() - kTagBytes;
    check(EVP_CipherInit_ex(context_, nullptr, nullptr, nullptr, iv.data(), 0));
    check(EVP_CIPHER_CTX_ctrl(context_, EVP_CTRL_AEAD_SET_TAG, kTagBytes, in.data() + length));
    check(EVP_CipherUpdate(context_, out, &count, in.data(), static_cast<int>(length)));
    check(EVP_CipherFinal_ex(context_, out + count, &count));
  }

 private:
  EVP_CIPHER_CTX* context_;
};

using Step = std::function<void()>;

// The thread's own time: on a machine that others use too, the clock on the wall measures them.
double now() {
  timespec time{};
  if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time) != 0) throw std::runtime_error("no clock");
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double seconds(Step const& step, std::size_t times) {
  double const start = now();
  for (std::size_t i = 0; i < times; ++i) step();
  return (now() - start) / static_cast<double>(times);
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

void compare(char const* what, std::size_t size, int rounds, Step const& ours, Step const& peer) {
  std::size_t const times = std::max<std::size_t>(1, kBytesARound / std::max<std::size_t>(size, 1024));
  std::vector<double> own, other;
  for (int round = -2; round < rounds; ++round) {  // two rounds to warm up
    double const ownTime = seconds(ours, times), otherTime = seconds(peer, times);
    if (round < 0) continue;
    own.push_back(ownTime);
    other.push_back(otherTime);
  }
  double const bytes = static_cast<double>(size);
  std::printf("%-28s %9zu  %10.2f us %6.2f GB/s  %10.2f us %6.2f GB/s  %5.2f\n", what, size, 1e6 * median(own),
              bytes / median(own) / 1e9, 1e6 * median(other), bytes / median(other) / 1e9, median(own) / median(other));
}

void compareMessages(std::size_t size, int rounds) {
  Bytes const key(32, 7), iv(16, 9), content(size, 'x');
  CryptoEngine const engine(std::make_shared<CryptoProvider>());
  AESKey const aes = engine.createAES256Key(key);
  CryptoEncryptor encryptor(key);
  CryptoDecryptor decryptor(key);
  encryptor.initialize("AES256-GCM", iv);
  decryptor.initialize("AES256-GCM", iv);
  Peer peer(key);
  Bytes message = encryptor.encrypt(content);
  Bytes kept(size + kTagBytes), ownKept(size + kTagBytes);

  auto const encryptKept = [&] { AESEncryptor(aes, iv).put(content, ownKept, 0); };
  auto const decryptKept = [&] { AESDecryptor(aes, iv).put(message, ownKept, 0); };
  compare("encrypt, buffer kept", size, rounds, encryptKept, [&] { peer.encrypt(iv, content, kept.data()); });
  compare("decrypt, buffer kept", size, rounds, decryptKept, [&] { peer.decrypt(iv, message, kept.data()); });
  compare(
      "encrypt, buffer fresh", size, rounds, [&] { encryptor.encrypt(content); },
      [&] {
        Bytes fresh(size + kTagBytes);
        peer.encrypt(iv, content, fresh.data());
      });
  compare(
      "decrypt, buffer fresh", size, rounds, [&] { decryptor.decrypt(message); },
      [&] {
        Bytes fresh(size);
        peer.decrypt(iv, message, fresh.data());
      });
}

void measureDigests() {
  CryptoDigestEngine digests(Bytes(32, 7));
  digests.initialize("HMAC-SHA256");
  Bytes const path(100, 'p');
  double const each = seconds([&] { digests.digest(path); }, 200'000);
  std::printf("HMAC-SHA256 of 100 bytes: %.2f million a second\n", 1e-6 / each);
}

}  // namespace

int main(int argc, char** argv) {
  int const rounds = argc > 1 ? std::max(1, std::stoi(argv[1])) : 41;
  std::printf("%-28s %9s  %13s %11s  %13s %11s  ratio\n", "", "bytes", "ours", "", "OpenSSL", "");
  for (std::size_t size : {std::size_t{256}, std::size_t{4096}, std::size_t{65536}, std::size_t{16} << 20})
    compareMessages(size, rounds);
  measureDigests();
  return 0;
}
