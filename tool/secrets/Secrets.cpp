// SPDX-License-Identifier: Apache-2.0
#include "secrets/Secrets.hpp"

#include <cstring>

namespace ztpkg {

void wipe(void* memory, std::size_t count) noexcept {
  if (count > 0) explicit_bzero(memory, count);  // it takes no null pointer
}

}  // namespace ztpkg
