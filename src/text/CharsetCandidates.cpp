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
    {"ISO-8859-1", 0, kWestern},
    {"windows-1252", 0, kWestern},
    {"ISO-8859-15", 1, kWestern},
    {"windows-1250", 0.5F, kCentral},
    {"ISO-8859-2", 0.5F, kCentral},
    {kISO8859_16, 2.5F, "Romanian Polish Albanian Hungarian Croatian Slovenian"},
    {"windows-1251", 0, kCyrillic},
    {"KOI8-R", 0.7F, "Russian Bulgarian"},
    {"KOI8-U", 1, "Ukrainian Russian"},
    {"ISO-8859-5", 1.5F, kCyrillic},
    {"windows-1253", 0, "Greek"},
    {"ISO-8859-7", 0.5F, "Greek"},
    {"ISO-8859-9", 0.5F, "Turkish"},
    {"windows-1254", 0.5F, "Turkish"},
    {"windows-1255", 0, "Hebrew"},
    {"ISO-8859-8", 0.5F, "Hebrew"},
    {"windows-1256", 0, kArabic},
    {"ISO-8859-6", 1, "Arabic"},
    {"windows-1257", 0.5F, kBaltic},
    {"ISO-8859-13", 1.5F, kBaltic},
    {"windows-874", 0.5F, "Thai"},
    {"windows-1258", 2, "Vietnamese"},
    {"ISO-8859-4", 3, kNorthern},
    {"ISO-8859-10", 3.5F, kNorthern},
    {"ISO-8859-3", 3, "Esperanto Maltese Turkish"},
    {"ISO-8859-14", 3.5F, kCeltic},
    {"IBM850", 1.5F, kWestern},
    {"IBM437", 1.5F, kWestern},
    {"IBM858", 2.5F, kWestern},
    {"IBM852", 1.5F, kCentral},
    {"IBM866", 1, "Russian Bulgarian Belarusian"},
    {"IBM855", 2.5F, kCyrillic},
    {"ibm-1125", 3, "Ukrainian Russian"},
    {"IBM737", 2, "Greek"},
    {"IBM869", 3, "Greek"},
    {"IBM857", 2, "Turkish"},
    {"IBM775", 2.5F, kBaltic},
    {"IBM860", 3, "Portuguese"},
    {"IBM861", 3, "Icelandic"},
    {"IBM862", 2, "Hebrew"},
    {"IBM863", 3, "French"},
    {"IBM865", 3, "Danish Norwegian"},
    {"IBM720", 3, "Arabic"},
    {"IBM864", 4, "Arabic"},
    {"macintosh", 1.5F, kWestern},
    {"x-mac-cyrillic", 2, kCyrillic},
    {"x-mac-centraleurroman", 2.5F, "Polish Czech Slovak Hungarian Lithuanian Latvian Estonian German"},
    {"x-mac-greek", 3, "Greek"},
    {"x-mac-turkish", 3, "Turkish"},
    {"hp-roman8", 7, kWestern},
    {"Shift_JIS", 0, "Japanese", kSeveral},
    {"EUC-JP", 0.5F, "Japanese", kSeveral},
    {"EUC-KR", 0, "Korean", kSeveral},
    {"windows-949", 0.5F, "Korean", kSeveral},
    {"GB18030", 0, "Simplified", kSeveral},
    {"Big5", 0, "Traditional", kSeveral},
    {"Big5-HKSCS", 2, "Traditional", kSeveral},
    {"IBM037", 1, kWestern, kEbcdic},
    {"IBM500", 1, kWestern, kEbcdic},
    {"IBM273", 2, kWestern, kEbcdic},
    {"IBM297", 2, kWestern, kEbcdic},
    {"IBM277", 2, kWestern, kEbcdic},
    {"IBM278", 2, kWestern, kEbcdic},
    {"IBM280", 2, kWestern, kEbcdic},
    {"IBM284", 2, kWestern, kEbcdic},
    {"IBM871", 2, kWestern, kEbcdic},
    {"IBM870", 2, kCentral, kEbcdic},
    {"ibm-1025", 2, kCyrillic, kEbcdic},
    {"ibm-875", 2, "Greek", kEbcdic},
    {"IBM1026", 2, "Turkish", kEbcdic},
    {"IBM420", 2, "Arabic", kEbcdic},
    {"IBM424", 2, "Hebrew", kEbcdic},
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
