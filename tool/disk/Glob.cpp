// SPDX-License-Identifier: Apache-2.0
#include "disk/Glob.hpp"

#include <algorithm>
#include <optional>
#include <string_view>

#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

using View = std::wstring_view;

// Whether the bracket expression at the pattern's front (after its "[") holds the character; nothing if it is not
// closed. `rest` becomes the text behind it.
std::optional<bool> bracketHolds(View pattern, wchar_t character, View& rest) {
  bool const negated = pattern.starts_with(L'!') || pattern.starts_with(L'^');
  std::size_t at = negated ? 1 : 0;
  std::size_t const first = at;
  bool found = false;
  for (; at < pattern.size() && (pattern[at] != L']' || at == first); ++at) {
    if (at + 2 < pattern.size() && pattern[at + 1] == L'-' && pattern[at + 2] != L']') {
      found = found || (pattern[at] <= character && character <= pattern[at + 2]);
      at += 2;
    } else {
      found = found || pattern[at] == character;
    }
  }
  if (at >= pattern.size()) return std::nullopt;
  rest = pattern.substr(at + 1);
  return found != negated;
}

// Whether the pattern's first element matches the character; `rest` becomes the pattern after it.
bool oneMatches(View pattern, wchar_t character, View& rest) {
  rest = pattern.substr(1);
  if (pattern.front() == L'?') return character != L'/';
  if (pattern.front() == L'[')
    if (auto const holds = bracketHolds(rest, character, rest)) return *holds && character != L'/';
  if (pattern.front() == L'\\' && !rest.empty()) {
    bool const same = rest.front() == character;
    rest.remove_prefix(1);
    return same;
  }
  return pattern.front() == character;
}

/// Where matching goes on after a failure: the pattern behind a star, and the text where the star ends.
struct Retry {
  View pattern = {}, text = {};
  bool isSet = false;
};

/// One more character for a star within a component.
bool extend(Retry& star) {
  if (!star.isSet || star.text.empty() || star.text.front() == L'/') return false;
  star.text.remove_prefix(1);
  return true;
}

/// One more character for "**", one more folder for "**/".
bool extendDeep(Retry& star, bool byFolders) {
  if (!star.isSet || star.text.empty()) return false;
  std::size_t const slash = star.text.find(L'/');
  if (byFolders && slash == View::npos) return false;
  star.text.remove_prefix(byFolders ? slash + 1 : 1);
  return true;
}

// Goes back to the last "*" alone, which suffices, and then to the last "**". A "*" before a "/" is never gone back to
// once that "/" has matched, since it stays within a component.
bool matchesText(View pattern, View text) {
  Retry star, deep;
  bool byFolders = false;
  for (;;) {
    if (pattern.starts_with(L"**")) {
      pattern.remove_prefix(std::min(pattern.find_first_not_of(L'*'), pattern.size()));
      byFolders = pattern.starts_with(L'/');
      if (byFolders) pattern.remove_prefix(1);
      star.isSet = false;
      deep = {pattern, text, true};
      continue;
    }
    if (pattern.starts_with(L'*')) {
      pattern.remove_prefix(1);
      star = {pattern, text, true};
      continue;
    }
    if (pattern.empty() && text.empty()) return true;
    View rest;
    if (!pattern.empty() && !text.empty() && oneMatches(pattern, text.front(), rest)) {
      if (text.front() == L'/') star.isSet = false;
      pattern = rest;
      text.remove_prefix(1);
    } else if (extend(star)) {
      pattern = star.pattern, text = star.text;
    } else if (extendDeep(deep, byFolders)) {
      star.isSet = false;
      pattern = deep.pattern, text = deep.text;
    } else {
      return false;
    }
  }
}

View withoutSlashes(View text) {
  while (text.starts_with(L'/')) text.remove_prefix(1);
  while (text.ends_with(L'/')) text.remove_suffix(1);
  return text;
}

}  // namespace

Glob::Glob(std::u16string const& pattern)
    : pattern_(withoutSlashes(opc::toWideString(pattern))), wholePath_(pattern.find(u'/') != std::u16string::npos) {
  if (pattern.find(u'/') == pattern.size() - 1) wholePath_ = false;  // "name/" is a name
}

std::size_t Glob::matchedNames(std::u16string const& path) const {
  std::wstring const wide = opc::toWideString(path);
  View const whole = withoutSlashes(wide);
  std::size_t names = 1;
  for (std::size_t start = 0;; ++names) {
    std::size_t const end = whole.find(L'/', start);
    View const piece = wholePath_ ? whole.substr(0, end) : whole.substr(start, end - start);
    if (matchesText(pattern_, piece)) return names;
    if (end == View::npos) return 0;
    start = end + 1;
  }
}

}  // namespace ztpkg
