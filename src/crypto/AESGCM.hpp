// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoErrors.hpp"

namespace foundation::crypto::detail {

/// AES-256 in Galois/Counter Mode (NIST SP 800-38D) under one key, with initialization vectors of 16 bytes, tags
/// of 16 bytes and no additional data. A message is the ciphertext followed by the tag. The key schedule is
/// made once, and the destructor wipes it; each message only sets its IV. One thread at a time.
class AESGCM {
 public:
  static constexpr std::size_t kKeyBytes = 32;
  static constexpr std::size_t kIVBytes = 16;
  static constexpr std::size_t kTagBytes = 16;
  static constexpr std::uint64_t kMaximalContent = (std::uint64_t{1} << 36) - 32;  // SP 800-38D, 5.2.1.1

  /// Throws CryptoError for a key of another length.
  explicit AESGCM(BytesView key);
  ~AESGCM();
  AESGCM(AESGCM const&) = delete;
  AESGCM& operator=(AESGCM const&) = delete;

  /// Throw CouldNotEncrypt and CouldNotDecrypt for an IV of another length.
  static void checkIVForSealing(BytesView iv);
  static void checkIVForOpening(BytesView iv);

  /// Keeps the first `at` bytes of `out` and replaces the others by the message. `content` must not lie in `out`.
  /// Throws CouldNotEncrypt, and `out` then has those `at` bytes.
  void seal(BytesView iv, BytesView content, Bytes& out, std::size_t at);
  /// The same with the content of `message`. Throws CouldNotDecrypt; `out` then has those `at` bytes, and no byte of
  /// the content is left in memory.
  void open(BytesView iv, BytesView message, Bytes& out, std::size_t at);

  /// Authenticate a message that arrives in pieces and return none of its content. No other message may come between
  /// the three calls. The first throws CouldNotDecrypt for an IV of another length. The last returns whether the tag
  /// belongs to the ciphertext.
  void beginChecking(BytesView iv);
  void continueChecking(BytesView ciphertext);
  bool endChecking(BytesView tag);

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

}  // namespace foundation::crypto::detail
