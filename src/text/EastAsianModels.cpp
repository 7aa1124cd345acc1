// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "text/LanguageModels.hpp"

namespace fl::i18n {
namespace {

enum Kind { kIdeograph, kHiragana, kKatakana, kSyllable, kPunctuation, kHalfWidth, kOther, kBoundary };
constexpr std::size_t kKinds = 7;

Kind kindOf(char16_t c) {
  if (c >= 0x4E00 && c <= 0x9FFF) return kIdeograph;
  if (c >= 0x3041 && c <= 0x309E) return kHiragana;
  if (c >= 0x30A1 && c <= 0x30FE && c != 0x30FB) return kKatakana;
  if (c >= 0xAC00 && c <= 0xD7A3) return kSyllable;
  if (c >= 0xFF61 && c <= 0xFF9F) return kHalfWidth;
  if ((c >= 0x3001 && c <= 0x301F) || c == 0x3000 || c == 0x30FB || (c >= 0xFF01 && c <= 0xFF5E)) return kPunctuation;
  return kOther;
}

using Row = std::array<Nats, kKinds>;

/// What each kind of character costs after each: ideographs, hiragana, katakana, syllables, punctuation, half-width
/// katakana, others; the last row begins a run.
using Transitions = std::array<Row, kKinds + 1>;

constexpr Transitions kJapanese = {{{0.8F, 0.9F, 3.2F, 14, 2.4F, 11, 10},
                                    {1.35F, 0.5F, 3.2F, 14, 2.5F, 11, 10},
                                    {2.5F, 1.9F, 0.33F, 14, 3, 11, 10},
                                    {8, 8, 8, 8, 8, 11, 10},
                                    {0.9F, 1.2F, 1.9F, 14, 1.9F, 9, 8},
                                    {4, 4, 5, 14, 4, 0.2F, 10},
                                    {2, 2, 2, 14, 2, 9, 2},
                                    {0.8F, 1, 1.9F, 14, 3, 7, 9}}};
constexpr Row kChineseRow = {0.13F, 11, 11, 14, 2.1F, 14, 10};
constexpr Transitions kChinese = {{kChineseRow,
                                   kChineseRow,
                                   kChineseRow,
                                   kChineseRow,
                                   kChineseRow,
                                   kChineseRow,
                                   {2, 10, 10, 14, 3, 14, 2},
                                   {0.05F, 11, 11, 14, 3.5F, 14, 9}}};
constexpr Row kKoreanRow = {6, 12, 12, 0.1F, 4, 14, 9};
constexpr Transitions kKorean = {{{0.9F, 12, 12, 0.6F, 3, 14, 9},
                                  kKoreanRow,
                                  kKoreanRow,
                                  kKoreanRow,
                                  kKoreanRow,
                                  kKoreanRow,
                                  {5, 10, 10, 1, 3, 14, 2},
                                  kKoreanRow}};

/// The place of each character in a list, for all characters of the plane.
class Ranks {
 public:
  explicit Ranks(std::u16string_view frequent) : ranks_(0x10000, 0) {
    for (std::size_t i = 0; i < frequent.size(); ++i) ranks_[frequent[i]] = static_cast<std::uint16_t>(i + 1);
  }

  /// A character's frequency falls with its rank, like that of words. Characters outside the list get `others`.
  Nats costOf(char16_t c, Nats others) const {
    std::uint16_t const rank = ranks_[c];
    return rank == 0 ? others : std::log(static_cast<Nats>(rank + 15) * 5);
  }

 private:
  std::vector<std::uint16_t> ranks_;
};

Ranks const& ranksOf(EastAsian language) {
  static Ranks const simplified(frequentSimplified()), traditional(frequentTraditional()), kanji(frequentKanji()),
      syllables(frequentSyllables());
  switch (language) {
    case EastAsian::Japanese:
      return kanji;
    case EastAsian::Simplified:
      return simplified;
    case EastAsian::Traditional:
      return traditional;
    default:
      return syllables;
  }
}

bool isOneOf(char16_t c, std::u16string_view characters) { return characters.find(c) != std::u16string_view::npos; }

constexpr Nats kRareIdeograph = 12, kRareSyllable = 11.5F;

Nats characterCost(EastAsian language, char16_t c, Kind kind) {
  switch (kind) {
    case kIdeograph:
      return ranksOf(language == EastAsian::Korean ? EastAsian::Traditional : language).costOf(c, kRareIdeograph);
    case kSyllable:
      return ranksOf(EastAsian::Korean).costOf(c, kRareSyllable);
    case kHiragana:
      return isOneOf(c, u"のにはをたがでてとしれさいるらなもっかすりこまうよくきんけあせそえだどじつちめおみわ") ? 3.5F
                                                                                                                 : 5.5F;
    case kKatakana:
      return isOneOf(c, u"ーンスルトリアクイラフドレシジタロムテマ") ? 3.4F : 5.2F;
    case kPunctuation:
      return isOneOf(c, u"、。，：？！（）「」") ? 2.0F : 5.5F;
    case kHalfWidth:
      return 4.1F;
    default:
      return 9;
  }
}

Transitions const& transitionsOf(EastAsian language) {
  if (language == EastAsian::Japanese) return kJapanese;
  return language == EastAsian::Korean ? kKorean : kChinese;
}

}  // namespace

Nats eastAsianCost(EastAsian language, std::u16string_view run) {
  Transitions const& transitions = transitionsOf(language);
  Nats sum = 0;
  Kind before = kBoundary;
  for (char16_t const c : run) {
    Kind const kind = kindOf(c);
    sum += transitions[before][kind] + characterCost(language, c, kind);
    before = kind;
  }
  return sum;
}

}  // namespace fl::i18n
