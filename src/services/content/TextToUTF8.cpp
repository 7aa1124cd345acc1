// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/ContentTypes.hpp"
#include "opc/ztservices/Transforms.hpp"
#include "text/Ascii.hpp"
#include "text/CharsetDecoder.hpp"
#include "text/I18n.hpp"
#include "text/LargePages.hpp"
#include "text/Unicode.hpp"
#include "text/WideText.hpp"

namespace opc::ztservices {
namespace {

using Bytes = std::vector<unsigned char>;
using fl::i18n::CharsetDecoder;
using model::ContentType;

constexpr char kUTF8[] = "UTF-8";

std::string_view textOf(Bytes const& bytes) { return {reinterpret_cast<char const*>(bytes.data()), bytes.size()}; }

void put(std::string_view text, Bytes& out) {
  out.clear();
  reserveToFill(out, text.size());
  out.assign(text.begin(), text.end());
}

std::string toUTF8(std::string_view text, std::string const& charset) {
  if (text.empty()) return {};
  fl::i18n::codecvt_string_to_ustring const converter(charset, true);
  return fl::i18n::ustring_to_utf8(converter.do_convert(text.data(), text.size()));
}

// MIME gives plain text alone the parameter "charset".
void markAsUTF8(ContentType& type) {
  type.addParameter(type == getTextContentType() ? u"charset" : u"encoding", u"utf-8");
}

std::string charsetOf(std::string_view text, std::string const& named) {
  if (!named.empty()) return fl::i18n::detect_unicode_or(text.data(), text.size(), named);
  return fl::i18n::detect_charset(text.data(), text.size(), std::cout, u"<unknown>");
}

/// Bytes of a stream that are held in memory, up to a limit.
class HeldBytes {
 public:
  static constexpr std::size_t kMost = std::size_t{8} << 20;

  explicit HeldBytes(InputStream& in) : in_(&in) {}

  /// Reads on until the limit or the end of the stream.
  std::string_view fill();
  /// Whether nothing is left beyond the bytes that are held.
  bool isAtEnd() { return in_->isEnd(); }
  void drop(std::size_t count) { bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(count)); }
  Bytes take() { return std::move(bytes_); }

 private:
  InputStream* in_;
  Bytes bytes_;
};

std::string_view HeldBytes::fill() {
  constexpr std::size_t kFirst = 4096;
  while (bytes_.size() < kMost && !in_->isEnd()) {
    std::size_t const before = bytes_.size();
    std::size_t const more = std::min(kMost - before, std::max(kFirst, before));
    bytes_.resize(before + more);
    bytes_.resize(before + in_->read(bytes_.data() + before, more));
  }
  return textOf(bytes_);
}

// "UTF-16LE" and the like for the beginning of a long text; empty for text of bytes.
std::string wideCharsetOf(std::string_view beginning) {
  using namespace std::string_view_literals;
  if (beginning.starts_with("\xFF\xFE\0\0"sv)) return "UTF-32LE";
  if (beginning.starts_with("\0\0\xFE\xFF"sv)) return "UTF-32BE";
  if (beginning.starts_with("\xFF\xFE"sv)) return "UTF-16LE";
  if (beginning.starts_with("\xFE\xFF"sv)) return "UTF-16BE";
  return fl::i18n::guessWideCharset(beginning.substr(0, beginning.size() / 4 * 4));
}

bool isNamed(std::string const& charset, std::string_view lowerCase) {
  return ascii::lowerCased(charset).starts_with(lowerCase);
}

// The bytes of whole characters at the front of UTF-16 or UTF-32.
std::size_t wholeWide(std::string_view bytes, std::string const& charset) {
  std::size_t const whole = bytes.size() / 4 * 4;
  if (whole == 0 || !isNamed(charset, "utf-16")) return whole;
  auto const high = static_cast<unsigned char>(bytes[isNamed(charset, "utf-16le") ? whole - 1 : whole - 2]);
  return (high & 0xFC) == 0xD8 ? whole - 2 : whole;  // the first half of a pair
}

// As far as it is well-formed; all of it where it is damaged.
std::size_t wholeUTF8(std::string_view bytes) {
  constexpr std::size_t kMostCut = 3;
  std::size_t const whole = unicode::utf8Prefix(bytes);
  return bytes.size() - whole <= kMostCut ? whole : bytes.size();
}

[[noreturn]] void throwTooLong(std::string const& why) {
  throw UndecodableText("The text is longer than 8 MiB and " + why);
}

std::size_t wholeLines(std::string_view bytes) {
  std::size_t const end = bytes.rfind('\n');
  if (end == std::string_view::npos) throwTooLong("has longer lines");
  return end + 1;
}

// ISO-2022 and UTF-16 may consist of ASCII bytes too.
bool isPlainASCII(std::string_view bytes) {
  return ascii::isAscii(bytes) && bytes.find('\x1B') == bytes.npos && wideCharsetOf(bytes).empty();
}

/// A text that is longer than what is held, cut where its character set allows it.
class LongText {
 public:
  LongText(HeldBytes bytes, std::string charset) : bytes_(std::move(bytes)), charset_(std::move(charset)) {}

  /// The character set, found from the beginning and checked with the rest. Throws UndecodableText.
  static std::string findCharset(HeldBytes bytes, std::string const& named);

  /// The next piece, as UTF-8; empty at the end.
  std::string next();

 private:
  std::string_view nextPiece();
  void dropPiece(std::size_t size);
  std::size_t decide(std::string_view held, std::string const& named);
  std::size_t check(std::string_view piece) const;
  [[noreturn]] void throwFrom(UndecodableText const& fault) const;
  bool isWide() const { return isNamed(charset_, "utf-16") || isNamed(charset_, "utf-32"); }
  std::size_t wholeAtFirst(std::string_view bytes, std::string const& named);
  std::size_t wholeCharacters(std::string_view bytes) const;

  HeldBytes bytes_;
  std::string charset_;
  bool isPlain_ = true;  // ASCII so far
  std::size_t position_ = 0;
};

std::string LongText::findCharset(HeldBytes bytes, std::string const& named) {
  LongText text(std::move(bytes), kUTF8);
  for (std::string_view held = text.bytes_.fill(); !held.empty(); held = text.bytes_.fill())
    text.dropPiece(text.isPlain_ ? text.decide(held, named) : text.check(text.nextPiece()));
  return text.charset_;
}

// The character set shows in the first piece that is not plain ASCII.
std::size_t LongText::decide(std::string_view held, std::string const& named) try {
  if (isPlainASCII(held)) return held.size();
  std::string_view const piece = bytes_.isAtEnd() ? held : held.substr(0, wholeAtFirst(held, named));
  charset_ = charsetOf(piece, named);
  isPlain_ = charset_ == kUTF8 && ascii::isAscii(piece);
  wholeCharacters(held);  // throws for character sets that cannot be cut
  if (position_ > 0 && isWide()) throw UndecodableText("The text is in US-ASCII and in " + charset_);
  return piece.size();
} catch (UndecodableText const& fault) {
  throwFrom(fault);
}

// A later piece may be plain ASCII, but in no other character set.
std::size_t LongText::check(std::string_view piece) const try {
  if (charset_ == kUTF8) {
    std::size_t const good = unicode::utf8Prefix(piece);
    if (good < piece.size()) throw UndecodableText(fl::i18n::notValid(charset_, good));
  } else if (isWide()) {
    CharsetDecoder(charset_, CharsetDecoder::Invalid::Throw).decode(piece, [](std::u16string_view) { return true; });
  } else {
    std::string const found = charsetOf(piece, charset_);
    bool const isPlain = found == kUTF8 && ascii::isAscii(piece);
    if (found != charset_ && !isPlain) throw UndecodableText("The text is in " + charset_ + " and in " + found);
  }
  return piece.size();
} catch (UndecodableText const& fault) {
  throwFrom(fault);
}

void LongText::throwFrom(UndecodableText const& fault) const {
  if (position_ == 0) throw;
  throw UndecodableText(std::string(fault.what()) + ", from byte " + std::to_string(position_) + " on");
}

std::string LongText::next() {
  std::string_view const piece = nextPiece();
  std::string utf8 = charset_ == kUTF8 ? std::string(piece) : toUTF8(piece, charset_);
  dropPiece(piece.size());
  return utf8;
}

std::string_view LongText::nextPiece() {
  std::string_view const held = bytes_.fill();
  return bytes_.isAtEnd() ? held : held.substr(0, wholeCharacters(held));
}

void LongText::dropPiece(std::size_t size) {
  bytes_.drop(size);
  position_ += size;
}

// Before the character set is known. ISO-2022 consists of ASCII bytes.
std::size_t LongText::wholeAtFirst(std::string_view bytes, std::string const& named) {
  constexpr std::string_view kDesignation = "\x1B$";
  std::string const wide = wideCharsetOf(bytes);
  if (!wide.empty()) return wholeWide(bytes, wide);
  std::size_t const whole = wholeUTF8(bytes);
  if (unicode::utf8Prefix(bytes) >= whole && bytes.find(kDesignation) == bytes.npos) return whole;
  if (named.empty()) return wholeLines(bytes);
  charset_ = named;
  return wholeCharacters(bytes);
}

std::size_t LongText::wholeCharacters(std::string_view bytes) const {
  if (charset_ == kUTF8) return wholeUTF8(bytes);
  if (isWide()) return wholeWide(bytes, charset_);
  CharsetDecoder decoder(charset_, CharsetDecoder::Invalid::Throw);
  if (decoder.isSingleByte()) return bytes.size();
  if (!decoder.endsLinesAsASCII()) throwTooLong("in " + charset_);
  if (ascii::isAscii(bytes)) return bytes.size();
  return wholeLines(bytes);
}

void rewind(InputStream& in) {
  in.clear();
  in.reset();
}

/// A long text as UTF-8, converted while it is read.
class LongTextStream final : public InputStream {
 public:
  LongTextStream(InputStream& in, std::string charset)
      : in_(&in), charset_(std::move(charset)), text_(HeldBytes(in), charset_) {}

  void reset() override {
    rewind(*in_);
    text_ = LongText(HeldBytes(*in_), charset_);
    pending_.clear();
    delivered_ = 0;
  }
  std::size_t read(void* buffer, std::size_t count) override {
    if (isEnd()) return 0;
    std::size_t const delivery = std::min(count, pending_.size() - delivered_);
    std::memcpy(buffer, pending_.data() + delivered_, delivery);
    delivered_ += delivery;
    return delivery;
  }
  bool isEnd() override {
    if (delivered_ == pending_.size()) {
      pending_ = text_.next();
      delivered_ = 0;
    }
    return pending_.empty();
  }
  void clear() override {}

 private:
  InputStream* in_;
  std::string charset_;
  LongText text_;
  std::string pending_;
  std::size_t delivered_ = 0;  // bytes at the front of pending_ that are delivered
};

}  // namespace

// A character set shows only in the whole text.
bool UDEToUTF8Transform::mustTransformEntireStream() { return true; }

bool UDEToUTF8Transform::transformContentType(ContentType const& in, ContentType& out) {
  out = in;
  markAsUTF8(out);
  return true;
}

bool UDEToUTF8Transform::transformData(Bytes const& in, Bytes& out) {
  std::string const charset = charsetOf(textOf(in), {});
  put(charset == kUTF8 ? textOf(in) : std::string_view(toUTF8(textOf(in), charset)), out);
  return true;
}

/// What is found in one text, and the stream that delivers it.
class TextContentSource::Text {
 public:
  Text(InputStream& in, std::string const& charset);

  TextFinding const& finding() const { return finding_; }
  InputStream& stream() { return stream_ ? *stream_ : *in_; }

 private:
  void hold(Bytes content, std::string const& charset);
  void examine(HeldBytes bytes, std::string const& charset);

  InputStream* in_;
  TextFinding finding_;
  Bytes content_;
  std::unique_ptr<InputStream> stream_;  // over content_ or in_; empty where in_ itself delivers the text
};

TextContentSource::Text::Text(InputStream& in, std::string const& charset) : in_(&in) {
  HeldBytes bytes(in);
  bytes.fill();
  if (bytes.isAtEnd())
    hold(bytes.take(), charset);
  else
    examine(std::move(bytes), charset);
}

void TextContentSource::Text::hold(Bytes content, std::string const& charset) {
  content_ = std::move(content);
  try {
    finding_.charset = charsetOf(textOf(content_), charset);
    if (finding_.charset != kUTF8) put(toUTF8(textOf(content_), finding_.charset), content_);
  } catch (UndecodableText const& reason) {
    finding_ = {{}, reason.what()};
  }
  stream_ = std::make_unique<ByteArrayInAdaptor>(content_);
}

void TextContentSource::Text::examine(HeldBytes bytes, std::string const& charset) {
  try {
    finding_.charset = LongText::findCharset(std::move(bytes), charset);
  } catch (UndecodableText const& reason) {
    finding_ = {{}, reason.what()};
  }
  rewind(*in_);
  bool const isUnchanged = finding_.charset.empty() || finding_.charset == kUTF8;
  if (!isUnchanged) stream_ = std::make_unique<LongTextStream>(*in_, finding_.charset);
}

TextContentSource::TextContentSource(std::unique_ptr<IContentSource> source, std::string charset)
    : source_(std::move(source)), charset_(std::move(charset)) {
  if (!source_) throw Exception("There is no content source to read text from");
  if (!charset_.empty()) CharsetDecoder const known(charset_, CharsetDecoder::Invalid::Throw);
}

TextContentSource::~TextContentSource() = default;

bool TextContentSource::isKnownCharset(std::string const& name) try {
  CharsetDecoder const known(name, CharsetDecoder::Invalid::Throw);
  return true;
} catch (UndecodableText const&) {
  return false;
}

TextContentSource::Text& TextContentSource::text() {
  if (!text_) text_ = std::make_unique<Text>(source_->getInputStream(), charset_);
  return *text_;
}

TextFinding const& TextContentSource::getFinding() { return text().finding(); }

ContentType TextContentSource::getContentType() {
  ContentType type = source_->getContentType();
  if (!getFinding().charset.empty()) markAsUTF8(type);
  return type;
}

InputStream& TextContentSource::getInputStream() { return text().stream(); }

}  // namespace opc::ztservices
