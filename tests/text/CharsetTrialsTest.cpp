// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <gmock/gmock.h>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/TestSupport.hpp"
#include "text/CharsetTrials.hpp"
#include "text/Unicode.hpp"

namespace {

using namespace i18n_test;
using zt_test::ScopedLocale;

std::vector<TrialText> const& texts() {
  static auto const all = readTrialTexts((zt_test::data() / "text/languages.txt").string());
  return all;
}

using Tallies = std::array<Tally, kSizes.size()>;

Tally sumOf(Tallies const& tallies) {
  Tally sum;
  for (Tally const& tally : tallies) {
    sum.right += tally.right;
    sum.wrong += tally.wrong;
    sum.refused += tally.refused;
  }
  return sum;
}

/// Each text in each of its character sets; an empty `locale` is the text's own. Text that is well-formed UTF-8 by
/// chance is never converted in its own locale, so that not one of its bytes changes.
Tallies triedIn(std::string const& locale) {
  Tallies tallies;
  for (TrialText const& text : texts())
    for (std::string const& charset : text.charsets) {
      auto const bytes = encodedBeyondAscii(text.text, charset);
      if (!bytes || (locale.empty() && charset.starts_with("ISO-2022"))) continue;
      if (locale.empty() && opc::unicode::utf8Prefix(*bytes) == bytes->size()) continue;
      ScopedLocale const scope(locale.empty() ? "xx_XX." + charset : locale);
      std::string note;
      tallies[static_cast<std::size_t>(text.size)].add(outcomeOf(*bytes, text.text, note));
    }
  return tallies;
}

void print(char const* locale, Tallies const& tallies) {
  for (std::size_t i = 0; i < kSizes.size(); ++i)
    std::printf("%-12s %-10s %5zu right %5zu wrong %5zu refused\n", locale, kSizeNames[i], tallies[i].right,
                tallies[i].wrong, tallies[i].refused);
}

/// How many are converted, in the UTF-8 locale or another one.
std::size_t convertedOf(std::vector<std::string> const& buffers, std::string const& locale = "C.UTF-8") {
  ScopedLocale const scope(locale);
  return static_cast<std::size_t>(std::count_if(buffers.begin(), buffers.end(), [](std::string const& bytes) {
    std::string note;
    return taken(bytes, note) && note != "UTF-8";
  }));
}

/// What `make` makes of each text of a size; where it cannot, nothing.
template <typename Make>
std::vector<std::string> made(Make make, Size fewest = Size::Word) {
  std::vector<std::string> all;
  for (TrialText const& text : texts()) try {
      if (text.size >= fewest) all.push_back(make(text.text));
    } catch (std::runtime_error const&) {
    }
  return all;
}

std::string randomBytes(std::mt19937_64& random, std::size_t count) {
  std::string bytes(count, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

TEST(CharsetTrials, HardlyATextIsSilentlyWrongInAUtf8Locale) {
  Tallies const tallies = triedIn("C.UTF-8");
  print("UTF-8", tallies);
  Tally const all = sumOf(tallies), &sentences = tallies[static_cast<std::size_t>(Size::Sentence)];
  EXPECT_GE(all.all(), 4000U);
  EXPECT_LE(all.wrong * 1000, all.all() * 5);
  EXPECT_LE(sentences.refused * 100, sentences.all() * 5);
}

TEST(CharsetTrials, NoTextIsSilentlyWrongInItsOwnLocale) {
  Tallies const tallies = triedIn("");
  print("own", tallies);
  EXPECT_GE(sumOf(tallies).all(), 4000U);
  EXPECT_EQ(sumOf(tallies).wrong, 0U);
}

/// The C library has these locales, and the converter does not have their character sets.
TEST(CharsetTrials, NothingIsGuessedWhereTheCharsetOfTheLocaleIsUnknown) {
  std::string const tajik = "Дирӯз мо бо дӯстонам ба бозор рафтем ва мева харидем, ҳаво хеле гарм буд.";
  std::string const kazakh = "Кеше біз достарыммен қалаға барып, жаңа кітаптар мен ойыншықтар сатып алдық.";
  EXPECT_EQ(convertedOf({encode(tajik, "KOI8-T")}, "tg_TJ.KOI8-T"), 0U);
  for (std::string const charset : {"PT154", "RK1048"})
    EXPECT_EQ(convertedOf({encode(kazakh, charset)}, "kk_KZ." + charset), 0U) << charset;
  EXPECT_EQ(convertedOf({encode("\uFEFF" + kazakh, "UTF-16LE")}, "kk_KZ.PT154"), 1U);
}

TEST(CharsetTrials, Utf8IsUtf8InEveryLocale) {
  for (char const* const locale :
       {"xx_XX.ISO-8859-1", "xx_XX.WINDOWS-1251", "xx_XX.GBK", "xx_XX.EUC-KR", "xx_XX.CP437"})
    EXPECT_EQ(convertedOf(made([](std::string const& text) { return text; }), locale), 0U) << locale;
}

TEST(CharsetTrials, RandomBytesAreNotConverted) {
  std::mt19937_64 random(20260101);
  std::vector<std::string> buffers;
  for (int i = 0; i < 10'000; ++i) buffers.push_back(randomBytes(random, static_cast<std::size_t>(8 + random() % 293)));
  EXPECT_EQ(convertedOf(buffers), 0U);
}

TEST(CharsetTrials, EbcdicIsNotConverted) {
  for (std::string const ebcdic : {"IBM037", "IBM500", "IBM1025"})
    EXPECT_EQ(convertedOf(made([&](std::string const& text) { return encode(text, ebcdic); })), 0U) << ebcdic;
}

TEST(CharsetTrials, Utf8CutInItsLastCharacterIsNotConverted) {
  auto const cut = made([](std::string text) {
    while (!text.empty() && (text.back() & 0x80) == 0) text.pop_back();
    return text.substr(0, text.size() - std::min<std::size_t>(text.size(), 1));
  });
  EXPECT_EQ(convertedOf(cut), 0U);
  EXPECT_EQ(convertedOf(cut, "xx_XX.ISO-8859-1"), 0U);
}

TEST(CharsetTrials, Utf8MixedWithAnotherCharsetIsNotConverted) {
  for (std::string const charset : {"ISO-8859-1", "WINDOWS-1251"}) {
    auto const mixed = made([&](std::string const& text) { return encode(text, charset) + "\n" + text; });
    EXPECT_EQ(convertedOf(mixed), 0U);
    EXPECT_EQ(convertedOf(mixed, "xx_XX." + charset), 0U);
  }
}

TEST(CharsetTrials, OneWordOfUtf8InALongTextIsFound) {
  std::string const line = "Où êtes-vous allés cet été ? Nous étions à la montagne, près du vieux château.\n";
  std::string latin;
  for (int i = 0; i < 2000; ++i) latin += encode(line, "ISO-8859-1") + "And a line of ASCII behind it.\n";
  std::string const text = latin.substr(0, 50'001) + "\ncaf\u00E9\n" + latin.substr(50'001);
  EXPECT_EQ(convertedOf({latin}), 1U);
  EXPECT_EQ(convertedOf({text}), 0U);
}

TEST(CharsetTrials, CutUtf32AndUtf16AreNotConverted) {
  for (std::string const charset : {"UTF-32LE", "UTF-32BE", "UTF-16LE", "UTF-16BE"})
    for (std::string const mark : {"\uFEFF", ""})
      for (std::size_t cut = 1; cut < (charset.starts_with("UTF-32") ? 4U : 2U); ++cut)
        EXPECT_EQ(convertedOf(made(
                      [&](std::string const& text) {
                        std::string const bytes = encode(mark + text, charset);
                        return bytes.substr(0, bytes.size() - cut);
                      },
                      Size::Sentence)),
                  0U)
            << charset << " less " << cut;
}

TEST(CharsetTrials, BinaryDataWithATextEndingIsNotConverted) {
  std::mt19937_64 random(7);
  for (std::string const charset : {"UTF-8", "ISO-8859-1", "WINDOWS-1251"})
    EXPECT_EQ(convertedOf(made([&](std::string const& text) {
                return randomBytes(random, static_cast<std::size_t>(64 + random() % 400)) + encode(text, charset);
              })),
              0U)
        << charset;
}

}  // namespace
