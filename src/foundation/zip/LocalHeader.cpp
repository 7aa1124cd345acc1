// SPDX-License-Identifier: Apache-2.0
#include "foundation/zip/LocalHeader.hpp"

#include "foundation/zip/ExtraFields.hpp"
#include "foundation/zip/ZipErrors.hpp"
#include "foundation/zip/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kNarrowDescriptor = 16;

bool isNameTheSame(Entry const& entry, unsigned char const* header) {
  return load16(header + 26) == entry.name.size() && textAt(header + kLocalSize, entry.name.size()) == entry.name;
}

/// CRC and sizes. With a descriptor they may be 0, which is what a writer knows before the data; sizes that
/// are said to be in a zip64 field must be there all the same.
bool areValuesTheSame(Entry const& entry, unsigned char const* header, std::string_view extra, bool mayBeZero) {
  std::uint64_t stored = load32(header + 18), size = load32(header + 22);
  Zip64Numbers wide(extra);
  bool const known = wide.widen(size) && wide.widen(stored);
  auto const same = [mayBeZero](std::uint64_t a, std::uint64_t b) { return a == b || (mayBeZero && a == 0); };
  return known && same(load32(header + 14), entry.crc) && same(stored, entry.storedSize) && same(size, entry.size);
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
  if (!areValuesTheSame(entry, begin, extra, hasDescriptor)) throw invalidItem(entry.name, fault::kLocalHeaderDiffers);
  return {size, extra, hasDescriptor};
}

void checkDescriptor(Entry const& entry, unsigned char const* behindData, std::size_t available) {
  if (available < kNarrowDescriptor || load32(behindData) != kDescriptorSignature) return;
  unsigned char const* const values = behindData + 4;
  bool const narrow =
      load32(values) == entry.crc && load32(values + 4) == entry.storedSize && load32(values + 8) == entry.size;
  bool const wide = available >= kMaximumDescriptorSize && load32(values) == entry.crc &&
                    load64(values + 4) == entry.storedSize && load64(values + 12) == entry.size;
  // Without a signature of its own the descriptor begins with the CRC, which may look like one.
  bool const bare = load32(behindData) == entry.crc && load32(behindData + 4) == entry.storedSize;
  if (!narrow && !wide && !bare) throw invalidItem(entry.name, fault::kDescriptorDiffers);
}

}  // namespace opc::model::zip
