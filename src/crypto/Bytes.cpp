// SPDX-License-Identifier: Apache-2.0
#include "crypto/Bytes.hpp"

#include <sys/mman.h>

#include <new>
#include <openssl/crypto.h>

namespace foundation::crypto {

void wipe(void* memory, std::size_t count) noexcept { OPENSSL_cleanse(memory, count); }

bool isEqualSecret(BytesView a, BytesView b) noexcept {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

void* allocateWiped(std::size_t count) { return ::operator new(count); }

void freeWiped(void* memory, std::size_t count) noexcept {
  wipe(memory, count);
  ::operator delete(memory);
}

// OpenSSL's secure heap does the same, but has one size for the whole process, which is the application's to choose:
// what other code of the process keeps there would fail once it is full.
void* allocateSecret(std::size_t count) {
  void* const memory = mmap(nullptr, count, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  static_cast<void>(mlock(memory, count));  // refused beyond RLIMIT_MEMLOCK
#ifdef MADV_DONTDUMP
  static_cast<void>(madvise(memory, count, MADV_DONTDUMP));
#endif
  return memory;
}

void freeSecret(void* memory, std::size_t count) noexcept {
  wipe(memory, count);
  munmap(memory, count);  // unlocks it
}

}  // namespace foundation::crypto
