// SPDX-License-Identifier: Apache-2.0
#include "container/Salvage.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <utility>

#include "container/Directory.hpp"
#include "container/Faults.hpp"
#include "container/ItemStream.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kStep = 65536;

/// The lengths that a data descriptor may have, and none.
constexpr std::array<std::uint64_t, 5> kDescriptorSizes{0, 12, 16, 20, 24};

/// Inflates until the room is full or the data are damaged or end. Removes what was produced in the step that failed.
std::vector<unsigned char> inflateBeginning(std::vector<unsigned char> stored, std::size_t room) {
  z_stream stream{};
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
  std::vector<unsigned char> content;
  stream.next_in = stored.data();
  stream.avail_in = static_cast<uInt>(stored.size());
  int result = Z_OK;
  while (result == Z_OK && content.size() < room) {
    std::size_t const before = content.size(), step = std::min(kStep, room - before);
    content.resize(before + step);
    stream.next_out = content.data() + before;
    stream.avail_out = static_cast<uInt>(step);
    result = inflate(&stream, Z_SYNC_FLUSH);
    content.resize(before + step - stream.avail_out);
    if (content.size() == before) break;
  }
  inflateEnd(&stream);
  return content;
}

void readToEnd(InputStream& stream) {
  std::vector<unsigned char> buffer(kStep);
  while (!stream.isEnd()) stream.read(buffer.data(), buffer.size());
}

}  // namespace

Salvage::Salvage(std::shared_ptr<RandomAccessBytes const> bytes, std::shared_ptr<Archive const> archive,
                 std::uint64_t maximumItems)
    : bytes_(std::move(bytes)), archive_(std::move(archive)), maximumItems_(maximumItems) {}

std::unique_ptr<InputStream> Salvage::open(std::size_t index) {
  Entry const item = archive_->entry(index);
  auto content = openByDirectory(index, item);
  return content ? std::move(content) : openByHeader(item);
}

/// The content at that place, if it is verified; otherwise null.
std::unique_ptr<InputStream> Salvage::openAt(Entry const& item, std::uint64_t begin) const {
  if (begin > bytes_->size() || item.storedSize > bytes_->size() - begin) return nullptr;
  try {
    checkReadable(item);
    checkFacts(factsOf(item));
    StoredBytes const source = [bytes = bytes_, begin](std::uint64_t offset, void* to, std::size_t count) {
      bytes->readAt(begin + offset, to, count);
    };
    readToEnd(*openItem(factsOf(item), source));
    return openItem(factsOf(item), source);
  } catch (InvalidItem const&) {
    return nullptr;
  }
}

/// Where a header has another length than it says, its data end where the next item begins.
std::unique_ptr<InputStream> Salvage::openByDirectory(std::size_t index, Entry const& item) const {
  std::uint64_t const header = item.localHeaderOffset, limit = archive_->limitOf(index);
  if (!hasNameAt(item, header)) return nullptr;
  if (auto content = openAt(item, dataOf(header))) return content;
  if (auto content = openAt(item, header + kLocalSize + item.name.size())) return content;
  for (std::uint64_t const descriptor : kDescriptorSizes)
    if (limit >= header + kLocalSize + item.storedSize + descriptor)
      if (auto content = openAt(item, limit - descriptor - item.storedSize)) return content;
  return nullptr;
}

std::unique_ptr<InputStream> Salvage::openByHeader(Entry const& item) {
  if (!found_) walk();
  auto const [begin, end] = places_.equal_range(item.name);
  for (auto place = begin; place != end; ++place) {
    Entry local;
    std::uint32_t disk;
    decodeEntry(found_->directory.data() + place->second, local, disk);
    // A container within a content may hold an item of the same name.
    bool const isTheItem =
        local.localHeaderOffset == item.localHeaderOffset || (local.crc == item.crc && local.size == item.size);
    if (!isTheItem) continue;
    if (auto content = openAt(local, dataOf(local.localHeaderOffset))) return content;
  }
  return nullptr;
}

void Salvage::walk() {
  found_ = walkHeaders(*bytes_, maximumItems_, HeaderWalk::Thorough);
  for (std::size_t at = 0; at < found_->directory.size();) {
    Entry local;
    std::uint32_t disk;
    unsigned char const* const p = found_->directory.data() + at;
    decodeEntry(p, local, disk);
    places_.emplace(local.name, at);
    at += kCentralSize + load16(p + 28) + load16(p + 30) + load16(p + 32);
  }
}

/// Where the data begin by the lengths in the header.
std::uint64_t Salvage::dataOf(std::uint64_t header) const {
  unsigned char lengths[4];
  bytes_->readAt(header + 26, lengths, sizeof lengths);
  return header + kLocalSize + load16(lengths) + load16(lengths + 2);
}

bool Salvage::hasNameAt(Entry const& item, std::uint64_t header) const {
  if (header > bytes_->size() || bytes_->size() - header < kLocalSize + item.name.size()) return false;
  std::string name(item.name.size(), '\0');
  bytes_->readAt(header + kLocalSize, name.data(), name.size());
  return name == item.name;
}

Salvage::Beginning Salvage::beginningOf(std::size_t index, std::size_t maximumBytes) const {
  Entry const item = archive_->entry(index);
  if (!hasNameAt(item, item.localHeaderOffset)) return {{}, false};
  std::uint64_t const begin = dataOf(item.localHeaderOffset);
  if (begin > bytes_->size()) return {{}, true};
  std::uint64_t const left = bytes_->size() - begin;
  std::vector<unsigned char> stored(
      static_cast<std::size_t>(std::min<std::uint64_t>({left, item.storedSize, maximumBytes})));
  bytes_->readAt(begin, stored.data(), stored.size());
  bool const isCutOff = item.storedSize > left;
  if (item.method == kStored) return {std::move(stored), isCutOff};
  return {inflateBeginning(std::move(stored), maximumBytes), isCutOff};
}

}  // namespace opc::model::zip
