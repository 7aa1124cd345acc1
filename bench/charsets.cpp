// SPDX-License-Identifier: Apache-2.0
// How often is the character set of a text told right, told wrong, or refused? Prints tables by character set, by
// language and by size, in a UTF-8 locale and in the locale of each text.
//
//   scripts/charset_table [-v]       or       bench_charsets LANGUAGES [-v]
//
// LANGUAGES is tests/data/text/languages.txt; -v lists each wrong text. Wrong texts whose bytes happen to be
// well-formed UTF-8 are stored byte for byte; they are counted apart too.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "text/CharsetTrials.hpp"

namespace {

using namespace i18n_test;
using zt_test::ScopedLocale;

bool isVerbose = false;
std::size_t wrongAsUtf8 = 0;  // of all trials

struct Row {
  std::array<Tally, 4> utf8, own;
};

void print(char const* name, Row const& row) {
  std::printf("%-28s", name);
  for (std::size_t i = 0; i < kSizes.size(); ++i)
    std::printf(" | %4zu %3zu %4zu , %4zu %3zu %4zu", row.utf8[i].right, row.utf8[i].wrong, row.utf8[i].refused,
                row.own[i].right, row.own[i].wrong, row.own[i].refused);
  std::printf("\n");
}

void printHead(char const* what) {
  std::printf("\n%-28s", what);
  for (char const* const size : kSizeNames) std::printf(" | %-31s", size);
  std::printf("\n%-28s", "right wrong refused");
  for (std::size_t i = 0; i < kSizes.size(); ++i) std::printf(" | %-14s , %-14s", "UTF-8 locale", "own locale");
  std::printf("\n");
}

Outcome tried(std::string const& locale, TrialText const& text, std::string const& charset, std::string const& bytes) {
  ScopedLocale const scope(locale);
  std::string note;
  Outcome const outcome = outcomeOf(bytes, text.text, note);
  if (outcome == Outcome::Wrong && note == "UTF-8") ++wrongAsUtf8;
  if (isVerbose && (outcome == Outcome::Wrong || (outcome == Outcome::Refused && text.size >= Size::Sentence))) {
    std::string ignored;
    std::printf("%s %s in %s, locale %s: %s: %s -> %s\n", outcome == Outcome::Wrong ? "WRONG" : "refused",
                text.language.c_str(), charset.c_str(), locale.c_str(), note.c_str(), text.text.c_str(),
                taken(bytes, ignored).value_or("").c_str());
  }
  return outcome;
}

bool canBeALocale(std::string const& charset) { return !charset.starts_with("ISO-2022"); }

void share(char const* what, std::array<Tally, 4> const& tallies) {
  Tally sum;
  for (Tally const& tally : tallies) {
    sum.right += tally.right;
    sum.wrong += tally.wrong;
    sum.refused += tally.refused;
  }
  auto const percent = [](std::size_t part, std::size_t all) {
    return all == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(all);
  };
  std::printf("%-28s of %zu: wrong %.2f %%, refused %.2f %%; sentences refused %.2f %%\n", what, sum.all(),
              percent(sum.wrong, sum.all()), percent(sum.refused, sum.all()),
              percent(tallies[2].refused, tallies[2].all()));
}

void languages(char const* path) {
  std::map<std::string, Row> byCharset, byLanguage;
  Row tuned, heldBack, all;
  for (TrialText const& text : readTrialTexts(path))
    for (std::string const& charset : text.charsets) {
      auto const bytes = encodedBeyondAscii(text.text, charset);
      if (!bytes) continue;
      auto const size = static_cast<std::size_t>(text.size);
      std::array<Row*, 4> const rows = {&byCharset[charset], &byLanguage[text.language],
                                        text.isHeldBack ? &heldBack : &tuned, &all};
      Outcome const inUtf8 = tried("C.UTF-8", text, charset, *bytes);
      for (Row* const row : rows) row->utf8[size].add(inUtf8);
      if (!canBeALocale(charset)) continue;
      Outcome const inOwn = tried("xx_XX." + charset, text, charset, *bytes);
      for (Row* const row : rows) row->own[size].add(inOwn);
    }
  printHead("character set");
  for (auto const& [name, row] : byCharset) print(name.c_str(), row);
  printHead("language");
  for (auto const& [name, row] : byLanguage) print(name.c_str(), row);
  printHead("all");
  print("tuned", tuned);
  print("held back", heldBack);
  print("all", all);
  std::printf("\n%zu character sets, %zu languages\n", byCharset.size(), byLanguage.size());
  share("UTF-8 locale, tuned", tuned.utf8);
  share("UTF-8 locale, held back", heldBack.utf8);
  share("UTF-8 locale, all", all.utf8);
  share("own locale, all", all.own);
  std::printf("of all wrong ones %zu are well-formed UTF-8, whose bytes stay\n", wrongAsUtf8);
}

/// What is to be refused, or at most to pass as the UTF-8 that it is by chance.
void expectRefusal(char const* what, std::vector<std::string> const& texts, std::vector<std::string> const& locales) {
  for (std::string const& locale : locales) {
    ScopedLocale const scope(locale);
    std::size_t converted = 0, passed = 0;
    for (std::string const& bytes : texts) {
      std::string note;
      auto const found = taken(bytes, note);
      if (found && note == "UTF-8")
        ++passed;
      else if (found) {
        ++converted;
        if (isVerbose) std::printf("CONVERTED as %s: %s\n", note.c_str(), found->c_str());
      }
    }
    std::printf("%-34s %-18s %6zu texts: %5zu converted, %5zu are UTF-8\n", what, locale.c_str(), texts.size(),
                converted, passed);
  }
}

std::vector<std::string> const kLocales = {"C.UTF-8", "xx_XX.ISO-8859-1", "xx_XX.WINDOWS-1251", "xx_XX.GB18030"};

std::vector<std::string> randomBuffers(std::size_t count, std::size_t fewest, std::size_t most) {
  std::mt19937_64 random(20260101);
  std::vector<std::string> buffers(count);
  for (std::string& buffer : buffers) {
    buffer.resize(fewest + random() % (most - fewest + 1));
    for (char& c : buffer) c = static_cast<char>(random());
  }
  return buffers;
}

/// Each text of the table as `make` changes its UTF-8.
template <typename Make>
std::vector<std::string> derived(std::vector<TrialText> const& texts, Make make) {
  std::vector<std::string> made;
  for (TrialText const& text : texts) try {
      std::string const bytes = make(text.text);
      if (!bytes.empty()) made.push_back(bytes);
    } catch (std::runtime_error const&) {
    }
  return made;
}

std::string binaryWithTextEnding(std::string const& text) {
  std::mt19937_64 random(text.size());
  std::string bytes(64 + random() % 400, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes + text;
}

void others(char const* path) {
  auto const texts = readTrialTexts(path);
  std::printf("\nto be refused\n");
  expectRefusal("random, 8 to 300 bytes", randomBuffers(10'000, 8, 300), kLocales);
  expectRefusal("random, 8 bytes", randomBuffers(10'000, 8, 8), kLocales);
  expectRefusal("random, 16 bytes", randomBuffers(10'000, 16, 16), kLocales);
  for (char const* const ebcdic : {"IBM037", "IBM500", "IBM273", "IBM1025"})
    expectRefusal((std::string("EBCDIC, ") + ebcdic).c_str(),
                  derived(texts, [ebcdic](std::string const& text) { return encode(text, ebcdic); }),
                  {"C.UTF-8", "xx_XX.ISO-8859-1", "xx_XX.GB18030"});
  expectRefusal("UTF-8 cut in its last character",
                derived(texts,
                        [](std::string text) {
                          while (!text.empty() && (text.back() & 0x80) == 0) text.pop_back();
                          return text.substr(0, text.size() - std::min<std::size_t>(text.size(), 1));
                        }),
                {"C.UTF-8", "xx_XX.ISO-8859-1"});
  expectRefusal("UTF-8 mixed with Latin-1",
                derived(texts, [](std::string const& text) { return encode(text, "ISO-8859-1") + "\n" + text; }),
                {"C.UTF-8", "xx_XX.ISO-8859-1"});
  expectRefusal(
      "UTF-8 mixed with windows-1251",
      derived(texts, [](std::string const& text) { return text + "\n" + encode(text, "WINDOWS-1251").substr(0, 40); }),
      {"C.UTF-8", "xx_XX.WINDOWS-1251"});
  for (std::string const wide : {"UTF-32LE", "UTF-32BE", "UTF-16LE", "UTF-16BE"})
    for (std::size_t cut = 1; cut <= 3; ++cut) {
      if (wide.starts_with("UTF-16") && cut != 1) continue;
      for (std::string const mark : {"\uFEFF", ""})
        expectRefusal((wide + (mark.empty() ? "" : " marked") + " less " + std::to_string(cut) + " bytes").c_str(),
                      derived(texts,
                              [&](std::string const& text) {
                                std::string const bytes = encode(mark + text + ".", wide);
                                return bytes.substr(0, bytes.size() - cut);
                              }),
                      {"C.UTF-8", "xx_XX.ISO-8859-1"});
    }
  expectRefusal("binary data with a text ending", derived(texts, binaryWithTextEnding),
                {"C.UTF-8", "xx_XX.ISO-8859-1"});
  for (char const* const charset : {"WINDOWS-1251", "ISO-8859-1"})
    expectRefusal((std::string("binary data, then ") + charset).c_str(),
                  derived(texts, [&](std::string const& text) { return binaryWithTextEnding(encode(text, charset)); }),
                  {"C.UTF-8", "xx_XX.ISO-8859-1"});
}

void wide(char const* path) {
  Tally tallies[4][4];
  char const* const charsets[] = {"UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"};
  ScopedLocale const locale("C.UTF-8");
  for (TrialText const& text : readTrialTexts(path))
    for (std::size_t i = 0; i < 4; ++i) {
      std::string note;
      tallies[i][static_cast<std::size_t>(text.size)].add(outcomeOf(encode(text.text, charsets[i]), text.text, note));
    }
  std::printf("\nwithout a mark, UTF-8 locale: right, wrong, refused by size\n");
  for (std::size_t i = 0; i < 4; ++i) {
    std::printf("%-28s", charsets[i]);
    for (Tally const& tally : tallies[i]) std::printf(" | %4zu %4zu %4zu", tally.right, tally.wrong, tally.refused);
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return std::fprintf(stderr, "usage: bench_charsets LANGUAGES [-v]\n"), 2;
  isVerbose = argc > 2 && std::strcmp(argv[2], "-v") == 0;
  languages(argv[1]);
  wide(argv[1]);
  others(argv[1]);
}
