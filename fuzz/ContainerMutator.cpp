// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Mutators.hpp"
#include "container/Archive.hpp"
#include "container/ItemStream.hpp"
#include "container/RandomAccessBytes.hpp"
#include "container/ZipFormat.hpp"
#include "opc/Exception.hpp"
#include "samples/RawArchive.hpp"

namespace zt_fuzz {
namespace {

namespace zip = opc::model::zip;
using zt_test::le;
using zt_test::RawArchive;
using zt_test::RawHeader;
using zt_test::RawItem;

constexpr std::size_t kMostItems = 64;
constexpr std::uint64_t kMostContent = 1 << 20;

bool once(Random& random, std::size_t in) { return below(random, in) == 0; }

/// Numbers at which something changes.
std::uint32_t telling(Random& random) {
  static std::array<std::uint32_t, 12> const numbers{0,      1,      2,          8,          0x7FFF,     0x8000,
                                                     0xFFFE, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
  return once(random, 4) ? static_cast<std::uint32_t>(random()) : oneOf(random, numbers);
}

RawHeader headerOf(zip::Entry const& entry, std::size_t stored) {
  RawHeader header;
  header.name = entry.name;
  header.flags = static_cast<std::uint16_t>(entry.flags & ~zip::kDescriptorFlag);
  header.method = entry.method;
  header.crc = entry.crc;
  header.stored = static_cast<std::uint32_t>(stored);
  header.size = static_cast<std::uint32_t>(entry.size);
  return header;
}

/// The item, deflated anew where it was deflated, and what else the directory says of it.
RawItem itemOf(zip::Archive const& archive, std::size_t index) {
  zip::Entry const entry = archive.entry(index);
  if (entry.size > kMostContent) throw opc::Exception("too large");
  std::string const content = textOf(readAll(*archive.openContent(index)));
  RawItem item = zt_test::storedItem(std::string(entry.name), content);
  if (entry.method == zip::kDeflated && content.size() > 64) {
    try {
      item = zt_test::deflatedItem(std::string(entry.name), content);
    } catch (std::runtime_error const&) {
      item.behind.clear();  // it does not shrink: it stays stored
    }
  }
  RawHeader const header = headerOf(entry, item.data.size());
  item.local.flags = item.central.flags = header.flags;
  item.central.extra = entry.extra;
  item.comment = entry.comment;
  return item;
}

std::optional<RawArchive> parsed(Bytes const& input) {
  std::optional<RawArchive> raw;
  isAccepted<opc::Exception>([&] {
    auto const archive = zip::Archive::open(zip::makeMemoryBytes(input), kMostItems);
    RawArchive made;
    for (std::size_t i = 0; i < archive->size(); ++i) made.items.push_back(itemOf(*archive, i));
    made.comment = archive->comment();
    raw = std::move(made);
  });
  return raw;
}

std::string contentOf(RawItem const& item) {
  RawArchive const alone{{item}};
  std::string const bytes = alone.build();
  auto const archive = zip::Archive::open(zip::makeMemoryBytes(bytesOf(bytes)));
  return textOf(readAll(*archive->openContent(0)));
}

/// Keeps names, flags and fields, and takes the content with the numbers that belong to it.
void setContent(RawItem& item, std::string const& content, bool deflates) {
  RawItem made = zt_test::storedItem(item.local.name, content);
  if (deflates) isAccepted<std::runtime_error>([&] { made = zt_test::deflatedItem(item.local.name, content); });
  for (auto const& [to, from] : {std::pair(&item.local, &made.local), std::pair(&item.central, &made.central)}) {
    to->method = from->method;
    to->crc = from->crc;
    to->stored = from->stored;
    to->size = from->size;
  }
  item.data = made.data;
}

void rename(RawItem& item, std::string const& name) { item.local.name = item.central.name = name; }

std::string otherName(std::string const& name, std::vector<RawItem> const& items, Random& random,
                      ChangeBytes const& change) {
  static std::vector<std::string> const names{"[Content_Types].xml",
                                              "_rels/.rels",
                                              "docProps/core.xml",
                                              "metadata/filesystemManifest.xml",
                                              "a/_rels/b.rels",
                                              "../evil",
                                              "/absolute",
                                              "a//b",
                                              "a/./b",
                                              "%2e%2e/x"};
  static std::vector<std::string> const ends{"/[0].piece", "/[1].piece", "/[1].last.piece", "/", ".rels", "."};
  switch (below(random, 5)) {
    case 0:
      return change(name);
    case 1:
      return oneOf(random, items).local.name;
    case 2:
      return name + oneOf(random, ends);
    case 3: {
      std::string other = name;
      for (char& c : other)
        if (once(random, 3)) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
      return other;
    }
    default:
      return oneOf(random, names);
  }
}

std::string field(std::uint16_t id, std::string const& data) { return le(id, 2) + le(data.size(), 2) + data; }

std::string someField(RawItem const& item, Random& random, ChangeBytes const& change) {
  std::string const numbers = le(item.central.size, 8) + le(item.central.stored, 8) + le(telling(random), 8);
  switch (below(random, 5)) {
    case 0:
      return field(zip::kZip64Extra, numbers.substr(0, 8 * below(random, 4)));
    case 1: {
      std::size_t const room = below(random, 64);
      return field(zip::kGrowthHintExtra, le(zip::kGrowthHintSignature, 2) + le(room, 2) +
                                              std::string(once(random, 3) ? room / 2 : room, '\0'));
    }
    case 2:
      return field(zip::kChunksExtra, change(le(telling(random), 4) + le(item.central.crc, 4) + numbers));
    case 3:
      return field(0x7075, '\1' + le(item.local.crc, 4) + "other");  // a name in UTF-8, which readers may not trust
    default:
      return field(static_cast<std::uint16_t>(random()), change("field"));
  }
}

/// Local, central or both headers.
template <typename Step>
void atHeaders(RawItem& item, Random& random, Step const& step) {
  std::size_t const which = below(random, 3);
  if (which != 1) step(item.local);
  if (which != 0) step(item.central);
}

void changeNumber(RawHeader& header, Random& random) {
  static std::array<std::uint16_t, 6> const flags{1, 2, 8, 64, 2048, 8192}, methods{0, 8, 9, 12, 14, 99};
  switch (below(random, 7)) {
    case 0:
      header.flags ^= oneOf(random, flags);
      break;
    case 1:
      header.method = oneOf(random, methods);
      break;
    case 2:
      header.crc ^= 1u << below(random, 32);
      break;
    case 3:
      header.stored = once(random, 2) ? telling(random) : header.stored + 1;
      break;
    case 4:
      header.size = once(random, 2) ? telling(random) : header.size - 1;
      break;
    case 5:
      header.offset = once(random, 2) ? telling(random) : 1;
      break;
    default:
      header.disk = static_cast<std::uint16_t>(telling(random));
  }
}

void splitIntoPieces(std::vector<RawItem>& items, std::size_t index, Random& random) {
  RawItem const whole = items[index];
  std::string const content = contentOf(whole);
  std::size_t const middle = below(random, content.size() + 1);
  items[index] = zt_test::storedItem(whole.local.name + "/[0].piece", content.substr(0, middle));
  items.push_back(zt_test::storedItem(whole.local.name + "/[1].last.piece", content.substr(middle)));
}

/// With a descriptor behind its data, of either width, with or without a signature.
void stream(RawItem& item, Random& random) {
  item = zt_test::streamedItem(item, zt_test::descriptorOf(item, once(random, 4) ? 8 : 4, !once(random, 3)));
}

void changeItem(RawArchive& archive, Random& random, ChangeBytes const& change) {
  std::size_t const index = below(random, archive.items.size());
  RawItem& item = archive.items[index];
  switch (below(random, 10)) {
    case 0:
      return rename(item, otherName(item.local.name, archive.items, random, change));
    case 1:
      return atHeaders(item, random, [&](RawHeader& header) { header.extra += someField(item, random, change); });
    case 2:
      return atHeaders(item, random, [&](RawHeader& header) { changeNumber(header, random); });
    case 3:
      return splitIntoPieces(archive.items, index, random);
    case 4:
      return stream(item, random);
    case 5:
      item.data = change(item.data);
      item.local.stored = item.central.stored = static_cast<std::uint32_t>(item.data.size());
      return;
    default:
      return setContent(item, change(contentOf(item)), !once(random, 3));
  }
}

void changeWhole(RawArchive& archive, Random& random, ChangeBytes const& change) {
  auto& items = archive.items;
  std::size_t const a = below(random, items.size()), b = below(random, items.size());
  switch (below(random, 6)) {
    case 0:
      return std::swap(items[a], items[b]);
    case 1:
      items.insert(items.begin() + static_cast<std::ptrdiff_t>(a), RawItem(items[b]));
      return;
    case 2:
      items.erase(items.begin() + static_cast<std::ptrdiff_t>(a));
      return;
    case 3:
      archive.prefix = change("prefix");
      archive.offsetsCountPrefix = once(random, 2);
      return;
    case 4:
      archive.comment = change("comment");
      return;
    default:
      items[a].behind += change("gap");
  }
}

}  // namespace

Bytes changeContainer(Bytes const& input, Random& random, ChangeBytes const& change) {
  auto archive = once(random, 8) ? std::nullopt : parsed(input);
  if (!archive || archive->items.empty()) return bytesOf(change(textOf(input)));
  isAccepted<opc::Exception>([&] {
    for (std::size_t left = 1 + below(random, 3); left > 0 && !archive->items.empty(); --left)
      once(random, 4) ? changeWhole(*archive, random, change) : changeItem(*archive, random, change);
  });
  return bytesOf(archive->build());
}

}  // namespace zt_fuzz
