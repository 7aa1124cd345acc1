// SPDX-License-Identifier: Apache-2.0
#include "container/LocalHeader.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "container/Directory.hpp"
#include "container/Faults.hpp"
#include "container/ItemStream.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kStep = 1u << 20;
constexpr std::size_t kDescriptor = 16;  // with its signature, and sizes of 32 bits
constexpr std::uint16_t kZip64FieldSize = 24;

/// The first offset from `begin` on whose `count` bytes satisfy the predicate.
template <typename Predicate>
std::optional<std::uint64_t> search(RandomAccessBytes const& bytes, std::uint64_t begin, std::size_t count,
                                    Predicate const& isThere) {
  std::vector<unsigned char> window;
  while (begin < bytes.size() && bytes.size() - begin >= count) {
    window.resize(static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size() - begin, kStep + count)));
    bytes.readAt(begin, window.data(), window.size());
    std::size_t const places = window.size() - count + 1;
    for (std::size_t at = 0; at < places; ++at)
      if (window[at] == 'P' && isThere(&window[at], begin + at)) return begin + at;
    begin += places;
  }
  return std::nullopt;
}

/// An item as its local header describes it.
struct LocalItem {
  std::uint64_t begin;
  std::uint64_t headerSize;
  std::uint16_t flags, method;
  std::uint32_t time, crc;
  std::uint64_t storedSize, size;
  std::string name, extra;
};

std::optional<LocalItem> readLocal(RandomAccessBytes const& bytes, std::uint64_t at) {
  unsigned char p[kLocalSize];
  if (at > bytes.size() || bytes.size() - at < sizeof p) return std::nullopt;
  bytes.readAt(at, p, sizeof p);
  std::size_t const nameSize = load16(p + 26), extraSize = load16(p + 28);
  if (load32(p) != kLocalSignature || bytes.size() - at - sizeof p < nameSize + extraSize) return std::nullopt;
  LocalItem item{at,
                 sizeof p + nameSize + extraSize,
                 load16(p + 6),
                 load16(p + 8),
                 load32(p + 10),
                 load32(p + 14),
                 load32(p + 18),
                 load32(p + 22),
                 std::string(nameSize, '\0'),
                 std::string(extraSize, '\0')};
  bytes.readAt(at + sizeof p, item.name.data(), nameSize);
  bytes.readAt(at + sizeof p + nameSize, item.extra.data(), extraSize);
  Zip64Numbers wide(item.extra);
  if (!wide.widen(item.size) || !wide.widen(item.storedSize)) return std::nullopt;
  return item;
}

/// Takes CRC and sizes of the item from the descriptor behind its data. The length in the descriptor must be that of
/// the data, since data may look like a descriptor. Returns the end of the descriptor, if there is one.
std::optional<std::uint64_t> findDescriptor(RandomAccessBytes const& bytes, LocalItem& item) {
  std::uint64_t const data = item.begin + item.headerSize;
  auto const found = search(bytes, data, kDescriptor, [&](unsigned char const* p, std::uint64_t at) {
    return load32(p) == kDescriptorSignature && load32(p + 8) == at - data;
  });
  if (!found) return std::nullopt;
  unsigned char p[kDescriptor];
  bytes.readAt(*found, p, sizeof p);
  item.crc = load32(p + 4);
  item.storedSize = load32(p + 8);
  item.size = load32(p + 12);
  return *found + kDescriptor;
}

void writeEntry(LocalItem const& item, std::vector<unsigned char>& directory) {
  std::string const extra = withoutExtraField(item.extra, kZip64Extra);
  std::size_t const wideField = 4 + kZip64FieldSize;
  // Other extra fields are dropped where the block would be too long.
  std::string const kept = extra.size() + wideField <= kIn64Short ? extra : std::string();
  RecordWriter out(directory);
  out.u32(kCentralSignature).u16(20).u16(20).u16(item.flags).u16(item.method).u32(item.time).u32(item.crc);
  out.u32(kIn64).u32(kIn64).u16(static_cast<std::uint16_t>(item.name.size()));
  out.u16(static_cast<std::uint16_t>(kept.size() + wideField)).u16(0).u16(0).u16(0).u32(0).u32(kIn64);
  out.text(item.name).u16(kZip64Extra).u16(kZip64FieldSize).u64(item.size).u64(item.storedSize).u64(item.begin);
  out.text(kept);
}

std::uint32_t signatureAt(RandomAccessBytes const& bytes, std::uint64_t at) {
  unsigned char p[4];
  if (at > bytes.size() || bytes.size() - at < sizeof p) return 0;
  bytes.readAt(at, p, sizeof p);
  return load32(p);
}

/// The end of the data, or of the descriptor behind it where one with a signature follows.
std::uint64_t endOf(RandomAccessBytes const& bytes, LocalItem const& item) {
  std::uint64_t const left = bytes.size() - item.begin - item.headerSize;
  std::uint64_t const end = item.begin + item.headerSize + std::min(left, item.storedSize);
  if ((item.flags & kDescriptorFlag) == 0 || signatureAt(bytes, end) != kDescriptorSignature) return end;
  for (std::uint64_t const size : {kDescriptor, kMaximumDescriptorSize}) {
    std::uint32_t const next = signatureAt(bytes, end + size);
    if (next == kLocalSignature || next == kCentralSignature) return end + size;
  }
  return end;
}

/// The end of an item; absent where it cannot be known.
std::optional<std::uint64_t> behindOf(RandomAccessBytes const& bytes, LocalItem& item) {
  bool const isStreamed = (item.flags & kDescriptorFlag) != 0 && item.storedSize == 0;
  return isStreamed ? findDescriptor(bytes, item) : endOf(bytes, item);
}

std::optional<std::uint64_t> findHeader(RandomAccessBytes const& bytes, std::uint64_t from) {
  return search(bytes, from, kLocalSize,
                [](unsigned char const* p, std::uint64_t) { return load32(p) == kLocalSignature; });
}

/// Whether the data behind the header has the CRC that it names.
bool hasRightContent(RandomAccessBytes const& bytes, LocalItem const& item) {
  std::uint64_t const begin = item.begin + item.headerSize;
  if (item.storedSize > bytes.size() - begin) return false;
  ItemFacts facts{item.name, item.method, item.storedSize, item.size, item.crc};
  try {
    checkFacts(facts);
    auto const stream = openItem(std::move(facts), [&](std::uint64_t offset, void* to, std::size_t count) {
      bytes.readAt(begin + offset, to, count);
    });
    std::vector<unsigned char> buffer(kStep);
    while (!stream->isEnd()) stream->read(buffer.data(), buffer.size());
    return true;
  } catch (InvalidItem const&) {
    return false;
  }
}

/// Where a search goes on behind an item that no header follows: behind its data, since data may hold another
/// container, if they are right or both sizes of stored data agree; otherwise behind its header, since its sizes may be
/// wrong. Data with agreeing sizes that are not right end earlier if the length of the name is wrong.
std::uint64_t placeToSearch(RandomAccessBytes const& bytes, std::optional<LocalItem> const& item, std::uint64_t at) {
  if (!item) return at + 1;
  bool const hasOneSize = item->method == kStored && item->storedSize == item->size;
  if (at > item->begin && hasRightContent(bytes, *item)) return at;
  return at > item->begin && hasOneSize ? at - item->headerSize + kLocalSize : item->begin + kLocalSize;
}

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

/// With a descriptor each value may be 0, since a writer does not know it before the data.
bool areRightOrZero(Values const& values, Entry const& entry) {
  auto const same = [](std::uint64_t a, std::uint64_t b) { return a == b || a == 0; };
  return same(values.crc, entry.crc) && same(values.stored, entry.storedSize) && same(values.size, entry.size);
}

/// Length of a descriptor's values, in either width, that agree with the entry; 0 where the bytes do not agree.
std::size_t describedSize(Entry const& entry, unsigned char const* values, std::size_t available) {
  Values const expected = valuesOf(entry);
  if (available >= kWideValues && Values{load32(values), load64(values + 4), load64(values + 12)} == expected)
    return kWideValues;
  bool const isNarrow =
      available >= kNarrowValues && Values{load32(values), load32(values + 4), load32(values + 8)} == expected;
  return isNarrow ? kNarrowValues : 0;
}

}  // namespace

FoundItems walkHeaders(RandomAccessBytes const& bytes, std::uint64_t maximumItems, HeaderWalk walk) {
  FoundItems found;
  auto const first = findHeader(bytes, 0);
  if (!first) return found;
  found.begin = found.end = *first;
  std::uint64_t at = *first;
  while (found.count < maximumItems) {
    auto item = readLocal(bytes, at);
    auto const behind = item ? behindOf(bytes, *item) : std::nullopt;
    if (behind) {
      writeEntry(*item, found.directory);
      ++found.count;
      found.end = at = *behind;
    }
    if (signatureAt(bytes, at) == kLocalSignature && behind) continue;
    if (walk == HeaderWalk::Chained) break;
    auto const next = findHeader(bytes, placeToSearch(bytes, item, at));
    if (!next) break;
    at = *next;
  }
  found.endsAtDirectory = signatureAt(bytes, found.end) == kCentralSignature;
  return found;
}

std::size_t localHeaderSize(Entry const& entry, unsigned char const* begin) {
  if (load32(begin) != kLocalSignature) throw invalidItem(entry.name, fault::kNoLocalHeader);
  return kLocalSize + load16(begin + 26) + load16(begin + 28);
}

LocalHeader checkLocalHeader(Entry const& entry, unsigned char const* begin, std::size_t size) {
  // The size comes from an earlier read, and the file may have changed since.
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
  // A descriptor without a signature begins with the CRC, which may look like one.
  auto const size = describedSize(entry, behindData, available);
  if (size == 0 && (isSigned || !header.isComplete)) throw invalidItem(entry.name, fault::kDescriptorDiffers);
  return size;
}

}  // namespace opc::model::zip
