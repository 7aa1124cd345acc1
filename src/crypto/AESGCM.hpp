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
/// made once and wiped at the end; each message costs only the setting of its IV. One thread at a time.
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

  /// Puts the message behind the first `at` bytes of `out`, in place of what is there; `out` must not hold
  /// `content` itself. Throws CouldNotEncrypt, and then leaves those `at` bytes.
  void seal(BytesView iv, BytesView content, Bytes& out, std::size_t at);
  /// Puts the content of `message` there. Throws CouldNotDecrypt, and then leaves those `at` bytes, and nothing of
  /// the content in memory.
  void open(BytesView iv, BytesView message, Bytes& out, std::size_t at);

  /// For a message that comes in pieces and is only to be authenticated: nothing of its content is handed out. No
  /// other message may come between the three. The first throws CouldNotDecrypt for an IV of another length, the
  /// last answers whether the tag belongs to the ciphertext.
  void beginChecking(BytesView iv);
  void continueChecking(BytesView ciphertext);
  bool endChecking(BytesView tag);

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

}  // namespace foundation::crypto::detail
