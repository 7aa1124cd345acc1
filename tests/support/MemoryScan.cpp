// SPDX-License-Identifier: Apache-2.0
#include "support/MemoryScan.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

#include "support/BoundedRun.hpp"

namespace zt_test {
namespace {

constexpr std::size_t kStep = std::size_t{1} << 20;
// The shadow memory of sanitizers: address space that is reserved, not used.
constexpr std::uint64_t kReserved = std::uint64_t{1} << 32;

struct Region {
  std::uint64_t begin;
  std::uint64_t end;
};

std::vector<Region> writableRegions() {
  std::vector<Region> regions;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    Region region{};
    char dash = 0;
    std::string access;
    fields >> std::hex >> region.begin >> dash >> region.end >> access;
    if (access.starts_with("rw") && region.end - region.begin < kReserved) regions.push_back(region);
  }
  return regions;
}

// What memory is read into. It stands in a mapping of its own, which the search leaves out: it would find there
// what it has just read.
class Window {
 public:
  Window() : bytes_(mmap(nullptr, kStep, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    if (bytes_ == MAP_FAILED) throw std::runtime_error("no memory to search with");
  }
  ~Window() { munmap(bytes_, kStep); }
  Window(Window const&) = delete;
  Window& operator=(Window const&) = delete;

  unsigned char* data() const { return static_cast<unsigned char*>(bytes_); }
  bool isIn(Region const& region) const {
    auto const address = reinterpret_cast<std::uint64_t>(bytes_);
    return address >= region.begin && address < region.end;
  }

 private:
  void* bytes_;
};

class OwnMemory {
 public:
  /// What is tested may have forbidden it to other processes, and so to those that open it by its name.
  OwnMemory() {
    prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
    file_ = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
  }
  ~OwnMemory() {
    if (file_ >= 0) close(file_);
  }
  OwnMemory(OwnMemory const&) = delete;
  OwnMemory& operator=(OwnMemory const&) = delete;

  bool isOpen() const { return file_ >= 0; }
  std::size_t read(std::uint64_t address, unsigned char* to, std::size_t count) const {
    ssize_t const got = pread(file_, to, count, static_cast<off_t>(address));
    return got < 0 ? 0 : static_cast<std::size_t>(got);
  }

 private:
  int file_ = -1;
};

}  // namespace

HiddenKey::HiddenKey() {
  std::random_device random;
  for (auto& byte : mask_) byte = static_cast<unsigned char>(random());
  for (std::size_t i = 0; i < mask_.size(); ++i)
    masked_[i] = static_cast<unsigned char>((random() % 94 + '!') ^ mask_[i]);
}

std::vector<unsigned char> HiddenKey::reveal() const {
  std::vector<unsigned char> key(masked_.size());
  for (std::size_t i = 0; i < key.size(); ++i) key[i] = at(i);
  return key;
}

std::size_t HiddenKey::countIn(unsigned char const* memory, std::size_t count, std::size_t width) const {
  // Little-endian characters, as they are where the tests run.
  auto const wanted = [&](std::size_t i) { return i % width == 0 ? at(i / width) : static_cast<unsigned char>(0); };
  std::size_t const length = mask_.size() * width;
  std::size_t found = 0;
  unsigned char const* const end = memory + count;
  for (auto const* p = memory; (p = std::find(p, end, at(0))) != end; ++p) {
    std::size_t i = 1;
    while (i < length && p + i < end && p[i] == wanted(i)) ++i;
    if (i == length) ++found;
  }
  return found;
}

std::size_t HiddenKey::countInMemory(std::size_t width) const {
  OwnMemory const memory;
  Window const window;
  std::size_t found = 0;
  for (Region const& region : writableRegions()) {
    if (window.isIn(region)) continue;
    // Steps overlap by one byte less than a key, which none can hide behind.
    for (std::uint64_t at = region.begin; at < region.end; at += kStep - (mask_.size() * width - 1)) {
      std::size_t const wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kStep, region.end - at));
      found += countIn(window.data(), memory.read(at, window.data(), wanted), width);
    }
  }
  return found;
}

bool canScanMemory() { return OwnMemory().isOpen(); }

bool hasMemoryFlag(void const* address, std::string const& flag) {
  auto const wanted = reinterpret_cast<std::uint64_t>(address);
  std::ifstream maps("/proc/self/smaps");
  bool isWithin = false;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    Region region{};
    char dash = 0;
    if (fields >> std::hex >> region.begin >> dash >> region.end && dash == '-')
      isWithin = wanted >= region.begin && wanted < region.end;
    if (isWithin && line.starts_with("VmFlags:")) return (line + " ").find(" " + flag + " ") != line.npos;
  }
  return false;
}

bool canSeeMemoryFlags() {
  unsigned char const readable = 0;
  return hasMemoryFlag(&readable, "rd");
}

/// AddressSanitizer takes the place of mlock() and does nothing.
bool canLockMemory() {
  static unsigned char some[16 << 10];  // of some pages
  if (kUnderAddressSanitizer || !canSeeMemoryFlags() || mlock(some, sizeof some) != 0) return false;
  munlock(some, sizeof some);
  return true;
}

}  // namespace zt_test
