// SPDX-License-Identifier: Apache-2.0
// Loaded in front of a program, makes one function of the system fail, which ZT_FAULT names. For errors that no package
// and no disk brings about.
#include <sys/random.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

extern "C" {

void* __libc_malloc(std::size_t size);

static bool isFault(char const* name) {
  char const* const fault = std::getenv("ZT_FAULT");
  return fault && std::strcmp(fault, name) == 0;
}

void* malloc(std::size_t size) {
  constexpr std::size_t kLarge = 1U << 18;
  if (size < kLarge || !isFault("memory")) return __libc_malloc(size);
  errno = ENOMEM;
  return nullptr;
}

/// "internal" is a fault of a program that no error of a system describes.
int getentropy(void* to, std::size_t count) {
  if (isFault("internal")) throw std::logic_error("injected");
  if (!isFault("entropy")) return static_cast<int>(getrandom(to, count, 0)) < 0 ? -1 : 0;
  errno = EIO;
  return -1;
}

}  // extern "C"
