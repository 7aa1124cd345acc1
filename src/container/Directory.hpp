// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "container/ItemStream.hpp"
#include "container/RandomAccessBytes.hpp"

/// The central directory: its bytes and its entries.
namespace opc::model::zip {

/// Whether every field of the block ends within it. Up to three bytes behind the last field are padding.
bool extraFieldsFit(std::string_view extra);

/// Whether the padding is all zeros.
bool isPaddedWithZeros(std::string_view extra);

/// The data of the first field with that id.
std::optional<std::string_view> findExtraField(std::string_view extra, std::uint16_t id);

/// The block without the fields of that id. Keeps bytes that do not parse.
std::string withoutExtraField(std::string_view extra, std::uint16_t id);

/// Takes the numbers of a zip64 field, in the order of the format.
class Zip64Numbers {
 public:
  explicit Zip64Numbers(std::string_view extra);
  /// Replaces the value when it refers to the zip64 field. False when the field lacks it.
  bool widen(std::uint64_t& value);
  /// The same for the disk number.
  bool widenDisk(std::uint32_t& disk);

 private:
  std::string_view rest_;
};

/// Whether a Unicode path field gives another name to an item with an ASCII name. (A name in another encoding may
/// differ from its UTF-8 form.)
bool isRenamedByUnicodePath(std::string_view name, std::string_view extra);

/// An item's central directory entry. The texts are views into the directory's bytes.
struct Entry {
  std::string_view name;
  std::uint16_t versionMadeBy;
  std::uint16_t versionNeeded;
  std::uint16_t flags;
  std::uint16_t method;
  std::uint32_t dosTimeAndDate;
  std::uint32_t crc;
  std::uint64_t storedSize;
  std::uint64_t size;
  std::uint64_t localHeaderOffset;  // in the file
  std::uint16_t internalAttributes;
  std::uint32_t externalAttributes;
  std::string_view extra;  // as in the central directory, the zip64 field included
  std::string_view comment;
};

/// A copy of the central directory that grows by a factor when a reader reaches its end. A reader that checks each
/// entry before it asks for the next one never holds much more than sound entries. (A sparse file may claim a directory
/// of any size.)
class DirectoryBytes {
 public:
  DirectoryBytes(RandomAccessBytes const& bytes, std::uint64_t begin, std::uint64_t size);

  /// The bytes at that position, valid until the next call; null where the directory has fewer.
  unsigned char const* get(std::size_t at, std::size_t count);
  std::size_t size() const { return size_; }
  /// What was copied so far: at least what get() has given.
  std::size_t copiedSize() const { return filled_; }
  std::unique_ptr<unsigned char[]> take() { return std::move(data_); }

 private:
  void growTo(std::size_t count);

  RandomAccessBytes const& bytes_;
  std::uint64_t begin_;
  std::size_t size_;
  std::size_t filled_ = 0;
  std::unique_ptr<unsigned char[]> data_;
};

/// Length of the entry at that position, 0 where there is no whole entry.
std::size_t entrySizeAt(DirectoryBytes& directory, std::size_t at);

/// Whether the rest of the directory is its digital signature, which readers skip (ECMA-376-2, Annex C).
bool isDirectorySignature(DirectoryBytes& directory, std::size_t at);

/// Decodes a whole entry; the offset is as written. False when the entry refers to a zip64 field that is missing.
bool decodeEntry(unsigned char const* p, Entry& entry, std::uint32_t& disk);

/// Checks the entry, and that it fits into `room`, the bytes that the archive's offsets span. Throws InvalidPackage.
void checkEntry(unsigned char const* p, std::uint64_t room);

/// The least number of bytes that the item takes, without its local extra field, whose size is unknown here.
std::uint64_t minimumSize(Entry const& entry);

ItemFacts factsOf(Entry const& entry);

/// Throws InvalidItem for an item that is encrypted, patched or renamed.
void checkReadable(Entry const& entry);

}  // namespace opc::model::zip
