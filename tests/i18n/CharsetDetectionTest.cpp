// SPDX-License-Identifier: Apache-2.0
#include "foundation/i18n/CharsetDetection.hpp"

#include <gmock/gmock.h>

#include <cstdio>
#include <sstream>

#include "foundation/i18n/Conversion.hpp"
#include "i18n/Iconv.hpp"
#include "i18n/TextSamples.hpp"
#include "opc/Strings.hpp"
#include "support/ScopedEnvironment.hpp"
#include "support/TestSupport.hpp"

namespace {

using namespace i18n_test;
using namespace std::string_literals;
using opc::UndecodableText;
using zt_test::ScopedLocale;

std::string detect(std::string const& bytes) {
  std::ostringstream diagnostics;
  std::string const charset = fl::i18n::detect_charset(bytes.data(), bytes.size(), diagnostics, u"<unknown>");
  EXPECT_EQ(diagnostics.str(), "");
  return charset;
}

std::string toUtf8(std::string const& bytes, std::string const& charset) {
  using namespace fl::i18n;
  return ustring_to_utf8(codecvt_string_to_ustring(charset, true).do_convert(bytes.data(), bytes.size()));
}

/// A row of the table: what the text was written in, what it was taken for, and whether it came out right.
void expectRight(Sample const& sample, std::string const& charset, std::string const& text, char const* length) {
  std::string const bytes = encode(text, charset);
  std::string const detected = detect(bytes);
  bool const right = toUtf8(bytes, detected) == text;
  std::printf("%-22s %-13s %-6s %6zu bytes  %-13s %s\n", sample.language, charset.c_str(), length, bytes.size(),
              detected.c_str(), right ? "right" : "WRONG");
  EXPECT_TRUE(right) << sample.language << " in " << charset << ", " << length;
}

void expectRight(Sample const& sample, std::string const& charset) {
  expectRight(sample, charset, sample.text, "long");
  expectRight(sample, charset, sample.line, "short");
}

TEST(CharsetDetection, TellsTheOlderCharacterSets) {
  for (Sample const& sample : samples())
    for (char const* charset : sample.charsets) expectRight(sample, charset);
}

TEST(CharsetDetection, TellsUtf16AndUtf32WithoutAMark) {
  for (Sample const& sample : samples())
    for (char const* charset : {"UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) expectRight(sample, charset);
}

TEST(CharsetDetection, MarkDecidesAndStays) {
  for (Sample const& sample : samples())
    for (std::string const charset : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
      std::string const text = "\uFEFF" + sample.line;
      std::string const bytes = encode(text, charset);
      EXPECT_EQ(detect(bytes), charset) << sample.language;
      EXPECT_EQ(toUtf8(bytes, charset), text);
    }
}

}  // namespace
