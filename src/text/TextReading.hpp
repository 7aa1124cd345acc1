// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "text/LanguageModels.hpp"

namespace fl::i18n {

/// What the words and signs of a text cost, read in one character set: a token, which white space parts from others,
/// at a time.
class TextReading {
 public:
  TextReading();

  /// `bytes` is the size of the token before it was decoded.
  void add(std::u16string_view token, std::size_t bytes);

  /// Adds all tokens of another reading, for which the character set makes no difference.
  void add(TextReading const& other);

  /// The cost in the likeliest language, which most of the words share; `languages` says what each language costs
  /// itself.
  Nats cost(std::vector<Nats> const& languages) const;

  /// What as many random bytes cost.
  Nats noise() const { return noise_; }

  /// Tokens, and those that random bytes explain better.
  std::size_t tokens() const { return tokens_; }
  std::size_t odd() const { return odd_; }

  /// Letters beyond ASCII, and those that no language has together with the other letters of the word.
  std::size_t letters() const { return letters_; }
  std::size_t foreign() const { return foreign_; }

 private:
  void addWord(std::u16string_view word, Script script);

  std::vector<Nats> byLanguage_;
  std::vector<Nats> wordCosts_;
  Nats signs_ = 0;  // signs and capitals, which languages share
  Nats noise_ = 0;
  Nats tokenCost_ = 0;
  std::size_t tokens_ = 0, odd_ = 0, letters_ = 0, foreign_ = 0;
};

}  // namespace fl::i18n
