// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Mutators.hpp"

namespace zt_fuzz {
namespace {

/// Tags and the text between them, in turns; the first is text.
std::vector<std::string> piecesOf(std::string const& text) {
  std::vector<std::string> pieces(1);
  for (char const c : text) {
    if (c == '<') pieces.emplace_back();
    pieces.back() += c;
    if (c == '>') pieces.emplace_back();
  }
  return pieces;
}

std::string joined(std::vector<std::string> const& pieces) {
  std::string text;
  for (std::string const& piece : pieces) text += piece;
  return text;
}

/// Where the values of a tag are, without their quotes.
std::vector<std::pair<std::size_t, std::size_t>> valuesOf(std::string const& tag) {
  std::vector<std::pair<std::size_t, std::size_t>> values;
  for (std::size_t at = tag.find_first_of("\"'"); at != tag.npos;) {
    std::size_t const end = tag.find(tag[at], at + 1);
    if (end == tag.npos) break;
    values.emplace_back(at + 1, end - at - 1);
    at = tag.find_first_of("\"'", end + 1);
  }
  return values;
}

std::string const& someWord(Random& random) {
  static std::vector<std::string> const words{"/",
                                              "..",
                                              "/../x",
                                              "a/b",
                                              "/a",
                                              "File",
                                              "Folder",
                                              "SymLink",
                                              "file",
                                              "0644",
                                              "-1",
                                              "07777",
                                              "99999999999999999999",
                                              "2024-02-29T12:00:00.000000Z",
                                              "9999-12-31T23:59:59Z",
                                              "not-a-date",
                                              "Internal",
                                              "External",
                                              "rId1",
                                              "2.0",
                                              "1.0",
                                              "",
                                              "&#x41;",
                                              "&amp;#x41;",
                                              "&lt;",
                                              "\xC3\xA9",
                                              "%41",
                                              "%2F",
                                              "#x",
                                              "?q",
                                              "http://example.org/",
                                              "pack://a/",
                                              "/_rels/.rels",
                                              "text/plain",
                                              "text/plain;encryption=AES256-GCM;iv=inline",
                                              "application/xml; a=b; a=c",
                                              "xml",
                                              "rels",
                                              "RELS",
                                              "/metadata/filesystemManifest.xml",
                                              "/fsroot/a.txt",
                                              "/fsroot",
                                              "preserve"};
  return oneOf(random, words);
}

void changeValue(std::string& tag, Random& random, ChangeBytes const& change) {
  auto const values = valuesOf(tag);
  if (values.empty()) return;
  auto const [at, size] = oneOf(random, values);
  std::string const value = tag.substr(at, size);
  auto const [other, otherSize] = oneOf(random, values);
  switch (below(random, 4)) {
    case 0:
      tag.replace(at, size, change(value));
      break;
    case 1:
      tag.replace(at, size, std::string(tag, other, otherSize));
      break;
    case 2:
      tag.replace(at, size, value + someWord(random));
      break;
    default:
      tag.replace(at, size, someWord(random));
  }
}

std::string const& somethingBetween(Random& random) {
  static std::vector<std::string> const things{
      "<!-- c -->",
      "<?p i?>",
      "<![CDATA[x]]>",
      "<!DOCTYPE a [<!ENTITY e \"x\">]>",
      "&e;",
      "&#0;",
      "text",
      " \r\n\t",
      "<a xmlns=\"urn:other\"/>",
      "<p:a xmlns:p=\"http://schemas.openxmlformats.org/markup-compatibility/2006\"/>"};
  return oneOf(random, things);
}

void changeOnce(std::vector<std::string>& pieces, Random& random, ChangeBytes const& change) {
  std::size_t const a = below(random, pieces.size()), b = below(random, pieces.size());
  auto const place = [&](std::size_t index) { return pieces.begin() + static_cast<std::ptrdiff_t>(index); };
  switch (below(random, 8)) {
    case 0:
      pieces.insert(place(a), std::string(pieces[b]));
      return;
    case 1:
      if (pieces.size() > 1) pieces.erase(place(a));
      return;
    case 2:
      return std::swap(pieces[a], pieces[b]);
    case 3:
      pieces.insert(place(a), somethingBetween(random));
      return;
    case 4:
      pieces[a] = change(pieces[a]);
      return;
    default:
      return changeValue(pieces[a], random, change);
  }
}

}  // namespace

Bytes changeMarkup(Bytes const& input, Random& random, ChangeBytes const& change) {
  auto pieces = piecesOf(textOf(input));
  for (std::size_t left = 1 + below(random, 3); left > 0; --left) changeOnce(pieces, random, change);
  return bytesOf(joined(pieces));
}

}  // namespace zt_fuzz
