// SPDX-License-Identifier: Apache-2.0
#include "container/ArchiveWriter.hpp"

#include <algorithm>
#include <string>

#include "container/ChunkIndex.hpp"
#include "container/Directory.hpp"
#include "container/Faults.hpp"
#include "container/LocalHeader.hpp"
#include "container/RandomAccessBytes.hpp"
#include "container/Spool.hpp"
#include "container/ZipFormat.hpp"
#include "io/Background.hpp"
#include "text/Ascii.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kWriteBuffer = 1u << 20;
constexpr std::size_t kMostInFlight = 4;             // buffers and kernel copies on their way to the sink
constexpr std::uint64_t kCopyByKernel = 256u << 10;  // for fewer bytes a system call costs more than copying
constexpr std::uint64_t kLocalExtraGuess = 1024;     // expected maximum of a local extra field

constexpr std::uint16_t kVersion = 20;  // deflate
constexpr std::uint16_t kZip64Version = 45;
constexpr std::uint16_t kMadeOnUnix = 3u << 8;
constexpr std::uint32_t kRegularFile0644 = 0100644u << 16;
constexpr std::uint32_t k1980 = 0x00210000;  // the first of January, midnight, in DOS format

bool hasLargeSizes(Entry const& entry) { return entry.size >= kIn64 || entry.storedSize >= kIn64; }

std::uint32_t narrowed(std::uint64_t value, bool isIn64) { return isIn64 ? kIn64 : static_cast<std::uint32_t>(value); }

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
  if (extra.size() > 0xFFFF) throw couldNotSaveItem(entry.name, "its extra fields are too long");
  return extra;
}

std::uint16_t length(std::string_view text) { return static_cast<std::uint16_t>(text.size()); }

/// The extra field with the index of the content's chunks, if it has one.
std::string chunkField(Content const& content) {
  std::string const data = content.chunks ? content.chunks->toField() : std::string();
  if (data.empty()) return {};
  std::vector<unsigned char> field;
  RecordWriter(field).u16(kChunksExtra).u16(length(data)).text(data);
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

ReadAhead::Source sourceOf(RandomAccessBytes const& bytes) {
  return {&bytes, bytes.size(),
          [&bytes](std::uint64_t offset, void* to, std::size_t count) { bytes.readAt(offset, to, count); }};
}

}  // namespace

ArchiveSink::~ArchiveSink() = default;

void MemorySink::write(void const* data, std::size_t count) {
  auto const* const from = static_cast<unsigned char const*>(data);
  bytes_.insert(bytes_.end(), from, from + count);
}

void MemorySink::copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) {
  std::size_t const end = bytes_.size();
  bytes_.resize(end + static_cast<std::size_t>(count));
  boost::system::error_code error;
  if (readAt(descriptor, offset, bytes_.data() + end, static_cast<std::size_t>(count), error) < count)
    throw couldNotSave("memory", error ? error.value() : EIO);
}

struct ArchiveWriter::Impl {
  Impl(ArchiveSink& to, bool hasThread)
      : sink(to), buffers(hasThread ? kMostInFlight + 1 : 1), writing(hasThread, kMostInFlight) {}
  ~Impl() { writing.drop(); }  // the work of an unfinished archive

  ArchiveSink& sink;
  std::vector<std::vector<unsigned char>> buffers;  // filled one after the other
  std::size_t filling = 0;                          // those before it may be in flight
  std::uint64_t inSink = 0;                         // includes bytes in flight
  std::vector<unsigned char> directory{};           // central headers so far
  std::uint64_t count = 0;
  std::string comment{};
  ReadAhead window{};
  Background writing;  // last, so that it ends before the members it uses

  /// Bytes that are neither in the sink nor in flight.
  std::vector<unsigned char>& buffer() { return buffers[filling]; }

  std::uint64_t position() const { return inSink + buffers[filling].size(); }

  /// With a thread there is one buffer more than may be in flight, so the next buffer is free.
  void flush() {
    std::vector<unsigned char> const& full = buffer();
    writing.begin([this, &full] { sink.write(full.data(), full.size()); });
    inSink += full.size();
    filling = (filling + 1) % buffers.size();
    buffer().clear();
  }

  void put(unsigned char const* data, std::size_t size) {
    if (buffer().size() + size > kWriteBuffer) flush();
    buffer().insert(buffer().end(), data, data + size);
  }

  void copyByKernel(int descriptor, std::uint64_t offset, std::uint64_t size) {
    flush();
    writing.begin([this, descriptor, offset, size] { sink.copyFrom(descriptor, offset, size); });
    inSink += size;
  }

  /// Writes item data; `descriptor` is -1 for data in memory.
  void putStored(ReadAhead::Source const& source, int descriptor, std::uint64_t offset, std::uint64_t size) {
    if (descriptor >= 0 && size >= kCopyByKernel) return copyByKernel(descriptor, offset, size);
    while (size > 0) {
      auto const step = static_cast<std::size_t>(std::min<std::uint64_t>(size, kWriteBuffer));
      put(window.bytes(source, offset, step), step);
      offset += step;
      size -= step;
    }
  }

  /// Writes the local header, and the central one into the directory.
  void putHeaders(Entry& entry, std::string_view localExtra) {
    entry.localHeaderOffset = position();
    putLocal(entry, extraFields(entry, localExtra, false));
    bool const largeOffset = entry.localHeaderOffset >= kIn64;
    putCentral(entry, extraFields(entry, entry.extra, largeOffset), largeOffset);
    ++count;
  }

  void putLocal(Entry const& entry, std::vector<unsigned char> const& extra) {
    if (buffer().size() > kWriteBuffer - (kLocalSize + 2UL * 0xFFFF)) flush();
    RecordWriter record(buffer());
    record.u32(kLocalSignature).u16(versionNeeded(entry, hasLargeSizes(entry)));
    writeCommon(record, entry, extra.size());
    record.text(entry.name).text(textAt(extra.data(), extra.size()));
  }

  void putCentral(Entry const& entry, std::vector<unsigned char> const& extra, bool largeOffset) {
    bool const zip64 = largeOffset || hasLargeSizes(entry);
    RecordWriter record(directory);
    record.u32(kCentralSignature).u16(entry.versionMadeBy).u16(versionNeeded(entry, zip64));
    writeCommon(record, entry, extra.size());
    record.u16(length(entry.comment)).u16(0).u16(entry.internalAttributes).u32(entry.externalAttributes);
    record.u32(narrowed(entry.localHeaderOffset, largeOffset));
    record.text(entry.name).text(textAt(extra.data(), extra.size())).text(entry.comment);
  }

  /// Decryption may depend on the descriptor flag, so an encrypted item keeps the flag and a descriptor.
  void putDescriptor(Entry const& entry) {
    std::vector<unsigned char> bytes;
    RecordWriter record(bytes);
    record.u32(kDescriptorSignature).u32(entry.crc);
    if (hasLargeSizes(entry))
      record.u64(entry.storedSize).u64(entry.size);
    else
      record.u32(static_cast<std::uint32_t>(entry.storedSize)).u32(static_cast<std::uint32_t>(entry.size));
    put(bytes.data(), bytes.size());
  }

  void putZip64End(std::uint64_t begin, std::uint64_t size) {
    std::uint64_t const at = begin + size;
    RecordWriter record(directory);
    record.u32(kZip64EndSignature).u64(kZip64EndSize - 12).u16(kMadeOnUnix | kZip64Version).u16(kZip64Version);
    record.u32(0).u32(0).u64(count).u64(count).u64(size).u64(begin);
    record.u32(kZip64LocatorSignature).u32(0).u64(at).u32(1);
  }

  void putEnd() {
    std::uint64_t const begin = position(), size = directory.size();
    bool const manyItems = count >= kIn64Short, longSize = size >= kIn64, farBegin = begin >= kIn64;
    if (manyItems || longSize || farBegin) putZip64End(begin, size);
    auto const shownCount = manyItems ? kIn64Short : static_cast<std::uint16_t>(count);
    RecordWriter record(directory);
    record.u32(kEndSignature).u16(0).u16(0).u16(shownCount).u16(shownCount);
    record.u32(narrowed(size, longSize)).u32(narrowed(begin, farBegin)).u16(length(comment)).text(comment);
  }
};

ArchiveWriter::ArchiveWriter(ArchiveSink& sink, bool hasThread) : impl_(new Impl(sink, hasThread)) {}

ArchiveWriter::~ArchiveWriter() = default;

void ArchiveWriter::keepSurroundings(Archive const& former) {
  RandomAccessBytes const& bytes = former.bytes();
  impl_->putStored(sourceOf(bytes), bytes.descriptor(), 0, former.prefixSize());
  impl_->comment = former.comment();
}

void ArchiveWriter::add(std::string_view name, Content const& content) {
  if (name.size() > 0xFFFF) throw couldNotSaveItem(name, "its name is too long");
  Entry entry{};
  entry.name = name;
  entry.method = content.method;
  entry.flags = ascii::isAscii(name) ? 0 : kUtf8Flag;
  entry.versionNeeded = kVersion;
  entry.externalAttributes = kRegularFile0644;
  entry.dosTimeAndDate = k1980;
  entry.crc = content.crc;
  entry.storedSize = content.storedSize;
  entry.size = content.size;
  entry.versionMadeBy = kMadeOnUnix | (hasLargeSizes(entry) ? kZip64Version : kVersion);
  std::string const chunks = chunkField(content);
  entry.extra = chunks;
  impl_->putHeaders(entry, {});
  if (!content.spool) return;
  Spool const& spool = *content.spool;
  ReadAhead::Source const source{
      &spool, spool.size(), [&spool](std::uint64_t offset, void* to, std::size_t n) { spool.readAt(offset, to, n); }};
  int const descriptor = content.storedSize >= kCopyByKernel ? spool.descriptor() : -1;
  impl_->putStored(source, descriptor, content.offset, content.storedSize);
}

void ArchiveWriter::copy(Archive const& archive, std::size_t index) {
  RandomAccessBytes const& bytes = archive.bytes();
  ReadAhead::Source const source = sourceOf(bytes);
  Entry entry = archive.entry(index);
  std::uint64_t const begin = entry.localHeaderOffset, room = archive.limitOf(index) - begin;
  std::uint64_t const data = entry.storedSize < kCopyByKernel ? entry.storedSize : 0;
  std::uint64_t const guess = kLocalSize + entry.name.size() + kLocalExtraGuess + data;
  unsigned char const* p = impl_->window.bytes(source, begin, static_cast<std::size_t>(std::min(room, guess)));
  std::size_t const headerSize = localHeaderSize(entry, p);
  if (headerSize > room || entry.storedSize > room - headerSize) throw invalidItem(entry.name, fault::kOverlap);
  p = impl_->window.bytes(source, begin, headerSize);
  LocalHeader const header = checkLocalHeader(entry, p, headerSize);

  bool const keepsDescriptor = header.hasDescriptor && (entry.flags & kEncryptedFlag) != 0;
  if (!keepsDescriptor) entry.flags &= static_cast<std::uint16_t>(~kDescriptorFlag);
  impl_->putHeaders(entry, header.extra);
  impl_->putStored(source, bytes.descriptor(), begin + headerSize, entry.storedSize);
  if (keepsDescriptor) impl_->putDescriptor(entry);
}

void ArchiveWriter::finish() {
  impl_->putEnd();
  impl_->flush();
  impl_->writing.wait();
  impl_->sink.write(impl_->directory.data(), impl_->directory.size());
}

}  // namespace opc::model::zip
