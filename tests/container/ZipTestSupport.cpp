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

RawArchive smallArchive() { return {{storedItem("a", "alpha"), deflatedItem("b", compressible(500))}}; }

}  // namespace zt_test
