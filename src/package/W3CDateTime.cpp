// SPDX-License-Identifier: Apache-2.0
#include "package/W3CDateTime.hpp"

#include <cstddef>
#include <string_view>

#include "opc/Time.hpp"
#include "text/Ascii.hpp"

namespace opc::model::detail {
namespace {

/// Whether the text begins with the form, in which "0" stands for any digit.
bool hasForm(std::u16string_view text, std::u16string_view form) {
  if (text.size() < form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i)
    if (form[i] == u'0' ? !ascii::isDigit(text[i]) : text[i] != form[i]) return false;
  return true;
}

bool isForm(std::u16string_view text, std::u16string_view form) {
  return text.size() == form.size() && hasForm(text, form);
}

bool isZone(std::u16string_view text) { return text == u"Z" || isForm(text, u"+00:00") || isForm(text, u"-00:00"); }

/// A zone must be there: without one xsd:dateTime would do, but not this.
bool endsInZone(std::u16string_view text) {
  constexpr std::size_t kOffsetSize = 6;
  return text.ends_with(u'Z') || (text.size() > kOffsetSize && isZone(text.substr(text.size() - kOffsetSize)));
}

}  // namespace

boost::posix_time::ptime parseW3CDateTime(std::u16string const& text) {
  if (isForm(text, u"0000")) return convertStringToTime(text + u"-01-01T00:00:00Z");
  if (isForm(text, u"0000-00")) return convertStringToTime(text + u"-01T00:00:00Z");
  if (isForm(text, u"0000-00-00")) return convertStringToTime(text + u"T00:00:00Z");
  constexpr std::u16string_view kToMinutes = u"0000-00-00T00:00";
  if (!hasForm(text, kToMinutes)) return {};
  std::u16string const rest = text.substr(kToMinutes.size());
  if (isZone(rest)) return convertStringToTime(text.substr(0, kToMinutes.size()) + u":00" + rest);
  return endsInZone(rest) ? convertStringToTime(text) : boost::posix_time::ptime();
}

}  // namespace opc::model::detail
