// SPDX-License-Identifier: Apache-2.0
#include "container/EndRecord.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "container/Faults.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

constexpr std::uint64_t kMaximumComment = 0xFFFF;
// How many bytes at the end of a damaged file are searched for end records, and how many records are tried.
constexpr std::uint64_t kSearchedTail = 1u << 20;
constexpr int kMostEndRecords = 16;

/// The numbers of an end record of either kind.
struct EndNumbers {
  std::uint32_t disk;
  std::uint32_t directoryDisk;
  std::uint64_t countOnDisk;
  std::uint64_t count;
  std::uint64_t size;
  std::uint64_t offset;
};

struct Zip64End {
  std::uint64_t position;
  std::uint64_t prefix;
  EndNumbers numbers;
};

EndNumbers endNumbers(unsigned char const* p) {
  return {load16(p + 4), load16(p + 6), load16(p + 8), load16(p + 10), load32(p + 12), load32(p + 16)};
}

EndNumbers zip64EndNumbers(unsigned char const* p) {
  return {load32(p + 16), load32(p + 20), load64(p + 24), load64(p + 32), load64(p + 40), load64(p + 48)};
}

/// The last bytes of the file, by default enough to hold the end record.
struct Tail {
  explicit Tail(RandomAccessBytes const& bytes, std::uint64_t most = kMaximumComment + kEndSize)
      : size(std::min(bytes.size(), most)), begin(bytes.size() - size), data(static_cast<std::size_t>(size)) {
    bytes.readAt(begin, data.data(), data.size());
  }

  bool isEndRecord(std::size_t at) const {
    return load32(&data[at]) == kEndSignature && load16(&data[at + 20]) == data.size() - at - kEndSize;
  }

  std::uint64_t size;
  std::uint64_t begin;
  std::vector<unsigned char> data;
};

/// With more than one candidate, readers that search differently would see different archives. So the last signature
/// must belong to the only record that ends the file.
std::size_t findEndRecord(Tail const& tail) {
  std::optional<std::size_t> first, last;
  for (std::size_t at = 0; at + kEndSize <= tail.data.size(); ++at) {
    if (tail.data[at] != 'P' || load32(&tail.data[at]) != kEndSignature) continue;
    last = at;
    if (!first && tail.isEndRecord(at)) first = at;
  }
  if (!last) throw notAnArchive("it has no end record");
  if (!first) throw notAnArchive("its end record does not end where the file ends");
  if (*first != *last) throw damagedArchive("an end record within the comment");
  return *first;
}

/// A prefix of another byte source.
class Prefix final : public RandomAccessBytes {
 public:
  Prefix(RandomAccessBytes const& bytes, std::uint64_t size) : bytes_(bytes), size_(size) {}
  std::uint64_t size() const override { return size_; }
  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    bytes_.readAt(offset, buffer, count);
  }
  int descriptor() const override { return -1; }

 private:
  RandomAccessBytes const& bytes_;
  std::uint64_t size_;
};

/// The ends of the end records with their comments, the last one first.
std::vector<std::uint64_t> endsOfEndRecords(RandomAccessBytes const& bytes) {
  std::vector<std::uint64_t> ends;
  Tail const tail(bytes, kSearchedTail);
  for (std::size_t at = tail.data.size(); at-- > 0 && ends.size() < kMostEndRecords;) {
    if (tail.data.size() - at < kEndSize || load32(&tail.data[at]) != kEndSignature) continue;
    std::uint64_t const end = at + kEndSize + load16(&tail.data[at + 20]);
    if (end <= tail.data.size()) ends.push_back(tail.begin + end);
  }
  return ends;
}

/// Whether a zip64 record stands at the position and ends at the locator.
bool isZip64End(RandomAccessBytes const& bytes, std::uint64_t position, std::uint64_t locator, unsigned char* record) {
  if (position > locator || locator - position < kZip64EndSize) return false;
  bytes.readAt(position, record, kZip64EndSize);
  return load32(record) == kZip64EndSignature && load64(record + 4) == locator - position - 12;
}

std::optional<Zip64End> readZip64End(RandomAccessBytes const& bytes, std::uint64_t endPosition) {
  if (endPosition < kZip64LocatorSize) return std::nullopt;
  std::uint64_t const locator = endPosition - kZip64LocatorSize;
  unsigned char p[kZip64LocatorSize];
  bytes.readAt(locator, p, sizeof p);
  if (load32(p) != kZip64LocatorSignature) return std::nullopt;
  if (load32(p + 4) != 0 || load32(p + 16) > 1) throw damagedArchive("it is split over several disks");

  std::uint64_t const written = load64(p + 8);
  unsigned char record[kZip64EndSize];
  if (isZip64End(bytes, written, locator, record)) return Zip64End{written, 0, zip64EndNumbers(record)};
  std::uint64_t const usual = locator < kZip64EndSize ? 0 : locator - kZip64EndSize;
  if (written < usual && isZip64End(bytes, usual, locator, record))
    return Zip64End{usual, usual - written, zip64EndNumbers(record)};
  throw damagedArchive("no zip64 end record where its locator says");
}

/// A number of the end record equals that of the zip64 record or refers to it.
void checkAgreement(EndNumbers const& plain, EndNumbers const& wide) {
  auto const agree = [](std::uint64_t a, std::uint64_t b, std::uint64_t sign) { return a == b || a == sign; };
  if (!agree(plain.disk, wide.disk, kIn64Short) || !agree(plain.directoryDisk, wide.directoryDisk, kIn64Short) ||
      !agree(plain.countOnDisk, wide.countOnDisk, kIn64Short) || !agree(plain.count, wide.count, kIn64Short) ||
      !agree(plain.size, wide.size, kIn64) || !agree(plain.offset, wide.offset, kIn64))
    throw damagedArchive("its two end records disagree");
}

}  // namespace

DirectoryPlace findDirectory(RandomAccessBytes const& bytes) {
  if (bytes.size() < kEndSize) throw notAnArchive("it is too short");
  Tail const tail(bytes);
  std::size_t const at = findEndRecord(tail);
  EndNumbers numbers = endNumbers(&tail.data[at]);
  std::uint64_t end = tail.begin + at;

  auto const zip64 = readZip64End(bytes, end);
  if (zip64) {
    checkAgreement(numbers, zip64->numbers);
    numbers = zip64->numbers;
    end = zip64->position;
  }
  if (numbers.disk != 0 || numbers.directoryDisk != 0 || numbers.countOnDisk != numbers.count)
    throw damagedArchive("it is split over several disks");
  if (numbers.size > end || numbers.offset > end - numbers.size)
    throw damagedArchive("its directory does not fit into the file");
  std::uint64_t const begin = end - numbers.size;
  std::uint64_t const prefix = begin - numbers.offset;
  if (zip64 && zip64->prefix != prefix) throw damagedArchive("its directory does not end at the end record");
  std::string const comment(tail.data.begin() + static_cast<std::ptrdiff_t>(at + kEndSize), tail.data.end());
  return {begin, numbers.size, numbers.count, prefix, comment};
}

std::optional<EarlierDirectory> findEarlierDirectory(RandomAccessBytes const& bytes) {
  for (std::uint64_t const end : endsOfEndRecords(bytes)) try {
      return EarlierDirectory{findDirectory(Prefix(bytes, end)), bytes.size() - end};
    } catch (InvalidPackage const&) {  // this one leads to no directory
    }
  return std::nullopt;
}

bool hasEndSignature(RandomAccessBytes const& bytes) {
  Tail const tail(bytes, kSearchedTail);
  for (std::size_t at = 0; at + 4 <= tail.data.size(); ++at)
    if (load32(&tail.data[at]) == kEndSignature) return true;
  return false;
}

}  // namespace opc::model::zip
