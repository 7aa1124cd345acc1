// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzTarget.hpp"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

/// The one target of the program is whatever is linked with this.
zt_fuzz::Target const& target() { return zt_fuzz::targets().front(); }

std::string changed(std::string bytes) {
  constexpr std::size_t kMostGrowth = 64;
  std::size_t const size = bytes.size();
  bytes.resize(size + kMostGrowth);
  auto* const data = reinterpret_cast<std::uint8_t*>(bytes.data());
  bytes.resize(LLVMFuzzerMutate(data, size, bytes.size()));
  return bytes;
}

}  // namespace

// What libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  target().run(zt_fuzz::Bytes(data, data + size));
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
  if (!target().change) return LLVMFuzzerMutate(data, size, most);
  zt_fuzz::Random random(seed);
  zt_fuzz::Bytes const made = target().change(zt_fuzz::Bytes(data, data + size), random, changed);
  if (made.size() > most) return LLVMFuzzerMutate(data, size, most);
  std::copy(made.begin(), made.end(), data);
  return made.size();
}
