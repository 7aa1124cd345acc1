// SPDX-License-Identifier: Apache-2.0
#include "container/DirectoryReader.hpp"

#include <algorithm>
#include <utility>

#include "container/Directory.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

// ECMA-376-2, Annex C. Indexes of items are 32-bit numbers elsewhere, too.
constexpr std::uint64_t kMostItems = 2'147'483'647;
constexpr std::uint64_t kUsualItems = 131'072;

std::string damageText(std::string const& what) { return damagedArchive(what).what(); }

std::string tooManyText(std::uint64_t maximumItems) {
  return damageText("it has more than " + std::to_string(maximumItems) + " items");
}

}  // namespace

void DirectoryReader::read(std::uint64_t maximumItems) {
  maximumItems = std::min(maximumItems, kMostItems);
  if (auto const place = findPlace()) readDirectory(*place, maximumItems);
  isWhole_ = isComplete_;
  if (!isComplete_) findByHeaders(maximumItems);
}

std::optional<DirectoryPlace> DirectoryReader::findPlace() {
  try {
    return findDirectory(bytes_);
  } catch (InvalidPackage const& fault) {
    auto const earlier = findEarlierDirectory(bytes_);
    if (earlier && earlier->bytesBehind > 0)
      faults_.refuse({code::kTrailingData, "", fault.what(),
                      "The archive is followed by " + bytesText(earlier->bytesBehind) + " of something else"});
    else
      refuse(hasEndSignature(bytes_) ? code::kDamagedEndRecord : code::kNoEndRecord, {}, fault.what());
    return earlier ? std::optional(earlier->place) : std::nullopt;
  }
}

/// Takes entries beyond the count too, so that a wrong count hides no entry.
void DirectoryReader::readDirectory(DirectoryPlace const& place, std::uint64_t maximumItems) {
  std::uint64_t const possible = place.size / kCentralSize;
  if (place.count > maximumItems)
    refuse(code::kDamagedDirectory, {}, tooManyText(maximumItems));
  else if (place.count > possible)
    refuse(code::kDamagedEndRecord, {}, damageText("its directory ends too early"));
  takeEntries(bytes_, place, std::min(maximumItems, possible), place.count);
  bool const isCountRefused = place.count > maximumItems || place.count > possible;
  compareCount(place.count, maximumItems, isCountRefused);
  if (place.count >= archive_.size()) return;
  for (auto i = static_cast<std::size_t>(place.count); i < archive_.size(); ++i)
    checkEntryAt(i, archive_.directory_.get() + archive_.offsets_[i], place.begin - place.prefix);
}

/// Takes up to `most` entries and checks the first `checked` ones.
void DirectoryReader::takeEntries(RandomAccessBytes const& bytes, DirectoryPlace const& place, std::uint64_t most,
                                  std::uint64_t checked) {
  auto& offsets = archive_.offsets_;
  archive_.directoryBegin_ = place.begin;
  archive_.prefix_ = place.prefix;
  archive_.comment_ = place.comment;
  DirectoryBytes directory(bytes, place.begin, place.size);
  offsets.clear();
  offsets.reserve(static_cast<std::size_t>(std::min({most, place.count, kUsualItems})));
  std::size_t at = 0;
  while (offsets.size() < most) {
    std::size_t const size = entrySizeAt(directory, at);
    if (size == 0) break;
    if (offsets.size() < checked) checkEntryAt(offsets.size(), directory.get(at, size), place.begin - place.prefix);
    offsets.push_back(at);
    at += size;
  }
  isComplete_ = at == directory.size() || isDirectorySignature(directory, at);
  archive_.directorySize_ = directory.copiedSize();
  archive_.directory_ = directory.take();
}

/// Compares the number of entries with the count of the end record, unless that count was refused.
void DirectoryReader::compareCount(std::uint64_t count, std::uint64_t maximumItems, bool isCountRefused) {
  std::uint64_t const found = archive_.size();
  if (isComplete_ && found == count) return;
  std::string const message = damageText(found < count ? "its directory is not where or what its end record says"
                                                       : "its directory holds more than its items");
  bool const isCutOff = !isComplete_ && found == maximumItems;
  if (!isComplete_ && !isCutOff)
    faults_.refuse({code::kDamagedDirectory, "", message,
                    damageText("its directory is damaged behind its first " + std::to_string(found) + " of " +
                               std::to_string(count) + " items")});
  else if (isCutOff && !isCountRefused)
    faults_.refuse({code::kDamagedDirectory, "", message, tooManyText(maximumItems)});
  else if (!isCountRefused)
    faults_.refuse({code::kDamagedEndRecord, "", message,
                    damageText("its end record counts " + std::to_string(count) + " items, its directory has " +
                               std::to_string(found))});
  isComplete_ |= isCutOff;  // up to the limit of entries
}

/// Local headers may lead to the directory, which holds more facts than they do. Otherwise a directory is made of them,
/// if they lead to more items than the damaged directory.
void DirectoryReader::findByHeaders(std::uint64_t maximumItems) {
  FoundItems found = walkHeaders(bytes_, maximumItems, walk_);
  if (found.endsAtDirectory) {
    takeEntries(bytes_, {found.end, bytes_.size() - found.end, found.count, 0}, found.count, 0);
    archive_.prefix_ = prefixBefore(found.begin);
    isWhole_ = isComplete_;
  }
  if (found.count > archive_.size()) {
    auto const size = static_cast<std::uint64_t>(found.directory.size());
    takeEntries(*makeMemoryBytes(std::move(found.directory)), {0, size, found.count, 0}, found.count, 0);
    archive_.directoryBegin_ = found.end;
  }
  recheckEntries();
}

/// What the offsets of the directory fall short by where the first item begins there. Offsets that lead to a local
/// header as they are count what stands in front of the archive.
std::uint64_t DirectoryReader::prefixBefore(std::uint64_t firstItem) const {
  std::uint64_t least = firstItem;
  for (std::size_t i = 0; i < archive_.size(); ++i) least = std::min(least, archive_.entry(i).localHeaderOffset);
  unsigned char signature[4];
  bytes_.readAt(least, signature, sizeof signature);
  return load32(signature) == kLocalSignature ? 0 : firstItem - least;
}

/// While the end of the directory is unknown, items may reach to the end of the file.
void DirectoryReader::recheckEntries() {
  archive_.isUnusable_.clear();
  std::uint64_t const end = isComplete_ ? archive_.directoryBegin_ : bytes_.size();
  for (std::size_t i = 0; i < archive_.size(); ++i)
    checkEntryAt(i, archive_.directory_.get() + archive_.offsets_[i], end - archive_.prefix_);
}

void DirectoryReader::checkEntryAt(std::size_t index, unsigned char const* p, std::uint64_t room) {
  try {
    checkEntry(p, room);
  } catch (InvalidPackage const& fault) {
    Entry entry;
    std::uint32_t disk;
    decodeEntry(p, entry, disk);
    if (entryFaults_.insert(fault.what()).second) refuse(code::kDamagedEntry, entry.name, fault.what());
    archive_.isUnusable_.resize(std::max(archive_.size(), index + 1));
    archive_.isUnusable_[index] = true;
  }
}

void DirectoryReader::refuse(char const* code, std::string_view item, std::string const& message) const {
  faults_.refuse({code, item.empty() ? std::string() : faultItem(item), message});
}

}  // namespace opc::model::zip
