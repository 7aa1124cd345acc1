// SPDX-License-Identifier: Apache-2.0
#include "package/PartNameRules.hpp"

#include <algorithm>

#include "opc/Strings.hpp"
#include "opc/model/PartName.hpp"

namespace opc::model::detail {
namespace {

constexpr std::string_view kRelsFolder = "_rels", kRelsExtension = ".rels";

bool isUnreserved(unsigned c) {
  return ascii::isDigit(c) || ascii::isLetter(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

bool isPlainPchar(char c) {
  constexpr std::string_view kOthers = "!$&'()*+,;=:@";
  return isUnreserved(static_cast<unsigned char>(c)) || kOthers.find(c) != std::string_view::npos;
}

/// Two hexadecimal digits of a byte that may be encoded: no unreserved character, slash, backslash or NUL.
bool isAllowedEncoding(std::string_view digits) {
  if (digits.size() < 2) return false;
  int const high = hexValue(static_cast<unsigned char>(digits[0])),
            low = hexValue(static_cast<unsigned char>(digits[1]));
  if (high < 0 || low < 0) return false;
  auto const byte = static_cast<unsigned>(high * 16 + low);
  return byte != 0 && byte != '/' && byte != '\\' && !isUnreserved(byte);
}

bool isValidSegment(std::string_view segment) {
  if (segment.empty() || segment.back() == '.') return false;
  for (std::size_t i = 0; i < segment.size(); ++i) {
    if (segment[i] == '%') {
      if (!isAllowedEncoding(segment.substr(i + 1))) return false;
      i += 2;
    } else if (!isPlainPchar(segment[i])) {
      return false;
    }
  }
  return true;
}

/// Calls `found` with each segment and the position of its end until it returns true.
template <typename Found>
bool anySegment(std::string_view name, Found const& found) {
  for (std::size_t begin = 1;;) {
    std::size_t const end = std::min(name.find('/', begin), name.size());
    if (found(name.substr(begin, end - begin), end)) return true;
    if (end == name.size()) return false;
    begin = end + 1;
  }
}

/// The begin of the last segment, behind its slash.
std::size_t lastSegmentOf(std::string_view name) { return name.rfind('/') + 1; }

}  // namespace

std::string narrowName(std::u16string_view name) {
  std::string narrow(name.size(), '\x80');
  for (std::size_t i = 0; i < name.size(); ++i)
    if (name[i] < 0x80) narrow[i] = static_cast<char>(name[i]);
  return narrow;
}

std::u16string wideName(std::string_view name) { return {name.begin(), name.end()}; }

bool endsIgnoringCase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && equalIgnoringCase(text.substr(text.size() - end.size()), end);
}

bool continues(std::string_view name, std::string_view start) {
  return name.size() > start.size() && name[start.size()] == '/' &&
         equalIgnoringCase(name.substr(0, start.size()), start);
}

bool isValidPartName(std::string_view name) {
  if (name.size() < 2 || name.front() != '/') return false;
  return !anySegment(name, [](std::string_view segment, std::size_t) { return !isValidSegment(segment); });
}

bool isRelationshipsName(std::string_view name) {
  if (!name.starts_with('/') || !endsIgnoringCase(name, kRelsExtension)) return false;
  std::size_t const last = lastSegmentOf(name);
  if (name.size() - last < kRelsExtension.size()) return false;
  std::string_view const folder = name.substr(0, last - 1);
  return endsIgnoringCase(folder, kRelsFolder) && lastSegmentOf(folder) + kRelsFolder.size() == folder.size();
}

std::string relationshipsNameOf(std::string_view source) {
  if (source.empty()) return "/_rels/.rels";
  std::size_t const last = lastSegmentOf(source);
  std::string name(source.substr(0, last));
  return name.append(kRelsFolder).append("/").append(source.substr(last)).append(kRelsExtension);
}

std::string sourceNameOf(std::string_view relationshipsName) {
  std::size_t const last = lastSegmentOf(relationshipsName);
  std::string source(relationshipsName.substr(0, last - kRelsFolder.size() - 1));
  source.append(relationshipsName.substr(last, relationshipsName.size() - last - kRelsExtension.size()));
  return source == "/" ? std::string() : source;
}

std::string extensionOf(std::string_view name) {
  std::string_view const last = name.substr(name.rfind('/') + 1);
  std::size_t const dot = last.rfind('.');
  return dot == std::string_view::npos ? std::string() : lowerCased(last.substr(dot + 1));
}

std::optional<std::size_t> lengthUpToBadSegment(std::string_view name) {
  if (name.empty() || name.front() != '/') return std::nullopt;
  std::size_t const reserved = isRelationshipsName(name) ? lastSegmentOf(name) - 1 : 0;
  std::optional<std::size_t> bad;
  anySegment(name, [&](std::string_view segment, std::size_t end) {
    if (segment.empty() || segment.back() == '.' || end == reserved) bad = end;
    return bad.has_value();
  });
  return bad;
}

}  // namespace opc::model::detail

namespace opc::model {

bool PartName::isValid() const { return detail::isValidPartName(detail::narrowName(text_)); }

bool PartName::isRelationshipsPart() const { return detail::isRelationshipsName(detail::narrowName(text_)); }

bool PartName::isEquivalentTo(PartName const& other) const {
  return detail::equalIgnoringCase(std::u16string_view(text_), std::u16string_view(other.text_));
}

}  // namespace opc::model
