// SPDX-License-Identifier: Apache-2.0
#include "text/CharsetCandidates.hpp"

#include <numeric>

#include "text/CharsetDecoder.hpp"

namespace fl::i18n {
namespace {

constexpr char kWestern[] =
    "English German French Spanish Portuguese Italian Dutch Danish Norwegian Swedish Finnish Icelandic Faroese Irish "
    "Catalan Basque Galician Breton Luxembourgish Afrikaans Albanian Gaelic";
constexpr char kNorthern[] = "Danish Norwegian Swedish Finnish Icelandic Faroese Estonian Latvian Lithuanian Sami";
constexpr char kCentral[] = "Polish Czech Slovak Hungarian Slovenian Croatian Romanian German Albanian";
constexpr char kBaltic[] = "Lithuanian Latvian Estonian";
constexpr char kCyrillic[] = "Russian Ukrainian Belarusian Bulgarian Serbian Macedonian";
constexpr char kCeltic[] = "Welsh Irish Gaelic Breton English";
constexpr char kArabic[] = "Arabic Persian Urdu";
constexpr auto kSeveral = CharsetKind::SeveralBytes;
constexpr auto kEbcdic = CharsetKind::Ebcdic;

// ICU does not know it. It has the Romanian letters with a comma below where ISO 8859-2 has those with a cedilla, so
// that such a text is in either.
constexpr char kISO8859_16[] = "ISO-8859-16";
constexpr char16_t kUpperHalfOfISO8859_16[] =
    u"\u00A0\u0104\u0105\u0141\u20AC\u201E\u0160\u00A7\u0161\u00A9\u0218\u00AB\u0179\u00AD\u017A\u017B\u00B0\u00B1"
    u"\u010C\u0142\u017D\u201D\u00B6\u00B7\u017E\u010D\u0219\u00BB\u0152\u0153\u0178\u017C\u00C0\u00C1\u00C2\u0102"
    u"\u00C4\u0106\u00C6\u00C7\u00C8\u00C9\u00CA\u00CB\u00CC\u00CD\u00CE\u00CF\u0110\u0143\u00D2\u00D3\u00D4\u0150"
    u"\u00D6\u015A\u0170\u00D9\u00DA\u00DB\u00DC\u0118\u021A\u00DF\u00E0\u00E1\u00E2\u0103\u00E4\u0107\u00E6\u00E7"
    u"\u00E8\u00E9\u00EA\u00EB\u00EC\u00ED\u00EE\u00EF\u0111\u0144\u00F2\u00F3\u00F4\u0151\u00F6\u015B\u0171\u00F9"
    u"\u00FA\u00FB\u00FC\u0119\u021B\u00FF";

// Where two read a text alike, the first gives the name.
constexpr CharsetCandidate kCandidates[] = {
    {"ISO-8859-1", kWestern, 0},
    {"windows-1252", kWestern, 0},
    {"ISO-8859-15", kWestern, 1},
    {"windows-1250", kCentral, 0.5F},
    {"ISO-8859-2", kCentral, 0.5F},
    {kISO8859_16, "Romanian Polish Albanian Hungarian Croatian Slovenian", 2.5F},
    {"windows-1251", kCyrillic, 0},
    {"KOI8-R", "Russian Bulgarian", 0.7F},
    {"KOI8-U", "Ukrainian Russian", 1},
    {"ISO-8859-5", kCyrillic, 1.5F},
    {"windows-1253", "Greek", 0},
    {"ISO-8859-7", "Greek", 0.5F},
    {"ISO-8859-9", "Turkish", 0.5F},
    {"windows-1254", "Turkish", 0.5F},
    {"windows-1255", "Hebrew", 0},
    {"ISO-8859-8", "Hebrew", 0.5F},
    {"windows-1256", kArabic, 0},
    {"ISO-8859-6", "Arabic", 1},
    {"windows-1257", kBaltic, 0.5F},
    {"ISO-8859-13", kBaltic, 1.5F},
    {"windows-874", "Thai", 0.5F},
    {"windows-1258", "Vietnamese", 2},
    {"ISO-8859-4", kNorthern, 3},
    {"ISO-8859-10", kNorthern, 3.5F},
    {"ISO-8859-3", "Esperanto Maltese Turkish", 3},
    {"ISO-8859-14", kCeltic, 3.5F},
    {"IBM850", kWestern, 1.5F},
    {"IBM437", kWestern, 1.5F},
    {"IBM858", kWestern, 2.5F},
    {"IBM852", kCentral, 1.5F},
    {"IBM866", "Russian Bulgarian Belarusian", 1},
    {"IBM855", kCyrillic, 2.5F},
    {"ibm-1125", "Ukrainian Russian", 3},
    {"IBM737", "Greek", 2},
    {"IBM869", "Greek", 3},
    {"IBM857", "Turkish", 2},
    {"IBM775", kBaltic, 2.5F},
    {"IBM860", "Portuguese", 3},
    {"IBM861", "Icelandic", 3},
    {"IBM862", "Hebrew", 2},
    {"IBM863", "French", 3},
    {"IBM865", "Danish Norwegian", 3},
    {"IBM720", "Arabic", 3},
    {"IBM864", "Arabic", 4},
    {"macintosh", kWestern, 1.5F},
    {"x-mac-cyrillic", kCyrillic, 2},
    {"x-mac-centraleurroman", "Polish Czech Slovak Hungarian Lithuanian Latvian Estonian German", 2.5F},
    {"x-mac-greek", "Greek", 3},
    {"x-mac-turkish", "Turkish", 3},
    {"hp-roman8", kWestern, 7},
    {"Shift_JIS", "Japanese", 0, kSeveral},
    {"EUC-JP", "Japanese", 0.5F, kSeveral},
    {"EUC-KR", "Korean", 0, kSeveral},
    {"windows-949", "Korean", 0.5F, kSeveral},
    {"GB18030", "Simplified", 0, kSeveral},
    {"Big5", "Traditional", 0, kSeveral},
    {"Big5-HKSCS", "Traditional", 2, kSeveral},
    {"IBM037", kWestern, 1, kEbcdic},
    {"IBM500", kWestern, 1, kEbcdic},
    {"IBM273", kWestern, 2, kEbcdic},
    {"IBM297", kWestern, 2, kEbcdic},
    {"IBM277", kWestern, 2, kEbcdic},
    {"IBM278", kWestern, 2, kEbcdic},
    {"IBM280", kWestern, 2, kEbcdic},
    {"IBM284", kWestern, 2, kEbcdic},
    {"IBM871", kWestern, 2, kEbcdic},
    {"IBM870", kCentral, 2, kEbcdic},
    {"ibm-1025", kCyrillic, 2, kEbcdic},
    {"ibm-875", "Greek", 2, kEbcdic},
    {"IBM1026", "Turkish", 2, kEbcdic},
    {"IBM420", "Arabic", 2, kEbcdic},
    {"IBM424", "Hebrew", 2, kEbcdic},
};

constexpr char16_t kNone = 0xFFFD;

}  // namespace

std::span<CharsetCandidate const> charsetCandidates() { return kCandidates; }

ByteTable::ByteTable(std::string const& charset) {
  if (charset == kISO8859_16) {
    characters_.resize(0xA0, kNone);
    std::iota(characters_.begin(), characters_.begin() + 0x7F, u'\0');
    characters_ += kUpperHalfOfISO8859_16;
    return;
  }
  std::string bytes(256, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  CharsetDecoder decoder(charset, CharsetDecoder::Invalid::Replace);
  decoder.decode(bytes, [this](std::u16string_view piece) { return characters_.append(piece), true; });
  characters_.resize(256, kNone);
  for (char16_t& c : characters_)
    if (c >= 0x7F && c < 0xA0) c = kNone;
}

std::optional<std::u16string> ByteTable::decode(std::string_view bytes) const {
  std::u16string text;
  text.reserve(bytes.size());
  for (char const byte : bytes) {
    char16_t const c = characters_[static_cast<unsigned char>(byte)];
    if (c == kNone) return std::nullopt;
    text += c;
  }
  return text;
}

}  // namespace fl::i18n
