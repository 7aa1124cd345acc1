// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace zt_test {

/// A random key that does not itself stand in memory, so that copies of it can be searched for there. Its bytes
/// are printable ASCII characters, so that it may be a password too.
class HiddenKey {
 public:
  HiddenKey();

  /// A plain copy, which the caller has to overwrite.
  std::vector<unsigned char> reveal() const;
  /// How often the key stands in this process's writable memory, each of its bytes as a character of so many bytes.
  std::size_t countInMemory(std::size_t width = 1) const;

 private:
  unsigned char at(std::size_t i) const { return static_cast<unsigned char>(masked_[i] ^ mask_[i]); }
  std::size_t countIn(unsigned char const* memory, std::size_t count, std::size_t width) const;

  std::array<unsigned char, 32> masked_;
  std::array<unsigned char, 32> mask_;
};

/// Whether this process may read its own memory as a file, as the search does.
bool canScanMemory();

/// Whether the system says so of the memory there: "dd" keeps it out of core files, "lo" out of the swap space.
bool hasMemoryFlag(void const* address, std::string const& flag);

/// Whether hasMemoryFlag() knows this process's memory: an emulator has it elsewhere.
bool canSeeMemoryFlags();

/// Whether a few more pages may be locked, and the system says so.
bool canLockMemory();

}  // namespace zt_test
