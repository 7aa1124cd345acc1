// SPDX-License-Identifier: Apache-2.0
#include "container/ZipTestSupport.hpp"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include "container/ContentWriter.hpp"
#include "container/ItemStream.hpp"
#include "container/Reader.hpp"
#include "support/TestSupport.hpp"

namespace zt_test {
namespace {

std::uint32_t next(std::uint32_t& state) {
  state ^= state << 13;
  state ^= state >> 17;
  return state ^= state << 5;
}

std::string header(RawHeader const& h) {
  return le(h.flags, 2) + le(h.method, 2) + le(0x00210000, 4) + le(h.crc, 4) + le(h.stored, 4) + le(h.size, 4) +
         le(h.name.size(), 2) + le(h.extra.size(), 2);
}

std::string localHeader(RawHeader const& h) { return "PK\3\4" + le(20, 2) + header(h) + h.name + h.extra; }

std::string centralHeader(RawHeader const& h, std::string const& comment, std::size_t offset) {
  return "PK\1\2" + le(20, 2) + le(20, 2) + header(h) + le(comment.size(), 2) + le(h.disk, 2) + le(0, 2) + le(0, 4) +
         le(offset + h.offset, 4) + h.name + h.extra + comment;
}

RawItem itemOf(std::string const& name, std::string const& content, std::string const& data, std::uint16_t method) {
  RawHeader const h{name,
                    0,
                    method,
                    zip::crcOf(0, content.data(), content.size()),
                    static_cast<std::uint32_t>(data.size()),
                    static_cast<std::uint32_t>(content.size())};
  return {h, h, data};
}

}  // namespace

std::string compressible(std::size_t size) {
  std::string text;
  text.reserve(size + 64);
  for (std::uint32_t state = 7; text.size() < size;)
    text += "line " + std::to_string(next(state) % 5000) + " of a text that repeats itself\n";
  text.resize(size);
  return text;
}

std::string incompressible(std::size_t size, std::uint32_t seed) {
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(next(seed) >> 11);
  return bytes;
}

std::string mixed(std::size_t size) {
  constexpr std::size_t kTurn = 100'000;
  std::string bytes;
  for (std::uint32_t turn = 1; bytes.size() < size; ++turn)
    bytes += turn % 2 == 1 ? compressible(kTurn) : incompressible(kTurn, turn);
  bytes.resize(size);
  return bytes;
}

std::shared_ptr<zip::Spool> makeSpool() { return std::make_shared<zip::Spool>(std::string()); }

zip::Content makeContent(std::shared_ptr<zip::Spool> const& spool, std::string const& bytes, std::size_t step,
                         zip::Effort effort) {
  zip::ContentWriter writer(spool, effort);
  for (std::size_t at = 0; at < bytes.size(); at += step)
    writer.write(bytes.data() + at, std::min(step, bytes.size() - at));
  writer.close();
  return writer.content();
}

std::string storedBytes(zip::Content const& content) {
  std::string bytes(static_cast<std::size_t>(content.storedSize), '\0');
  content.spool->readAt(content.offset, bytes.data(), bytes.size());
  return bytes;
}

std::string contentOf(zip::Content const& content) { return readAll(*content.open("item")); }

std::shared_ptr<zip::Archive const> openBytes(std::string const& bytes, std::uint64_t maximumEntries) {
  return zip::Archive::open(zip::makeMemoryBytes(bytesOf(bytes)), maximumEntries);
}

std::size_t indexOf(zip::Archive const& archive, std::string const& name) {
  for (std::size_t i = 0; i < archive.size(); ++i)
    if (archive.entry(i).name == name) return i;
  throw std::runtime_error("no item " + name);
}

std::string contentOf(zip::Archive const& archive, std::string const& name) {
  return readAll(*archive.openContent(indexOf(archive, name)));
}

void PrintTo(FaultName const& name, std::ostream* out) { *out << name.code << " of \"" << name.item << '"'; }

void CollectedFaults::refuse(opc::model::Fault const& fault) {
  tolerate(fault);
  isRefused = true;
}

void CollectedFaults::tolerate(opc::model::Fault const& fault) {
  names.push_back({fault.code, fault.item});
  messages.push_back(fault.finding.empty() ? fault.message : fault.finding);
}

void checkHeaders(std::string const& bytes) {
  opc::model::ThrowingFaults faults;
  zip::Reader(zip::makeMemoryBytes(bytesOf(bytes)), UINT64_MAX, faults).checkHeaders();
}

void readEverything(std::string const& bytes) {
  auto const archive = openBytes(bytes);
  for (std::size_t i = 0; i < archive->size(); ++i) readAll(*archive->openContent(i));
}

std::string archiveOf(std::vector<NamedContent> const& items) {
  std::vector<unsigned char> bytes;
  zip::MemorySink sink(bytes);
  zip::ArchiveWriter writer(sink);
  auto const spool = makeSpool();
  for (auto const& item : items) writer.add(item.name, makeContent(spool, item.content));
  writer.finish();
  return textOf(bytes);
}

RawItem storedItem(std::string const& name, std::string const& content) { return itemOf(name, content, content, 0); }

RawItem deflatedItem(std::string const& name, std::string const& content) {
  zip::Content const made = makeContent(makeSpool(), content);
  if (made.method != 8) throw std::runtime_error("it does not shrink");
  return itemOf(name, content, storedBytes(made), 8);
}

RawItem streamedItem(RawItem item, std::string const& descriptor) {
  item.local.flags = item.central.flags = 8;
  item.local.crc = item.local.stored = item.local.size = 0;
  item.behind = descriptor;
  return item;
}

std::string descriptorOf(RawItem const& item, std::size_t width, bool withSignature) {
  return (withSignature ? "PK\7\10" : "") + le(item.central.crc, 4) + le(item.central.stored, width) +
         le(item.central.size, width);
}

RawArchive smallArchive() { return {{storedItem("a", "alpha"), deflatedItem("b", compressible(500))}}; }

std::string RawArchive::build() const {
  std::string bytes = prefix, directory;
  std::size_t const uncounted = offsetsCountPrefix ? 0 : prefix.size();
  for (RawItem const& item : items) {
    directory += centralHeader(item.central, item.comment, bytes.size() - uncounted);
    bytes += localHeader(item.local) + item.data + item.behind;
  }
  std::string const end = "PK\5\6" + le(0, 4) + le(items.size(), 2) + le(items.size(), 2) + le(directory.size(), 4) +
                          le(bytes.size() - uncounted, 4) + le(comment.size(), 2) + comment;
  return bytes + directory + beforeEnd + end;
}

std::string le(std::uint64_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}

std::string patched(std::string bytes, std::size_t fromEnd, std::uint64_t value, std::size_t size) {
  return bytes.replace(bytes.size() - fromEnd, size, le(value, size));
}

}  // namespace zt_test
