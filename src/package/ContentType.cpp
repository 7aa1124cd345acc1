// SPDX-License-Identifier: Apache-2.0
#include "opc/model/ContentType.hpp"

#include <algorithm>
#include <string_view>

#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "text/Ascii.hpp"

namespace opc::model {
namespace {

using Parameters = std::vector<std::pair<std::u16string, std::u16string>>;

bool isTokenCharacter(char16_t c) {
  constexpr std::u16string_view kSeparators = u"()<>@,;:\\\"/[]?={}";
  return c > 0x20 && c < 0x7F && kSeparators.find(c) == std::u16string_view::npos;
}

bool isToken(std::u16string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

/// RFC 2616, 2.2: any octet but control characters. Line breaks cannot stand in a content type.
bool isQuotable(char16_t c) { return c == u'\t' || (c >= 0x20 && c < 0x7F) || (c >= 0xA0 && c <= 0xFF); }

/// Reads a media type from its beginning. Each step returns whether it found the required text.
class Parser {
 public:
  explicit Parser(std::u16string_view text) : rest_(text) {}

  bool atEnd() const { return rest_.empty(); }

  bool take(char16_t c) {
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }

  void skipBlanks() {
    while (!rest_.empty() && (rest_.front() == u' ' || rest_.front() == u'\t')) rest_.remove_prefix(1);
  }

  bool token(std::u16string& result) {
    auto const end = std::find_if_not(rest_.begin(), rest_.end(), isTokenCharacter);
    result.assign(rest_.begin(), end);
    rest_.remove_prefix(result.size());
    return !result.empty();
  }

  bool value(std::u16string& result) {
    if (!take(u'"')) return token(result);
    result.clear();
    while (!take(u'"')) {
      take(u'\\');
      if (rest_.empty() || !isQuotable(rest_.front())) return false;
      result += rest_.front();
      rest_.remove_prefix(1);
    }
    return true;
  }

  /// White space is allowed only around the semicolon.
  bool parameters(Parameters& result) {
    while (!atEnd()) {
      skipBlanks();
      std::pair<std::u16string, std::u16string> parameter;
      if (!take(u';')) return false;
      skipBlanks();
      if (!token(parameter.first) || !take(u'=') || !value(parameter.second)) return false;
      result.push_back(std::move(parameter));
    }
    return true;
  }

 private:
  std::u16string_view rest_;
};

std::u16string quoted(std::u16string const& value) {
  std::u16string text = u"\"";
  for (char16_t const c : value) {
    if (c == u'"' || c == u'\\') text += u'\\';
    text += c;
  }
  return text += u'"';
}

auto named(std::u16string const& name) {
  return [&name](auto const& parameter) { return ascii::equalIgnoringCase<char16_t>(parameter.first, name); };
}

/// The parameters sorted, with names in one case.
Parameters comparable(Parameters parameters) {
  for (auto& parameter : parameters)
    for (char16_t& c : parameter.first) c = ascii::lower(c);
  std::sort(parameters.begin(), parameters.end());
  return parameters;
}

}  // namespace

ContentType::ContentType(std::u16string const& text) : text_(text) {
  Parser parser(text);
  if (!parser.token(type_) || !parser.take(u'/') || !parser.token(subType_) || !parser.parameters(parameters_))
    throw InvalidContentType(detail::messages::invalidContentType(text));
}

ContentType::ContentType(char16_t const* text) : ContentType(std::u16string(text)) {}

bool ContentType::hasParameter(std::u16string const& name) const {
  return std::any_of(parameters_.begin(), parameters_.end(), named(name));
}

std::u16string ContentType::getParameterValue(std::u16string const& name) const {
  auto const found = std::find_if(parameters_.begin(), parameters_.end(), named(name));
  return found == parameters_.end() ? std::u16string() : found->second;
}

void ContentType::addParameter(std::u16string const& name, std::u16string const& value) {
  if (!isToken(name) || !std::all_of(value.begin(), value.end(), isQuotable))
    throw InvalidContentType(detail::messages::invalidParameter(name, value));
  auto const found = std::find_if(parameters_.begin(), parameters_.end(), named(name));
  if (found == parameters_.end()) {
    parameters_.emplace_back(name, value);
  } else {
    found->second = value;
    parameters_.erase(std::remove_if(found + 1, parameters_.end(), named(name)), parameters_.end());
  }
  text_.clear();
}

void ContentType::removeParameter(std::u16string const& name) {
  if (std::erase_if(parameters_, named(name)) != 0) text_.clear();
}

std::u16string ContentType::toString() const {
  if (!text_.empty()) return text_;
  std::u16string text = type_;
  text.append(u"/").append(subType_);
  for (auto const& [name, value] : parameters_) {
    text.append(u";").append(name).append(u"=");
    if (isToken(value))
      text.append(value);
    else
      text.append(quoted(value));
  }
  return text;
}

bool operator==(ContentType const& a, ContentType const& b) {
  return ascii::equalIgnoringCase<char16_t>(a.type_, b.type_) &&
         ascii::equalIgnoringCase<char16_t>(a.subType_, b.subType_) &&
         comparable(a.parameters_) == comparable(b.parameters_);
}

}  // namespace opc::model
