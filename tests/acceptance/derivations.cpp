// SPDX-License-Identifier: Apache-2.0
// Loaded in front of a program, adds a byte to the file that ZT_DERIVATIONS names whenever the program derives a key
// from a password.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

/// Opened before the program gives up the right to write files.
int openCounts() {
  char const* const counts = std::getenv("ZT_DERIVATIONS");
  return counts ? open(counts, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600) : -1;
}

int const file = openCounts();

}  // namespace

extern "C" int EVP_PBE_scrypt(char const* password, std::size_t passwordBytes, unsigned char const* salt,
                              std::size_t saltBytes, std::uint64_t n, std::uint64_t r, std::uint64_t p,
                              std::uint64_t most, unsigned char* key, std::size_t keyBytes) {
  using Derive = decltype(&EVP_PBE_scrypt);
  static auto const derive = reinterpret_cast<Derive>(dlsym(RTLD_NEXT, "EVP_PBE_scrypt"));
  if (file >= 0 && write(file, "x", 1) != 1) std::abort();
  return derive(password, passwordBytes, salt, saltBytes, n, r, p, most, key, keyBytes);
}
