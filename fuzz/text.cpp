// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzTarget.hpp"
#include "opc/Strings.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/Transforms.hpp"
#include "text/I18n.hpp"

/// Text of any character set: what is detected can be decoded, and what becomes of it is UTF-8.
namespace zt_fuzz {
namespace {

using opc::UndecodableText;

char const* charsOf(Bytes const& bytes) { return reinterpret_cast<char const*>(bytes.data()); }

std::string charsetOf(Bytes const& text) {
  std::ostringstream diagnostics;
  return fl::i18n::detect_charset(charsOf(text), text.size(), diagnostics, u"text");
}

std::string utf8Of(Bytes const& text, std::string const& charset) {
  fl::i18n::codecvt_string_to_ustring const converter(charset, true);
  return fl::i18n::ustring_to_utf8(converter.do_convert(charsOf(text), text.size()));
}

std::unique_ptr<opc::ztservices::IContentSource> sourceOf(std::istream& stream) {
  return std::make_unique<opc::ztservices::StreamContentSource>(stream, opc::model::ContentType(u"text/plain"));
}

Bytes transformed(Bytes const& text) {
  std::istringstream stream(textOf(text));
  opc::ztservices::UDEToUTF8Transform transform(sourceOf(stream));
  return readAll(transform.getInputStream());
}

void requireKeptOrConverted(Bytes const& text, std::string const& charset) {
  std::istringstream stream(textOf(text));
  opc::ztservices::TextContentSource source(sourceOf(stream), charset);
  opc::ztservices::TextFinding const finding = source.getFinding();
  Bytes const stored = readAll(source.getInputStream());
  std::string const utf8(stored.begin(), stored.end());
  require(finding.charset.empty() != finding.reason.empty(), "a text has a character set or a reason");
  require(!finding.charset.empty() || stored == text, "a text of no character set stays byte for byte");
  require(finding.charset.empty() || utf8 == utf8Of(text, finding.charset), "a text is in the character set");
  bool const isMarked = source.getContentType().toString() == u"text/plain;charset=utf-8";
  require(isMarked != finding.charset.empty(), "the content type says so");
}

void run(Bytes const& input) {
  for (char const* const charset : {"", "windows-1252", "Shift_JIS", "IBM037"}) requireKeptOrConverted(input, charset);
  std::string charset;
  if (!isAccepted<UndecodableText>([&] { charset = charsetOf(input); })) {
    require(!isAccepted<UndecodableText>([&] { transformed(input); }), "text of no character set is not transformed");
    return;
  }
  std::string const utf8 = utf8Of(input, charset);
  require(opc::toUTF8String(opc::toString(utf8, true)) == utf8, "what text becomes is UTF-8");
  require(charset != "UTF-8" || bytesOf(utf8) == input, "UTF-8 stays byte for byte");
  require(transformed(input) == bytesOf(utf8), "the transform does as detection says");
}

std::vector<Bytes> seeds() {
  return {bytesOf("plain\n"),
          bytesOf("\xEF\xBB\xBFmarked \xC3\xA9"),
          bytesOf(std::string_view("\xFF\xFE"
                                   "a\0b\0",
                                   6)),
          bytesOf(std::string_view("\0\0\xFE\xFF\0\0\0a", 8)),
          bytesOf(std::string_view("w\0i\0d\0e\0", 8)),
          bytesOf("caf\xE9, na\xEFve et d\xE9j\xE0 vu: une phrase en fran\xE7"
                  "ais"),
          bytesOf("\x1B$B$3$s$K$A$O\x1B(B"),
          bytesOf("\xCF\xF0\xE8\xE2\xE5\xF2, \xEC\xE8\xF0! \xCA\xE0\xEA \xE4\xE5\xEB\xE0?"),
          bytesOf("\x82\xB1\x82\xF1\x82\xC9\x82\xBF\x82\xCD\x81\x42"),
          bytesOf("\xCA\xC7\xC3\xE0\xB9\xD5\xE8\xC2")};
}

Registration const registration("text", run, seeds);

}  // namespace
}  // namespace zt_fuzz
