// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>

#include "FuzzTarget.hpp"

/// What libFuzzer calls; the one target of the program is whatever is linked with this.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  zt_fuzz::targets().front().run(zt_fuzz::Bytes(data, data + size));
  return 0;
}
