// SPDX-License-Identifier: Apache-2.0
#include "container/Directory.hpp"

#include <algorithm>
#include <cstddef>
#include <string>

#include "container/Faults.hpp"
#include "container/ZipFormat.hpp"
#include "text/Ascii.hpp"
#include "text/Narrow.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kFieldHeader = 4;
constexpr std::size_t kUnicodePathHeader = 5;  // version, and CRC of the name that it replaces

struct Field {
  std::uint16_t id;
  std::string_view data;
  std::size_t size() const { return kFieldHeader + data.size(); }
};

/// The field at the front of the block, if there is a whole one.
std::optional<Field> firstField(std::string_view extra) {
  if (extra.size() < kFieldHeader) return std::nullopt;
  std::size_t const size = load16(bytesOf(extra) + 2);
  if (size > extra.size() - kFieldHeader) return std::nullopt;
  return Field{load16(bytesOf(extra)), extra.substr(kFieldHeader, size)};
}

std::string_view behindExtraFields(std::string_view extra) {
  while (auto const field = firstField(extra)) extra.remove_prefix(field->size());
  return extra;
}

constexpr std::uint64_t kLargestSize = INT64_MAX;  // ECMA-376-2, Annex C
constexpr std::size_t kFirst = 1u << 20;           // the size of most directories
constexpr std::size_t kCopyGrowth = 4;

}  // namespace

bool extraFieldsFit(std::string_view extra) { return behindExtraFields(extra).size() < kFieldHeader; }

bool isPaddedWithZeros(std::string_view extra) {
  std::string_view const padding = behindExtraFields(extra);
  return std::all_of(padding.begin(), padding.end(), [](char c) { return c == '\0'; });
}

std::optional<std::string_view> findExtraField(std::string_view extra, std::uint16_t id) {
  while (auto const field = firstField(extra)) {
    if (field->id == id) return field->data;
    extra.remove_prefix(field->size());
  }
  return std::nullopt;
}

std::string withoutExtraField(std::string_view extra, std::uint16_t id) {
  std::string kept;
  while (auto const field = firstField(extra)) {
    if (field->id != id) kept += extra.substr(0, field->size());
    extra.remove_prefix(field->size());
  }
  return kept += extra;
}

Zip64Numbers::Zip64Numbers(std::string_view extra) : rest_(findExtraField(extra, kZip64Extra).value_or("")) {}

bool Zip64Numbers::widen(std::uint64_t& value) {
  if (value != kIn64) return true;
  if (rest_.size() < 8) return false;
  value = load64(bytesOf(rest_));
  rest_.remove_prefix(8);
  return true;
}

bool Zip64Numbers::widenDisk(std::uint32_t& disk) {
  if (disk != kIn64Short) return true;
  if (rest_.size() < 4) return false;
  disk = load32(bytesOf(rest_));
  rest_.remove_prefix(4);
  return true;
}

bool isRenamedByUnicodePath(std::string_view name, std::string_view extra) {
  auto const path = findExtraField(extra, kUnicodePathExtra);
  if (!path || path->size() < kUnicodePathHeader) return false;
  return ascii::isAscii(name) && path->substr(kUnicodePathHeader) != name;
}

DirectoryBytes::DirectoryBytes(RandomAccessBytes const& bytes, std::uint64_t begin, std::uint64_t size)
    : bytes_(bytes), begin_(begin), size_(narrow<std::size_t>(size)) {}

unsigned char const* DirectoryBytes::get(std::size_t at, std::size_t count) {
  if (at > size_ || count > size_ - at) return nullptr;
  if (at + count > filled_ || !data_) growTo(at + count);
  return data_.get() + at;
}

void DirectoryBytes::growTo(std::size_t count) {
  std::size_t const step = std::max(kFirst, filled_ > size_ / kCopyGrowth ? size_ : filled_ * kCopyGrowth);
  std::size_t const target = std::min(size_, std::max(count, step));
  auto grown = std::make_unique_for_overwrite<unsigned char[]>(target);
  std::copy_n(data_.get(), filled_, grown.get());
  bytes_.readAt(begin_ + filled_, grown.get() + filled_, target - filled_);
  data_ = std::move(grown);
  filled_ = target;
}

std::size_t entrySizeAt(DirectoryBytes& directory, std::size_t at) {
  unsigned char const* const p = directory.get(at, kCentralSize);
  if (!p || load32(p) != kCentralSignature) return 0;
  std::size_t const size = kCentralSize + load16(p + 28) + load16(p + 30) + load16(p + 32);
  return directory.get(at, size) ? size : 0;
}

bool isDirectorySignature(DirectoryBytes& directory, std::size_t at) {
  unsigned char const* const p = directory.get(at, kDirectorySignatureSize);
  return p && load32(p) == kDirectorySignature && load16(p + 4) == directory.size() - at - kDirectorySignatureSize;
}

bool decodeEntry(unsigned char const* p, Entry& entry, std::uint32_t& disk) {
  std::size_t const name = load16(p + 28), extra = load16(p + 30), comment = load16(p + 32);
  entry.name = textAt(p + kCentralSize, name);
  entry.versionMadeBy = load16(p + 4);
  entry.versionNeeded = load16(p + 6);
  entry.flags = load16(p + 8);
  entry.method = load16(p + 10);
  entry.dosTimeAndDate = load32(p + 12);
  entry.crc = load32(p + 16);
  entry.storedSize = load32(p + 20);
  entry.size = load32(p + 24);
  entry.internalAttributes = load16(p + 36);
  entry.externalAttributes = load32(p + 38);
  entry.localHeaderOffset = load32(p + 42);
  entry.extra = textAt(p + kCentralSize + name, extra);
  entry.comment = textAt(p + kCentralSize + name + extra, comment);
  disk = load16(p + 34);
  Zip64Numbers wide(entry.extra);
  return wide.widen(entry.size) && wide.widen(entry.storedSize) && wide.widen(entry.localHeaderOffset) &&
         wide.widenDisk(disk);
}

void checkEntry(unsigned char const* p, std::uint64_t room) {
  Entry entry;
  std::uint32_t disk;
  if (!decodeEntry(p, entry, disk)) throw damagedArchive(entry.name, "its zip64 field is too short");
  if (disk != 0) throw damagedArchive(entry.name, "it is on another disk");
  if (!extraFieldsFit(entry.extra)) throw damagedArchive(entry.name, fault::kExtraTooLong);
  if (!isPaddedWithZeros(entry.extra)) throw damagedArchive(entry.name, "something behind its extra fields");
  if (entry.size > kLargestSize) throw damagedArchive(entry.name, "its size is beyond what the format allows");
  std::uint64_t const offset = entry.localHeaderOffset;
  if (offset > room || entry.storedSize > room || minimumSize(entry) > room - offset)
    throw damagedArchive(entry.name, fault::kBeyondFile);
}

std::uint64_t minimumSize(Entry const& entry) { return kLocalSize + entry.name.size() + entry.storedSize; }

ItemFacts factsOf(Entry const& entry) {
  return {std::string(entry.name), entry.method, entry.storedSize, entry.size, entry.crc};
}

void checkReadable(Entry const& entry) {
  constexpr std::uint16_t kUnreadable = kEncryptedFlag | kPatchFlag | kStrongEncryptionFlag | kMaskedFlag;
  if ((entry.flags & kUnreadable & ~kPatchFlag) != 0) throw invalidItem(entry.name, fault::kEncrypted);
  if ((entry.flags & kPatchFlag) != 0) throw invalidItem(entry.name, fault::kDamagedData);
  if (isRenamedByUnicodePath(entry.name, entry.extra)) throw invalidItem(entry.name, fault::kOtherName);
}

}  // namespace opc::model::zip
