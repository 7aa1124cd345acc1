// SPDX-License-Identifier: Apache-2.0
#include "container/ItemHeaders.hpp"

#include <algorithm>

#include "container/ChunkIndex.hpp"
#include "container/Faults.hpp"
#include "container/ZipFormat.hpp"
#include "text/Ascii.hpp"

namespace opc::model::zip {
namespace {

constexpr std::uint32_t kRegularFile0644 = 0100644u << 16;
constexpr std::uint32_t k1980 = 0x00210000;  // the first of January, midnight, in DOS format

constexpr char kContentTypesItem[] = "[Content_Types].xml";
constexpr std::size_t kExtraHeader = 4;                 // id and size
constexpr std::size_t kLocalZip64 = kExtraHeader + 16;  // both sizes
constexpr std::size_t kLeastGrowthHint = kExtraHeader + 4;
constexpr std::size_t kMostExtra = 0xFFFF;

std::uint16_t length(std::string_view text) { return static_cast<std::uint16_t>(text.size()); }

/// The extra fields, with a zip64 field in front where the entry needs one.
std::vector<unsigned char> extraFields(Entry const& entry, std::string_view others, bool largeOffset) {
  bool const largeSizes = hasLargeSizes(entry);
  std::vector<unsigned char> extra;
  RecordWriter record(extra);
  if (largeSizes || largeOffset)
    record.u16(kZip64Extra).u16(static_cast<std::uint16_t>((largeSizes ? 16 : 0) + (largeOffset ? 8 : 0)));
  if (largeSizes) record.u64(entry.size).u64(entry.storedSize);
  if (largeOffset) record.u64(entry.localHeaderOffset);
  record.text(withoutExtraField(others, kZip64Extra));
  if (extra.size() > kMostExtra) throw couldNotSaveItem(entry.name, "its extra fields are too long");
  return extra;
}

/// A field of `size` bytes in all, which other programs skip and which leaves room for the content to grow.
std::string growthHint(std::size_t size) {
  std::vector<unsigned char> field;
  RecordWriter(field).u16(kGrowthHintExtra).u16(static_cast<std::uint16_t>(size - kExtraHeader));
  RecordWriter(field).u16(kGrowthHintSignature).u16(static_cast<std::uint16_t>(size - kLeastGrowthHint));
  field.resize(size);
  return std::string(textAt(field.data(), field.size()));
}

std::uint16_t versionNeeded(Entry const& entry, bool zip64) {
  return zip64 ? std::max(entry.versionNeeded, kZip64Version) : entry.versionNeeded;
}

/// What the local and the central header have in common, from the flags to the length of the extra field.
void writeCommon(RecordWriter& record, Entry const& entry, std::size_t extraSize) {
  bool const large = hasLargeSizes(entry);
  record.u16(entry.flags).u16(entry.method).u32(entry.dosTimeAndDate).u32(entry.crc);
  record.u32(narrowed(entry.storedSize, large)).u32(narrowed(entry.size, large));
  record.u16(length(entry.name)).u16(static_cast<std::uint16_t>(extraSize));
}

}  // namespace

bool hasLargeSizes(Entry const& entry) { return entry.size >= kIn64 || entry.storedSize >= kIn64; }

Entry newEntry(std::string_view name, Content const& content) {
  if (name.size() > 0xFFFF) throw couldNotSaveItem(name, "its name is too long");
  Entry entry{};
  entry.name = name;
  entry.method = content.method;
  entry.flags = ascii::isAscii(name) ? 0 : kUtf8Flag;
  entry.versionNeeded = kDeflateVersion;
  entry.externalAttributes = kRegularFile0644;
  entry.dosTimeAndDate = k1980;
  entry.crc = content.crc;
  entry.storedSize = content.storedSize;
  entry.size = content.size;
  entry.versionMadeBy = kMadeOnUnix | (hasLargeSizes(entry) ? kZip64Version : kDeflateVersion);
  return entry;
}

std::string chunkField(Content const& content) {
  std::string const data = content.chunks ? content.chunks->toField() : std::string();
  if (data.empty()) return {};
  std::vector<unsigned char> field;
  RecordWriter(field).u16(kChunksExtra).u16(length(data)).text(data);
  return std::string(textAt(field.data(), field.size()));
}

void putLocalHeader(std::vector<unsigned char>& to, Entry const& entry, std::string_view extra) {
  std::vector<unsigned char> const fields = extraFields(entry, extra, false);
  RecordWriter record(to);
  record.u32(kLocalSignature).u16(versionNeeded(entry, hasLargeSizes(entry)));
  writeCommon(record, entry, fields.size());
  record.text(entry.name).text(textAt(fields.data(), fields.size()));
}

void putCentralHeader(std::vector<unsigned char>& to, Entry const& entry) {
  bool const largeOffset = entry.localHeaderOffset >= kIn64;
  std::vector<unsigned char> const fields = extraFields(entry, entry.extra, largeOffset);
  RecordWriter record(to);
  record.u32(kCentralSignature).u16(entry.versionMadeBy);
  record.u16(versionNeeded(entry, largeOffset || hasLargeSizes(entry)));
  writeCommon(record, entry, fields.size());
  record.u16(length(entry.comment)).u16(0).u16(entry.internalAttributes).u32(entry.externalAttributes);
  record.u32(narrowed(entry.localHeaderOffset, largeOffset));
  record.text(entry.name).text(textAt(fields.data(), fields.size())).text(entry.comment);
}

std::size_t openHeaderSize(std::string_view name) { return kLocalSize + name.size() + kLocalZip64; }

void putOpenHeader(std::vector<unsigned char>& to, Entry const& entry) {
  putLocalHeader(to, entry, hasLargeSizes(entry) ? std::string() : growthHint(kLocalZip64));
}

bool hasGrowthHint(Entry const& entry, std::string_view localExtra) {
  auto const room = findExtraField(localExtra, kGrowthHintExtra);
  bool const isOwn = room && (entry.name == kContentTypesItem || room->size() == kLocalZip64 - kExtraHeader);
  return (room && !isOwn) || findExtraField(entry.extra, kGrowthHintExtra).has_value();
}

bool putFillingHeader(std::vector<unsigned char>& to, Entry const& entry, std::size_t contentSize, std::size_t room) {
  std::size_t const least = kLocalSize + entry.name.size() + kLeastGrowthHint + contentSize;
  if (room < least || room - least > kMostExtra - kLeastGrowthHint || hasLargeSizes(entry)) return false;
  putLocalHeader(to, entry, growthHint(room - least + kLeastGrowthHint));
  return true;
}

}  // namespace opc::model::zip
