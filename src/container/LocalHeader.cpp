// SPDX-License-Identifier: Apache-2.0
#include "container/LocalHeader.hpp"

#include <optional>

#include "container/ExtraFields.hpp"
#include "container/ZipErrors.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kSignatureSize = 4, kNarrowValues = 12, kWideValues = 20;

bool isNameTheSame(Entry const& entry, unsigned char const* header) {
  return load16(header + 26) == entry.name.size() && textAt(header + kLocalSize, entry.name.size()) == entry.name;
}

/// CRC and sizes.
struct Values {
  std::uint64_t crc, stored, size;
  bool operator==(Values const&) const = default;
};

Values valuesOf(Entry const& entry) { return {entry.crc, entry.storedSize, entry.size}; }

/// Absent where the header refers to a zip64 field that is missing.
std::optional<Values> valuesOf(unsigned char const* header, std::string_view extra) {
  Values values{load32(header + 14), load32(header + 18), load32(header + 22)};
  Zip64Numbers wide(extra);
  if (!wide.widen(values.size) || !wide.widen(values.stored)) return std::nullopt;
  return values;
}

/// With a descriptor each of them may be 0, which is what a writer knows before the data.
bool areRightOrZero(Values const& values, Entry const& entry) {
  auto const same = [](std::uint64_t a, std::uint64_t b) { return a == b || a == 0; };
  return same(values.crc, entry.crc) && same(values.stored, entry.storedSize) && same(values.size, entry.size);
}

/// Length of the values of a descriptor, of either width, that agree with the entry; 0 where these bytes are others.
std::size_t describedSize(Entry const& entry, unsigned char const* values, std::size_t available) {
  Values const expected = valuesOf(entry);
  if (available >= kWideValues && Values{load32(values), load64(values + 4), load64(values + 12)} == expected)
    return kWideValues;
  bool const isNarrow =
      available >= kNarrowValues && Values{load32(values), load32(values + 4), load32(values + 8)} == expected;
  return isNarrow ? kNarrowValues : 0;
}

}  // namespace

std::size_t localHeaderSize(Entry const& entry, unsigned char const* begin) {
  if (load32(begin) != kLocalSignature) throw invalidItem(entry.name, fault::kNoLocalHeader);
  return kLocalSize + load16(begin + 26) + load16(begin + 28);
}

LocalHeader checkLocalHeader(Entry const& entry, unsigned char const* begin, std::size_t size) {
  // The size came from an earlier read; a file that changes meanwhile may say something else now.
  if (localHeaderSize(entry, begin) != size) throw invalidItem(entry.name, fault::kLocalHeaderDiffers);
  std::uint16_t const flags = load16(begin + 6);
  bool const hasDescriptor = (flags & kDescriptorFlag) != 0;
  if (!isNameTheSame(entry, begin) || load16(begin + 8) != entry.method ||
      ((flags ^ entry.flags) & kEncryptedFlag) != 0)
    throw invalidItem(entry.name, fault::kLocalHeaderDiffers);
  std::size_t const fixed = kLocalSize + entry.name.size();
  std::string_view const extra = textAt(begin + fixed, size - fixed);
  if (!extraFieldsFit(extra)) throw invalidItem(entry.name, fault::kExtraTooLong);
  auto const values = valuesOf(begin, extra);
  bool const isComplete = values == valuesOf(entry);
  if (!isComplete && !(values && hasDescriptor && areRightOrZero(*values, entry)))
    throw invalidItem(entry.name, fault::kLocalHeaderDiffers);
  return {size, extra, hasDescriptor, isComplete};
}

std::size_t checkDescriptor(Entry const& entry, LocalHeader const& header, unsigned char const* behindData,
                            std::size_t available) {
  bool const isSigned = available >= kSignatureSize && load32(behindData) == kDescriptorSignature;
  if (isSigned)
    if (auto const size = describedSize(entry, behindData + kSignatureSize, available - kSignatureSize))
      return kSignatureSize + size;
  // Without a signature of its own the descriptor begins with the CRC, which may look like one.
  auto const size = describedSize(entry, behindData, available);
  if (size == 0 && (isSigned || !header.isComplete)) throw invalidItem(entry.name, fault::kDescriptorDiffers);
  return size;
}

}  // namespace opc::model::zip
