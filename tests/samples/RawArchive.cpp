// SPDX-License-Identifier: Apache-2.0
#include "samples/RawArchive.hpp"

#include <stdexcept>

#include "container/Deflate.hpp"
#include "container/ItemStream.hpp"

namespace zt_test {
namespace {

namespace zip = opc::model::zip;

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

RawItem storedItem(std::string const& name, std::string const& content) { return itemOf(name, content, content, 0); }

RawItem deflatedItem(std::string const& name, std::string const& content) {
  zip::Buffer const made = zip::deflateWhole(zip::Effort::Default, content.data(), content.size());
  if (made.size == 0) throw std::runtime_error("it does not shrink");
  return itemOf(name, content, {made.data.get(), made.data.get() + made.size}, 8);
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
