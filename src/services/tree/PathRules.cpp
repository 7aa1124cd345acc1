// SPDX-License-Identifier: Apache-2.0
#include "services/tree/PathRules.hpp"

#include <algorithm>

#include "opc/Strings.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "services/tree/Messages.hpp"
#include "text/Unicode.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::ztservices {
namespace {

constexpr std::size_t kShownUnits = 256;  // of a name that is too long

std::string shown(std::u16string_view text) { return toUDEString(escapeForDisplay(text)); }

}  // namespace

void throwIfNotCarriable(std::u16string_view text) {
  if (text.size() > kMaximumNameUnits)
    throw InvalidEntryName("Name cannot be stored: " + shown(unicode::beginning(text, kShownUnits)) +
                           "... (it is too long)");
  if (!model::isXmlText(text))
    throw InvalidEntryName("Name cannot be stored: " + shown(text) + " (it holds a character that XML cannot carry)");
}

namespace paths {

std::u16string convertSeparators(std::u16string_view text) {
  if (text.starts_with(u"\\\\")) text.remove_prefix(1);
  std::u16string converted(text);
  std::replace(converted.begin(), converted.end(), u'\\', u'/');
  return converted;
}

std::u16string normalizePath(std::u16string_view path) {
  std::u16string converted = convertSeparators(path);
  if (!converted.starts_with(u'/')) converted.insert(converted.begin(), u'/');
  return converted;
}

std::u16string makeRelativePath(std::u16string_view root, std::u16string_view path) {
  if (!path.starts_with(root)) throw CouldNotMakeRelativeToSourceRoot(messages::kNotBelowSourceRoot);
  path.remove_prefix(root.size());
  if (path.starts_with(u'/')) path.remove_prefix(1);
  return std::u16string(path);
}

std::u16string_view withoutTrailingSlashes(std::u16string_view path) {
  while (path.size() > 1 && path.ends_with(u'/')) path.remove_suffix(1);
  return path;
}

std::u16string_view withoutRepeatedLeadingSlashes(std::u16string_view path) {
  while (path.starts_with(u"//")) path.remove_prefix(1);
  return path;
}

std::u16string collapse(std::u16string_view path) {
  std::u16string collapsed;
  while (!path.empty()) {
    std::u16string_view const segment = path.substr(0, path.find(u'/'));
    if (!segment.empty() && segment != u".") collapsed.append(u"/").append(segment);
    path.remove_prefix(std::min(segment.size() + 1, path.size()));
  }
  return collapsed;
}

}  // namespace paths

PathSteps PathSteps::after(std::u16string_view path, std::size_t length) {
  PathSteps steps(path);
  steps.atStart_ = false;
  steps.take(length, path.substr(0, length) == u"/" ? 0 : 1);
  return steps;
}

std::u16string_view PathSteps::next() {
  bool const isRoot = atStart_ && rest_.starts_with(u'/');
  atStart_ = false;
  return isRoot ? take(1, 0) : take(std::min(rest_.find(u'/'), rest_.size()), 1);
}

std::u16string_view PathSteps::take(std::size_t length, std::size_t separator) {
  std::u16string_view const step = rest_.substr(0, length);
  atEnd_ = length == rest_.size();
  if (!atEnd_) rest_.remove_prefix(length + separator);
  return step;
}

}  // namespace opc::ztservices
