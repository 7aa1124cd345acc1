// SPDX-License-Identifier: Apache-2.0
#include "services/properties/Patterns.hpp"

#include <boost/regex.hpp>
#include <locale>

#include "opc/Strings.hpp"

namespace opc::ztservices::patterns {
namespace {

/// An expression takes its letters from the locale that is the global one when it is made.
boost::wregex makePattern(wchar_t const* text) {
  boost::wregex pattern;
  pattern.imbue(std::locale::classic());
  pattern.assign(text);
  return pattern;
}

bool matches(std::u16string const& text, boost::wregex const& pattern) {
  return boost::regex_match(toWideString(text), pattern);
}

}  // namespace

bool matchesSubType(std::u16string const& text) {
  static boost::wregex const pattern = makePattern(LR"(^vnd\.corvanta\.[\w-]+\.[\w-]+$)");
  return matches(text, pattern);
}

bool matchesUUID(std::u16string const& text) {
  static boost::wregex const pattern =
      makePattern(L"[[:xdigit:]]{8}-[[:xdigit:]]{4}-[[:xdigit:]]{4}-[[:xdigit:]]{4}-[[:xdigit:]]{12}");
  return matches(text, pattern);
}

bool matchesRelease(std::u16string const& text) {
  static boost::wregex const pattern = makePattern(LR"(^R\d{4}(a|b)$)");
  return matches(text, pattern);
}

}  // namespace opc::ztservices::patterns
