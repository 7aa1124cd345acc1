// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <set>
#include <string>

#include "opc/Strings.hpp"

namespace {

using opc::escapeForDisplay;

std::string shown(std::u16string const& text) { return opc::toUTF8String(escapeForDisplay(text)); }

TEST(EscapeForDisplay, LeavesOrdinaryTextAsItIs) {
  std::u16string const text = u"Gr\u00FC\u00DFe \u65E5\u672C \U0001F600 \u05D0\u05D1 C:\\dir\\";
  EXPECT_EQ(escapeForDisplay(text), text);
}

TEST(EscapeForDisplay, ShowsTabAndLineEndsByTheirLetters) { EXPECT_EQ(shown(u"a\tb\nc\rd"), "a\\tb\\nc\\rd"); }

TEST(EscapeForDisplay, ShowsOtherControlCharactersByNumber) {
  EXPECT_EQ(shown(std::u16string(u"\0\x1B\x7F\x80\x9F", 5)), "\\u{0}\\u{1B}\\u{7F}\\u{80}\\u{9F}");
}

TEST(EscapeForDisplay, ShowsWhatSteersTheDirectionOfWriting) {
  for (int const c : {0x061C, 0x200E, 0x200F, 0x202A, 0x202B, 0x202C, 0x202D, 0x202E, 0x2066, 0x2067, 0x2068, 0x2069})
    EXPECT_EQ(escapeForDisplay(std::u16string(1, static_cast<char16_t>(c))).substr(0, 3), u"\\u{") << c;
  EXPECT_EQ(shown(u"exe.\u202Etxt"), "exe.\\u{202E}txt");
}

TEST(EscapeForDisplay, ShowsLineAndParagraphSeparators) { EXPECT_EQ(shown(u"\u2028\u2029"), "\\u{2028}\\u{2029}"); }

TEST(EscapeForDisplay, ShowsLoneSurrogates) {
  EXPECT_EQ(shown(std::u16string{0xD83D, u'a', 0xDE00}), "\\u{D83D}a\\u{DE00}");
}

TEST(EscapeForDisplay, DoublesABackslashThatWouldLookLikeAnEscape) {
  EXPECT_EQ(shown(u"\\t \\n \\r \\u{41} \\\\"), "\\\\t \\\\n \\\\r \\\\u{41} \\\\\\");
}

TEST(EscapeForDisplay, LeavesOtherBackslashes) { EXPECT_EQ(shown(u"\\x \\u41 \\"), "\\x \\u41 \\"); }

TEST(EscapeForDisplay, NeverShowsTwoTextsAlike) {
  std::u16string const letters = u"\\tnru{7}\t\n\u0007";
  std::set<std::u16string> texts = {u""}, forms;
  for (int length = 0; length < 4; ++length)
    for (auto const& text : std::set<std::u16string>(texts))
      for (char16_t const c : letters) texts.insert(text + c);
  for (auto const& text : texts) forms.insert(escapeForDisplay(text));
  EXPECT_EQ(forms.size(), texts.size());
}

}  // namespace
