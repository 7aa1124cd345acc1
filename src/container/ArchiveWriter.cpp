// SPDX-License-Identifier: Apache-2.0
#include "container/ArchiveWriter.hpp"

#include <algorithm>
#include <string>

#include "container/ChunkIndex.hpp"
#include "container/Directory.hpp"
#include "container/Faults.hpp"
#include "container/ItemHeaders.hpp"
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
  Impl(ArchiveSink& to, bool hasThread, std::uint64_t begin)
      : sink(to), buffers(hasThread ? kMostInFlight + 1 : 1), inSink(begin), writing(hasThread, kMostInFlight) {}
  ~Impl() { writing.drop(); }  // the work of an unfinished archive

  ArchiveSink& sink;
  std::vector<std::vector<unsigned char>> buffers;  // filled one after the other
  std::size_t filling = 0;                          // those before it may be in flight
  std::uint64_t inSink;                             // includes bytes in flight
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
    if (buffer().size() > kWriteBuffer - (kLocalSize + 2UL * 0xFFFF)) flush();
    putLocalHeader(buffer(), entry, localExtra);
    putCentral(entry);
  }

  void putCentral(Entry const& entry) {
    putCentralHeader(directory, entry);
    ++count;
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
    record.u32(narrowed(size, longSize))
        .u32(narrowed(begin, farBegin))
        .u16(static_cast<std::uint16_t>(comment.size()))
        .text(comment);
  }
};

ArchiveWriter::ArchiveWriter(ArchiveSink& sink, bool hasThread, std::uint64_t begin)
    : impl_(new Impl(sink, hasThread, begin)) {}

ArchiveWriter::~ArchiveWriter() = default;

void ArchiveWriter::keepSurroundings(Archive const& former) {
  RandomAccessBytes const& bytes = former.bytes();
  impl_->putStored(sourceOf(bytes), bytes.descriptor(), 0, former.prefixSize());
  impl_->comment = former.comment();
}

void ArchiveWriter::add(std::string_view name, Content const& content) {
  std::string const chunks = chunkField(content);
  Entry entry = newEntry(name, content);
  entry.extra = chunks;
  impl_->putHeaders(entry, {});
  if (!content.spool) return;
  Spool const& spool = *content.spool;
  ReadAhead::Source const source{
      &spool, spool.size(), [&spool](std::uint64_t offset, void* to, std::size_t n) { spool.readAt(offset, to, n); }};
  int const descriptor = content.storedSize >= kCopyByKernel ? spool.descriptor() : -1;
  impl_->putStored(source, descriptor, content.offset, content.storedSize);
}

void ArchiveWriter::addInPlace(std::string_view name, Content const& content) {
  std::string const chunks = chunkField(content);
  Entry entry = newEntry(name, content);
  entry.extra = chunks;
  entry.localHeaderOffset = content.offset - content.headerSize;
  impl_->putCentral(entry);
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

void ArchiveWriter::copyRange(Archive const& archive, std::size_t first, std::size_t last) {
  RandomAccessBytes const& bytes = archive.bytes();
  std::uint64_t const begin = archive.entry(first).localHeaderOffset, to = impl_->position();
  impl_->putStored(sourceOf(bytes), bytes.descriptor(), begin, archive.limitOf(last) - begin);
  for (std::size_t i = first; i <= last; ++i) {
    Entry entry = archive.entry(i);
    entry.localHeaderOffset = entry.localHeaderOffset - begin + to;
    impl_->putCentral(entry);
  }
}

void ArchiveWriter::finish() {
  impl_->putEnd();
  impl_->flush();
  impl_->writing.wait();
  impl_->sink.write(impl_->directory.data(), impl_->directory.size());
}

}  // namespace opc::model::zip
