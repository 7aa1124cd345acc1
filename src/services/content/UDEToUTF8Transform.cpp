// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <iostream>
#include <string>
#include <vector>

#include "opc/ztservices/ContentTypes.hpp"
#include "opc/ztservices/Transforms.hpp"
#include "text/I18n.hpp"
#include "text/LargePages.hpp"

namespace opc::ztservices {
namespace {

using Bytes = std::vector<unsigned char>;

char const* charsOf(Bytes const& bytes) { return reinterpret_cast<char const*>(bytes.data()); }

void put(char const* bytes, std::size_t count, Bytes& out) {
  out.clear();
  reserveToFill(out, count);
  out.assign(bytes, bytes + count);
}

std::string toUTF8(Bytes const& bytes, std::string const& charset) {
  if (bytes.empty()) return {};
  fl::i18n::codecvt_string_to_ustring const converter(charset, true);
  return fl::i18n::ustring_to_utf8(converter.do_convert(charsOf(bytes), bytes.size()));
}

}  // namespace

// Detecting the character set needs the whole text.
bool UDEToUTF8Transform::mustTransformEntireStream() { return true; }

// MIME gives plain text alone the parameter "charset".
bool UDEToUTF8Transform::transformContentType(model::ContentType const& in, model::ContentType& out) {
  out = in;
  out.addParameter(in == getTextContentType() ? u"charset" : u"encoding", u"utf-8");
  return true;
}

bool UDEToUTF8Transform::transformData(Bytes const& in, Bytes& out) {
  std::string const charset = fl::i18n::detect_charset(charsOf(in), in.size(), std::cout, u"<unknown>");
  if (charset == "UTF-8") {
    put(charsOf(in), in.size(), out);
  } else {
    std::string const utf8 = toUTF8(in, charset);
    put(utf8.data(), utf8.size(), out);
  }
  return true;
}

}  // namespace opc::ztservices
