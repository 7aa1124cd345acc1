// SPDX-License-Identifier: Apache-2.0
#include "services/tree/PlainManifestReader.hpp"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "services/tree/FileSystemManifest.hpp"
#include "text/Ascii.hpp"
#include "text/SchemaBaseURI.hpp"
#include "text/Unicode.hpp"

namespace opc::ztservices {
namespace {

constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)";
constexpr std::string_view kRoot = R"(<fileEntries xmlns=")" ZT_SCHEMA_BASE_URI R"(/package/2013/filesystemManifest")";
constexpr std::string_view kEndOfRoot = "</fileEntries>";
constexpr std::string_view kEntry = "  <fileEntry", kEndOfEntry = "</fileEntry>";

using Plain = std::array<bool, 256>;

/// The bytes of an attribute value that are ASCII characters and stand for themselves.
constexpr Plain plainBytes() {
  Plain plain{};
  for (std::size_t byte = 0x20; byte < 0x7F; ++byte) plain[byte] = byte != '"' && byte != '&' && byte != '<';
  return plain;
}

constexpr Plain kPlain = plainBytes();

constexpr std::pair<std::string_view, char16_t> kEscapes[] = {{"&amp;", u'&'},  {"&lt;", u'<'},   {"&quot;", u'"'},
                                                              {"&#x9;", u'\t'}, {"&#xA;", u'\n'}, {"&#xD;", u'\r'}};

bool hasForm(std::u16string_view text, std::string_view form) {
  return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char16_t unit, char wanted) {
    return wanted == '0' ? ascii::isDigit(unit) : unit == static_cast<char16_t>(wanted);
  });
}

unsigned numberOf(std::u16string_view digits) {
  unsigned number = 0;
  for (char16_t const digit : digits) number = number * 10 + (digit - u'0');
  return number;
}

/// Whether the text is a time as convertTimeToString() writes it.
bool isTime(std::u16string_view text) {
  if (!hasForm(text, "0000-00-00T00:00:00Z") && !hasForm(text, "0000-00-00T00:00:00.000000Z")) return false;
  auto const at = [&](std::size_t position) { return numberOf(text.substr(position, 2)); };
  std::chrono::year_month_day const day(std::chrono::year(static_cast<int>(numberOf(text.substr(0, 4)))),
                                        std::chrono::month(at(5)), std::chrono::day(at(8)));
  return text.front() != u'0' && day.ok() && at(11) < 24 && at(14) < 60 && at(17) < 60;
}

bool isType(std::u16string_view text) {
  return text == manifest::kFile || text == manifest::kFolder || text == manifest::kLink;
}

bool isPlainCharacter(char c) { return c == ' ' || ascii::isLetter(c) || ascii::isDigit(c); }

void appendAscii(std::u16string& to, std::string_view text) {
  std::size_t const size = to.size();
  to.resize(size + text.size());
  std::copy(text.begin(), text.end(), to.begin() + static_cast<std::ptrdiff_t>(size));
}

/// Returns whether the handler took the call.
template <typename Call>
bool isTaken(Call const& call) {
  try {
    call();
    return true;
  } catch (...) {
    return false;  // the handler throws it again when a parser reads the document
  }
}

}  // namespace

std::optional<std::string_view> LineReader::next() {
  for (std::size_t searched = begin_;;) {
    if (void const* const found = std::memchr(buffer_.get() + searched, '\n', end_ - searched)) {
      auto const end = static_cast<std::size_t>(static_cast<char const*>(found) - buffer_.get());
      std::string_view const line(buffer_.get() + begin_, end - begin_);
      begin_ = end + 1;
      return line;
    }
    if (begin_ > 0) {
      std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
      end_ -= std::exchange(begin_, 0);
    }
    if (hasEnded_ || end_ == kCapacity) return std::nullopt;
    searched = end_;
    std::size_t const count = input_.read(buffer_.get() + end_, kCapacity - end_);
    hasEnded_ = count == 0;
    end_ += count;
  }
}

/// An attribute's name, and what stands before its value.
struct PlainManifestReader::Name {
  std::u16string_view name;
  std::string_view lead;
};

std::u16string& PlainManifestReader::Attributes::add(std::u16string_view name) {
  names_[size_] = name;
  values_[size_].clear();
  return values_[size_++];
}

bool PlainManifestReader::read(model::XmlContentHandler& handler) {
  if (!readLine() || rest_ != kDeclaration || !readLine() || !readRoot()) return false;
  bool const isRootTaken = isTaken([&] {
    handler.namespaceDeclared({}, manifest::kNamespace);
    handler.startElement(manifest::kNamespace, manifest::kEntries, attributes_);
  });
  if (!isRootTaken || (!isEmptyRoot_ && !readEntries(handler))) return false;
  return !readLine() && lines_.isAtEnd() &&
         isTaken([&] { handler.endElement(manifest::kNamespace, manifest::kEntries); });
}

bool PlainManifestReader::readLine() {
  auto const line = lines_.next();
  if (line) rest_ = *line;
  return line.has_value();
}

bool PlainManifestReader::readRoot() {
  static constexpr Name kEncoding{manifest::kEncoding, R"( createdByEncoding=")"};
  static constexpr Name kPlatform{manifest::kPlatform, R"( createdByPlatform=")"};
  static constexpr Name kVersion{manifest::kVersion, R"( version=")"};
  if (!take(kRoot) || !takeAttribute(kEncoding) || !takeAttribute(kPlatform) || !takeAttribute(kVersion)) return false;
  if (attributes_.last() != manifest::kCurrentVersion) return false;
  isEmptyRoot_ = rest_ == "/>";
  return isEmptyRoot_ || rest_ == ">";
}

/// There is an empty line before each entry and before the end of the root.
bool PlainManifestReader::readEntries(model::XmlContentHandler& handler) {
  while (readLine() && rest_.empty() && readLine()) {
    if (rest_ == kEndOfRoot) return true;
    bool const isEntryTaken = readEntry() && isTaken([&] {
                                handler.startElement(manifest::kNamespace, manifest::kEntry, attributes_);
                                if (!text_.empty()) handler.characters(text_);
                                handler.endElement(manifest::kNamespace, manifest::kEntry);
                              });
    if (!isEntryTaken) return false;
  }
  return false;
}

bool PlainManifestReader::readEntry() {
  static constexpr Name kContent{manifest::kContent, R"( content=")"}, kDate{manifest::kDate, R"( date=")"};
  static constexpr Name kName{manifest::kName, R"( name=")"}, kType{manifest::kType, R"( type=")"};
  static constexpr Name kPermissions{manifest::kPermissions, R"( permissions=")"};
  attributes_.clear();
  if (!take(kEntry) || !takeAttribute(kContent)) return false;
  if (rest_.starts_with(kDate.lead) && !(takeAttribute(kDate) && isTime(attributes_.last()))) return false;
  if (!takeAttribute(kName)) return false;
  if (rest_.starts_with(kPermissions.lead) && !takeAttribute(kPermissions)) return false;
  return takeAttribute(kType) && isType(attributes_.last()) && readEndOfEntry();
}

bool PlainManifestReader::readEndOfEntry() {
  text_.clear();
  if (rest_ == "/>") return true;
  if (!take(">") || !rest_.ends_with(kEndOfEntry)) return false;
  rest_.remove_suffix(kEndOfEntry.size());
  appendAscii(text_, rest_);
  return !rest_.empty() && rest_.front() != ' ' && std::all_of(rest_.begin(), rest_.end(), isPlainCharacter);
}

bool PlainManifestReader::take(std::string_view text) {
  bool const isThere = rest_.starts_with(text);
  if (isThere) rest_.remove_prefix(text.size());
  return isThere;
}

bool PlainManifestReader::takeAttribute(Name const& name) {
  return take(name.lead) && takeValue(attributes_.add(name.name));
}

/// With the quotation mark behind it.
bool PlainManifestReader::takeValue(std::u16string& value) {
  for (;;) {
    auto const end =
        std::find_if_not(rest_.begin(), rest_.end(), [](char c) { return kPlain[static_cast<unsigned char>(c)]; });
    auto const count = static_cast<std::size_t>(end - rest_.begin());
    appendAscii(value, rest_.substr(0, count));
    rest_.remove_prefix(count);
    if (take("\"")) return true;
    if (!takeEscape(value) && !takeBeyondAscii(value)) return false;
  }
}

bool PlainManifestReader::takeEscape(std::u16string& value) {
  auto const* const escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                          [&](auto const& known) { return rest_.starts_with(known.first); });
  if (escape == std::end(kEscapes)) return false;
  rest_.remove_prefix(escape->first.size());
  value += escape->second;
  return true;
}

/// UTF-8 characters that XML can carry, one or more.
bool PlainManifestReader::takeBeyondAscii(std::u16string& value) {
  auto const end =
      std::find_if(rest_.begin(), rest_.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  auto const count = static_cast<std::size_t>(end - rest_.begin());
  std::size_t const size = value.size();
  if (count == 0 || unicode::appendUTF16(value, rest_.substr(0, count)) != count) return false;
  rest_.remove_prefix(count);
  return value.find_first_of(u"\uFFFE\uFFFF", size) == std::u16string::npos;
}

}  // namespace opc::ztservices
