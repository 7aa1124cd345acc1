// SPDX-License-Identifier: Apache-2.0
#include "package/MarkupCompatibility.hpp"

#include <algorithm>
#include <cstddef>

#include "package/Messages.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::model::detail {
namespace {

[[noreturn]] void fail(std::string const& fault) { throw XmlContentFault(fault); }

[[noreturn]] void fail(std::string const& fault, std::u16string_view name) {
  fail(fault + ": " + messages::shown(name));
}

void requireBlank(std::u16string_view text) {
  if (text.find_first_not_of(kXmlWhiteSpace) != std::u16string_view::npos) fail("Unexpected text");
}

/// Calls `take` with each word of a list that is separated by white space.
template <typename Take>
void forEachWord(std::u16string_view list, Take const& take) {
  for (std::size_t begin = 0; (begin = list.find_first_not_of(kXmlWhiteSpace, begin)) != std::u16string_view::npos;) {
    std::size_t const end = std::min(list.find_first_of(kXmlWhiteSpace, begin), list.size());
    take(list.substr(begin, end - begin));
    begin = end;
  }
}

/// The value of a compatibility attribute; empty without one.
std::u16string_view ruleOf(XmlAttributes const& attributes, std::u16string_view name) {
  for (std::size_t i = 0; i < attributes.size(); ++i)
    if (attributes.namespaceURI(i) == kCompatibilityNamespace && attributes.localName(i) == name)
      return attributes.value(i);
  return {};
}

bool isRule(std::u16string_view name) {
  // The two Preserve rules concern programs that write ignored content back.
  constexpr std::u16string_view kRules[] = {u"Ignorable", u"ProcessContent", u"MustUnderstand", u"PreserveElements",
                                            u"PreserveAttributes"};
  return std::find(std::begin(kRules), std::end(kRules), name) != std::end(kRules);
}

/// A selection of the attributes of an element.
class Selection final : public XmlAttributes {
 public:
  explicit Selection(XmlAttributes const& all) : all_(all) {}
  void add(std::size_t index) { indices_.push_back(index); }
  std::size_t size() const override { return indices_.size(); }
  std::u16string_view namespaceURI(std::size_t index) const override { return all_.namespaceURI(indices_.at(index)); }
  std::u16string_view localName(std::size_t index) const override { return all_.localName(indices_.at(index)); }
  std::u16string_view value(std::size_t index) const override { return all_.value(indices_.at(index)); }

 private:
  XmlAttributes const& all_;
  std::vector<std::size_t> indices_;
};

}  // namespace

void MarkupHandler::fail(std::string const& fault) { throw XmlContentFault(fault); }

void MarkupHandler::failAtElement(std::u16string_view name) { fail("Unexpected element: " + messages::shown(name)); }

void MarkupHandler::startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                                 XmlAttributes const& attributes) {
  bool const isRoot = depth_ == 0;
  if (depth_ > 1 || namespaceURI != namespaceURI_ || (isRoot && localName != root_)) failAtElement(localName);
  ++depth_;
  if (isRoot)
    requireOnly(attributes, localName, {});
  else
    child(localName, attributes);
}

void MarkupHandler::endElement(std::u16string_view, std::u16string_view) { --depth_; }

void MarkupHandler::characters(std::u16string_view text) {
  if (depth_ == 2 && text_ == TextInChildren::Allowed) return;
  if (text.find_first_not_of(kXmlWhiteSpace) != std::u16string_view::npos) fail("Unexpected text");
}

std::u16string_view MarkupHandler::required(XmlAttributes const& attributes, std::u16string_view element,
                                            std::u16string_view name) {
  auto const value = attributes.find(name);
  if (!value) fail("Missing attribute: " + messages::shown(element) + "/@" + messages::shown(name));
  return *value;
}

void MarkupHandler::requireOnly(XmlAttributes const& attributes, std::u16string_view element,
                                std::span<std::u16string_view const> names) {
  for (std::size_t i = 0; i < attributes.size(); ++i)
    if (!attributes.namespaceURI(i).empty() ||
        std::find(names.begin(), names.end(), attributes.localName(i)) == names.end())
      fail("Unexpected attribute: " + messages::shown(element) + "/@" + messages::shown(attributes.localName(i)));
}

void MarkupCompatibility::namespaceDeclared(std::u16string_view prefix, std::u16string_view namespaceURI) {
  if (skipped_ > 0) return;
  auto const declaration = declarations_.try_emplace(std::u16string(prefix)).first;
  declared_.push_back(declaration);
  declaration->second.emplace_back(namespaceURI);
}

void MarkupCompatibility::startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                                       XmlAttributes const& attributes) {
  if (skipped_ > 0) {
    ++skipped_;
    return;
  }
  open();
  takeRules(attributes);
  Element* const outer = elements_.size() > 1 ? &elements_[elements_.size() - 2] : nullptr;
  Element* const alternatives = outer && outer->fate == Fate::Alternatives ? outer : nullptr;
  if (namespaceURI == kCompatibilityNamespace) return startOwn(localName, attributes, alternatives);
  if (isIgnored(namespaceURI)) {
    if (alternatives || !isProcessed(namespaceURI, localName)) return skip();
    elements_.back().fate = Fate::Unwrapped;
    return requireUnderstood(attributes);
  }
  if (alternatives) fail("Unexpected element", localName);
  requireUnderstood(attributes);
  passOn(namespaceURI, localName, attributes);
}

void MarkupCompatibility::endElement(std::u16string_view namespaceURI, std::u16string_view localName) {
  if (skipped_ > 0) {
    --skipped_;
  } else {
    Element const& element = elements_.back();
    if (element.fate == Fate::Alternatives && !element.hasChoice) fail("Alternate content without a choice");
    if (element.fate == Fate::PassedOn) {
      --passedOn_;
      reader_.endElement(namespaceURI, localName);
    }
    close();
  }
  if (skipped_ == 0 && elements_.empty() && !hasRoot_) fail("No element is left");
}

void MarkupCompatibility::characters(std::u16string_view text) {
  if (skipped_ > 0) return;
  if (passedOn_ == 0 || elements_.back().fate == Fate::Alternatives)
    requireBlank(text);
  else
    reader_.characters(text);
}

bool MarkupCompatibility::isUnderstood(std::u16string_view namespaceURI) const {
  return namespaceURI == understood_ || namespaceURI == kCompatibilityNamespace;
}

bool MarkupCompatibility::isIgnored(std::u16string_view namespaceURI) const {
  return !isUnderstood(namespaceURI) && ignorable_.find(namespaceURI) != ignorable_.end();
}

bool MarkupCompatibility::isProcessed(std::u16string_view namespaceURI, std::u16string_view localName) const {
  return processed_.count({namespaceURI, u"*"}) != 0 ||
         processed_.count({namespaceURI, std::u16string(localName)}) != 0;
}

std::u16string const& MarkupCompatibility::namespaceOf(std::u16string_view prefix) const {
  auto const found = declarations_.find(prefix);
  if (prefix.empty() || found == declarations_.end()) fail("Undeclared prefix", prefix);
  return found->second.back();
}

bool MarkupCompatibility::areUnderstood(std::u16string_view prefixes) const {
  bool are = true;
  forEachWord(prefixes, [&](std::u16string_view prefix) { are = isUnderstood(namespaceOf(prefix)) && are; });
  return are;
}

void MarkupCompatibility::open() {
  elements_.push_back({Fate::PassedOn, outerDeclared_, ignorableOrder_.size(), processedOrder_.size()});
  outerDeclared_ = declared_.size();
}

void MarkupCompatibility::close() {
  Element const& element = elements_.back();
  for (; declared_.size() > element.declared; declared_.pop_back()) {
    declared_.back()->second.pop_back();
    if (declared_.back()->second.empty()) declarations_.erase(declared_.back());
  }
  for (; processedOrder_.size() > element.processed; processedOrder_.pop_back())
    processed_.erase(processedOrder_.back());
  for (; ignorableOrder_.size() > element.ignorable; ignorableOrder_.pop_back())
    ignorable_.erase(ignorableOrder_.back());
  outerDeclared_ = element.declared;
  elements_.pop_back();
}

void MarkupCompatibility::skip() {
  close();
  skipped_ = 1;
}

void MarkupCompatibility::takeRules(XmlAttributes const& attributes) {
  for (std::size_t i = 0; i < attributes.size(); ++i)
    if (attributes.namespaceURI(i) == kCompatibilityNamespace && !isRule(attributes.localName(i)))
      fail("Unexpected compatibility attribute", attributes.localName(i));
  forEachWord(ruleOf(attributes, u"Ignorable"), [this](std::u16string_view prefix) { takeIgnorable(prefix); });
  forEachWord(ruleOf(attributes, u"ProcessContent"), [this](std::u16string_view name) { takeProcessed(name); });
}

void MarkupCompatibility::takeIgnorable(std::u16string_view prefix) {
  auto const [place, isNew] = ignorable_.insert(namespaceOf(prefix));
  if (isNew) ignorableOrder_.push_back(place);
}

void MarkupCompatibility::takeProcessed(std::u16string_view name) {
  std::size_t const colon = name.find(u':');
  if (colon == std::u16string_view::npos || colon + 1 == name.size()) fail("Invalid name", name);
  auto const namespaceURI = ignorable_.find(namespaceOf(name.substr(0, colon)));
  if (namespaceURI == ignorable_.end()) fail("Content to be processed of what is not ignorable", name);
  auto const [place, isNew] = processed_.emplace(*namespaceURI, name.substr(colon + 1));
  if (isNew) processedOrder_.push_back(place);
}

void MarkupCompatibility::requireUnderstood(XmlAttributes const& attributes) const {
  std::u16string_view const prefixes = ruleOf(attributes, u"MustUnderstand");
  if (!areUnderstood(prefixes)) fail("Markup that must be understood is not", prefixes);
}

void MarkupCompatibility::requireNoOthers(std::u16string_view element, XmlAttributes const& attributes,
                                          std::u16string_view allowed) const {
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    std::u16string_view const uri = attributes.namespaceURI(i), name = attributes.localName(i);
    if (uri != kCompatibilityNamespace && !isIgnored(uri) && !(uri.empty() && name == allowed))
      fail("Unexpected attribute: " + messages::shown(element) + "/@" + messages::shown(name));
  }
}

void MarkupCompatibility::startOwn(std::u16string_view name, XmlAttributes const& attributes, Element* alternatives) {
  if (alternatives && name == u"Choice") return startChoice(attributes, *alternatives);
  if (alternatives && name == u"Fallback") return startFallback(attributes, *alternatives);
  if (alternatives || name != u"AlternateContent") fail("Unexpected element", name);
  requireNoOthers(name, attributes, {});
  requireUnderstood(attributes);
  elements_.back().fate = Fate::Alternatives;
}

void MarkupCompatibility::startChoice(XmlAttributes const& attributes, Element& alternatives) {
  if (alternatives.hasFallback) fail("A choice behind the fallback");
  alternatives.hasChoice = true;
  requireNoOthers(u"Choice", attributes, u"Requires");
  auto const prefixes = attributes.find(u"Requires");
  if (!prefixes || prefixes->find_first_not_of(kXmlWhiteSpace) == std::u16string_view::npos)
    fail("Missing attribute: Choice/@Requires");
  decide(areUnderstood(*prefixes), attributes, alternatives);
}

void MarkupCompatibility::startFallback(XmlAttributes const& attributes, Element& alternatives) {
  if (alternatives.hasFallback) fail("More than one fallback");
  alternatives.hasFallback = true;
  requireNoOthers(u"Fallback", attributes, {});
  decide(true, attributes, alternatives);
}

void MarkupCompatibility::decide(bool isChosen, XmlAttributes const& attributes, Element& alternatives) {
  if (alternatives.isDecided || !isChosen) return skip();
  alternatives.isDecided = true;
  requireUnderstood(attributes);
  elements_.back().fate = Fate::Unwrapped;
}

void MarkupCompatibility::passOn(std::u16string_view namespaceURI, std::u16string_view localName,
                                 XmlAttributes const& attributes) {
  if (passedOn_ == 0 && std::exchange(hasRoot_, true)) fail("More than one root element is left");
  ++passedOn_;
  auto const isLeftOut = [&](std::size_t i) {
    return attributes.namespaceURI(i) == kCompatibilityNamespace || isIgnored(attributes.namespaceURI(i));
  };
  std::size_t kept = 0;
  while (kept < attributes.size() && !isLeftOut(kept)) ++kept;
  if (kept == attributes.size()) return reader_.startElement(namespaceURI, localName, attributes);
  Selection remaining(attributes);
  for (std::size_t i = 0; i < attributes.size(); ++i)
    if (!isLeftOut(i)) remaining.add(i);
  reader_.startElement(namespaceURI, localName, remaining);
}

}  // namespace opc::model::detail
