// SPDX-License-Identifier: Apache-2.0
#include "container/ExtraFields.hpp"

#include <algorithm>
#include <cstddef>

#include "container/ZipFormat.hpp"
#include "text/Ascii.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kFieldHeader = 4;
constexpr std::size_t kUnicodePathHeader = 5;  // version and CRC of the name that it stands for

struct Field {
  std::uint16_t id;
  std::string_view data;
  std::size_t size() const { return kFieldHeader + data.size(); }
};

/// The field at the front of the block, if there is a whole one.
std::optional<Field> firstField(std::string_view extra) {
  if (extra.size() < kFieldHeader) return std::nullopt;
  std::size_t const size = load16(bytesOf(extra) + 2);
  if (size > extra.size() - kFieldHeader) return std::nullopt;
  return Field{load16(bytesOf(extra)), extra.substr(kFieldHeader, size)};
}

std::string_view behindExtraFields(std::string_view extra) {
  while (auto const field = firstField(extra)) extra.remove_prefix(field->size());
  return extra;
}

}  // namespace

bool extraFieldsFit(std::string_view extra) { return behindExtraFields(extra).size() < kFieldHeader; }

bool isPaddedWithZeros(std::string_view extra) {
  std::string_view const padding = behindExtraFields(extra);
  return std::all_of(padding.begin(), padding.end(), [](char c) { return c == '\0'; });
}

std::optional<std::string_view> findExtraField(std::string_view extra, std::uint16_t id) {
  while (auto const field = firstField(extra)) {
    if (field->id == id) return field->data;
    extra.remove_prefix(field->size());
  }
  return std::nullopt;
}

std::string withoutExtraField(std::string_view extra, std::uint16_t id) {
  std::string kept;
  while (auto const field = firstField(extra)) {
    if (field->id != id) kept += extra.substr(0, field->size());
    extra.remove_prefix(field->size());
  }
  return kept += extra;
}

Zip64Numbers::Zip64Numbers(std::string_view extra) : rest_(findExtraField(extra, kZip64Extra).value_or("")) {}

bool Zip64Numbers::widen(std::uint64_t& value) {
  if (value != kIn64) return true;
  if (rest_.size() < 8) return false;
  value = load64(bytesOf(rest_));
  rest_.remove_prefix(8);
  return true;
}

bool Zip64Numbers::widenDisk(std::uint32_t& disk) {
  if (disk != kIn64Short) return true;
  if (rest_.size() < 4) return false;
  disk = load32(bytesOf(rest_));
  rest_.remove_prefix(4);
  return true;
}

bool isRenamedByUnicodePath(std::string_view name, std::string_view extra) {
  auto const path = findExtraField(extra, kUnicodePathExtra);
  if (!path || path->size() < kUnicodePathHeader) return false;
  return ascii::isAscii(name) && path->substr(kUnicodePathHeader) != name;
}

}  // namespace opc::model::zip
