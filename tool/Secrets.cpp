// SPDX-License-Identifier: Apache-2.0
#include "Secrets.hpp"

#include <cstring>

namespace ztpkg {

void wipe(void* memory, std::size_t count) noexcept { explicit_bzero(memory, count); }

}  // namespace ztpkg
