// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "support/ScopedEnvironment.hpp"
#include "text/I18n.hpp"
#include "text/Iconv.hpp"

/// Texts of many languages in many character sets, and what detection makes of them.
namespace i18n_test {

enum class Size { Word, Phrase, Sentence, Paragraph };
inline constexpr std::array kSizes = {Size::Word, Size::Phrase, Size::Sentence, Size::Paragraph};
inline constexpr std::array kSizeNames = {"words", "phrases", "sentences", "paragraphs"};

enum class Outcome { Right, Wrong, Refused };

struct TrialText {
  std::string language;
  Size size;
  bool isHeldBack;  // thresholds were not set by it
  std::string text;
  std::vector<std::string> charsets;
};

/// The character sets of a group, by names that iconv knows.
inline std::vector<std::string> const& charsetsOf(std::string const& group) {
  static std::map<std::string, std::vector<std::string>> const groups = {
      {"west", {"ISO-8859-1", "ISO-8859-15", "WINDOWS-1252", "MACINTOSH", "CP850", "CP437"}},
      {"portuguese", {"CP860"}},
      {"danish", {"CP865"}},
      {"icelandic", {"CP861"}},
      {"finnish", {"ISO-8859-10"}},
      {"baltic", {"WINDOWS-1257", "ISO-8859-13", "ISO-8859-4", "CP775"}},
      {"central", {"ISO-8859-2", "WINDOWS-1250", "CP852", "MAC-CENTRALEUROPE"}},
      {"romanian", {"ISO-8859-16"}},
      {"turkish", {"ISO-8859-9", "WINDOWS-1254", "CP857"}},
      {"south", {"ISO-8859-3"}},
      {"celtic", {"ISO-8859-14"}},
      {"cyrillic", {"ISO-8859-5", "WINDOWS-1251", "MAC-CYRILLIC", "CP855"}},
      {"russian", {"KOI8-R", "CP866"}},
      {"ukrainian", {"KOI8-U"}},
      {"belarusian", {"CP866"}},
      {"serbian", {}},
      {"greek", {"ISO-8859-7", "WINDOWS-1253", "CP737", "CP869"}},
      {"hebrew", {"ISO-8859-8", "WINDOWS-1255", "CP862"}},
      {"arabic", {"ISO-8859-6", "WINDOWS-1256"}},
      {"persian", {"WINDOWS-1256"}},
      {"thai", {"TIS-620", "WINDOWS-874"}},
      {"japanese", {"SHIFT_JIS", "EUC-JP", "ISO-2022-JP"}},
      {"simplified", {"GB2312", "GBK", "GB18030"}},
      {"traditional", {"BIG5"}},
      {"korean", {"EUC-KR", "UHC", "ISO-2022-KR"}}};
  return groups.at(group);
}

inline std::vector<std::string> split(std::string const& line, std::string const& separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (std::size_t end = line.find(separator); end != std::string::npos; end = line.find(separator, start)) {
    pieces.push_back(line.substr(start, end - start));
    start = end + separator.size();
  }
  pieces.push_back(line.substr(start));
  return pieces;
}

/// Reads the file that says its own format.
inline std::vector<TrialText> readTrialTexts(std::string const& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::vector<TrialText> texts;
  std::string line, language;
  std::vector<std::string> charsets;
  while (std::getline(file, line)) {
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '=') {
      std::size_t const colon = line.find(": ");
      language = line.substr(2, colon - 2);
      charsets.clear();
      for (std::string const& group : split(line.substr(colon + 2), " "))
        charsets.insert(charsets.end(), charsetsOf(group).begin(), charsetsOf(group).end());
      continue;
    }
    auto const size = static_cast<Size>(std::string("wpsg").find(line[0]));
    bool isHeldBack = false;
    for (std::string const& text : split(line.substr(2), " | ")) {
      texts.push_back({language, size, isHeldBack, text, charsets});
      isHeldBack = !isHeldBack;
    }
  }
  return texts;
}

/// Nothing where the character set lacks a letter of the text, or where the bytes would be ASCII.
inline std::optional<std::string> encodedBeyondAscii(std::string const& text, std::string const& charset) {
  try {
    std::string const bytes = encode(text, charset);
    bool const isAscii = bytes.find_first_of('\x1B') == std::string::npos &&
                         std::all_of(bytes.begin(), bytes.end(), [](char c) { return (c & 0x80) == 0; });
    if (!isAscii) return bytes;
  } catch (std::runtime_error const&) {
  }
  return std::nullopt;
}

/// The text that the bytes are taken for; nothing where they are refused. The reason, or the character set, goes
/// to `note`.
inline std::optional<std::string> taken(std::string const& bytes, std::string& note) try {
  using namespace fl::i18n;
  std::ostringstream diagnostics;
  note = detect_charset(bytes.data(), bytes.size(), diagnostics, u"trial");
  if (note == "UTF-8") return bytes;
  return ustring_to_utf8(codecvt_string_to_ustring(note, true).do_convert(bytes.data(), bytes.size()));
} catch (opc::UndecodableText const& refused) {
  note = refused.what();
  return std::nullopt;
}

inline Outcome outcomeOf(std::string const& bytes, std::string const& text, std::string& note) {
  std::optional<std::string> const found = taken(bytes, note);
  if (!found) return Outcome::Refused;
  return *found == text ? Outcome::Right : Outcome::Wrong;
}

struct Tally {
  std::size_t right = 0, wrong = 0, refused = 0;

  void add(Outcome outcome) { ++(outcome == Outcome::Right ? right : outcome == Outcome::Wrong ? wrong : refused); }
  std::size_t all() const { return right + wrong + refused; }
};

}  // namespace i18n_test
