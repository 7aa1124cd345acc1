// SPDX-License-Identifier: Apache-2.0
#include "verify/PackageCheck.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/CorePropertiesPart.hpp"
#include "package/Messages.hpp"
#include "package/PackageReader.hpp"
#include "package/PackageState.hpp"
#include "package/PartNameRules.hpp"
#include "package/PartTable.hpp"
#include "verify/BytesStream.hpp"
#include "verify/FaultCodes.hpp"

namespace opc::ztservices {
namespace {

namespace detail = model::detail;
namespace messages = model::detail::messages;
using model::InvalidItem;
using model::InvalidPackage;

model::XmlLimits limitsOf(model::OpenOptions const& options) {
  model::XmlLimits limits;
  limits.depth = options.maximumXmlDepth;
  limits.attributeBytes = options.maximumXmlAttributeBytes;
  limits.documentBytes = options.maximumMarkupBytes;
  return limits;
}

void append(InputStream& input, std::vector<unsigned char>& bytes) {
  std::vector<unsigned char> buffer(65536);
  while (!input.isEnd()) {
    std::size_t const count = input.read(buffer.data(), buffer.size());
    bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
  }
}

/// Relationships, core properties and signatures (ECMA-376-2, 9.1.2).
bool isOwnType(model::ContentType const& type) {
  constexpr std::u16string_view kOwn = u"application/vnd.openxmlformats-package.";
  return caselessCompare((type.getType() + u"/" + type.getSubType()).substr(0, kOwn.size()), kOwn);
}

bool isLess(CheckedPart const& part, std::string_view name) { return detail::NameLess::less(part.name, name); }

std::string withoutSlash(std::string const& name) { return name.substr(1); }

}  // namespace

PackageCheck::PackageCheck(model::zip::Archive const& archive, std::vector<bool> const& isSound,
                           model::OpenOptions const& limits, FaultList& faults)
    : archive_(archive),
      isSound_(isSound),
      limits_(limits),
      faults_(faults),
      reader_(nullptr, limitsOf(limits), model::XmlSchemaLocations::Refuse),
      relationshipCount_{limits.maximumRelationships},
      isDone_(archive.size()) {}

void PackageCheck::identify() {
  collectPieces();
  findContentTypes();
  classifyItems();
  checkNames();
  checkDerivedNames();
}

void PackageCheck::check() {
  readAllRelationships();
  checkCoreProperties();
}

CheckedPart const* PackageCheck::find(std::u16string const& name) const {
  std::string const wanted = detail::narrowName(name);
  for (auto part = std::lower_bound(parts_.begin(), parts_.end(), wanted, isLess);
       part != parts_.end() && detail::equalIgnoringCase(part->name, wanted); ++part)
    if (part->name == wanted) return &*part;
  return nullptr;
}

CheckedPart const* PackageCheck::findEquivalent(std::string_view name) const {
  auto const part = std::lower_bound(parts_.begin(), parts_.end(), name, isLess);
  return part != parts_.end() && detail::equalIgnoringCase(part->name, name) ? &*part : nullptr;
}

CheckedPart const* PackageCheck::findTarget(detail::RelationshipRecord const& relationship) const {
  auto const name = detail::targetNameOf(relationship);
  return name ? findEquivalent(*name) : nullptr;
}

bool PackageCheck::isSound(CheckedPart const& part) const {
  return std::ranges::all_of(part.items, [this](std::uint32_t item) { return isSound_[item]; });
}

std::uint64_t PackageCheck::sizeOf(CheckedPart const& part) const {
  std::uint64_t size = 0;
  for (std::uint32_t const item : part.items) size += archive_.entry(item).size;
  return size;
}

std::uint64_t PackageCheck::storedSizeOf(CheckedPart const& part) const {
  std::uint64_t size = 0;
  for (std::uint32_t const item : part.items) size += archive_.entry(item).storedSize;
  return size;
}

// The pieces are markup of the package's own, or a manifest, and so held whole.
std::unique_ptr<InputStream> PackageCheck::open(std::vector<std::uint32_t> const& items) const {
  if (items.size() == 1) return archive_.openContent(items.front());
  std::vector<unsigned char> bytes;
  for (std::uint32_t const item : items) {
    if (archive_.entry(item).size >
        limits_.maximumMarkupBytes - std::min<std::uint64_t>(bytes.size(), limits_.maximumMarkupBytes))
      throw InvalidPackage(messages::invalidItem(archive_.entry(item).name, "its pieces are too large together"));
    append(*archive_.openContent(item), bytes);
  }
  return std::make_unique<BytesStream>(std::move(bytes));
}

void PackageCheck::read(CheckedPart const& part, ContentSink const& take) const {
  std::vector<unsigned char> buffer(65536);
  for (std::uint32_t const item : part.items) {
    auto const input = archive_.openContent(item);
    while (!input->isEnd()) {
      std::size_t const count = input->read(buffer.data(), buffer.size());
      take({buffer.data(), count});
    }
  }
}

std::vector<CheckedPart const*> PackageCheck::targetsOf(std::u16string_view type) const {
  std::vector<CheckedPart const*> targets;
  for (auto const& [position, relationship] : packageRelationships_.records()) {
    if (*relationship->type != type) continue;
    if (CheckedPart const* const part = findTarget(*relationship)) targets.push_back(part);
  }
  return targets;
}

void PackageCheck::collectPieces() {
  detail::PieceCollector collector;
  for (std::uint32_t i = 0; i < archive_.size(); ++i) {
    std::string_view const name = archive_.entry(i).name;
    auto const piece = detail::parsePieceName(name);
    if (!piece) continue;
    isDone_[i] = true;
    try {
      collector.add(*piece, i);
    } catch (InvalidPackage const& fault) {
      faults_.addItem(code::kDuplicatePiece, name, fault.what());
    }
  }
  sequences_ = collector.sequences();
  for (auto const& sequence : sequences_)
    if (!sequence.isComplete)
      faults_.addItem(code::kMissingPiece, sequence.name,
                      messages::invalidItem("/" + sequence.name, "a piece is missing"));
}

void PackageCheck::findContentTypes() {
  std::vector<std::vector<std::uint32_t>> found;
  for (std::uint32_t i = 0; i < archive_.size(); ++i)
    if (detail::equalIgnoringCase(archive_.entry(i).name, detail::kContentTypesItem)) {
      found.push_back({i});
      isDone_[i] = true;
    }
  std::erase_if(sequences_, [&](auto const& sequence) {
    if (!detail::equalIgnoringCase(sequence.name, detail::kContentTypesItem)) return false;
    if (sequence.isComplete) found.push_back(sequence.items);
    return true;
  });
  if (found.empty()) return faults_.add(code::kNoContentTypes, u"", "Not a package: it has no content types");
  if (found.size() > 1)
    faults_.addItem(code::kSeveralContentTypes, detail::kContentTypesItem,
                    messages::invalidItem(detail::kContentTypesItem, "there is more than one"));
  readContentTypes(found.front());
}

void PackageCheck::readContentTypes(std::vector<std::uint32_t> const& items) {
  try {
    auto const input = open(items);
    contentTypes_ = detail::readContentTypes(reader_, *input, limits_.maximumContentTypes, types_);
    knowsTypes_ = true;
  } catch (InvalidItem const&) {  // told with its content
  } catch (Exception const& fault) {
    if (fault.getErrorCode()) throw;
    faults_.addItem(code::kInvalidContentTypes, detail::kContentTypesItem,
                    messages::invalidItem(detail::kContentTypesItem, fault.what()));
  }
}

void PackageCheck::classifyItems() {
  for (std::uint32_t i = 0; i < archive_.size(); ++i) {
    if (isDone_[i]) continue;
    auto const entry = archive_.entry(i);
    if (detail::isFolder(entry)) {
      addLoose(entry.name, detail::LooseKind::Folder);
      continue;
    }
    if (detail::isMarkedAsFolder(entry))
      faults_.addItem(
          code::kFolderMark, entry.name,
          messages::invalidItem("/" + std::string(entry.name), "a file that is marked as a folder or a volume label"));
    classify(entry.name, {i});
  }
  for (auto& sequence : sequences_)
    if (sequence.isComplete)
      classify(sequence.name, std::move(sequence.items));
    else
      addLoose(sequence.name, detail::LooseKind::Piece);
  std::stable_sort(parts_.begin(), parts_.end(),
                   [](CheckedPart const& a, CheckedPart const& b) { return isLess(a, b.name); });
}

/// Where the content types cannot be read, every item with the name of a part is taken for one.
void PackageCheck::classify(std::string_view item, std::vector<std::uint32_t> items) {
  std::string name = "/" + std::string(item);
  if (!detail::isValidPartName(name)) {
    faults_.addItem(code::kInvalidPartName, item,
                    messages::invalidItem(name, "its name is not one that a part may have"));
    addLoose(item, detail::LooseKind::File);
    return;
  }
  detail::MediaType const* const type = knowsTypes_ ? typeOf(name) : nullptr;
  if (knowsTypes_ && !(type && type->value))
    addLoose(item, detail::LooseKind::File);
  else
    parts_.push_back({std::move(name), type, std::move(items)});
}

void PackageCheck::addLoose(std::string_view item, detail::LooseKind kind) {
  looseNames_.push_back({"/" + std::string(item), kind});
}

detail::MediaType const* PackageCheck::typeOf(std::string const& name) {
  detail::MediaType const* const type = contentTypes_.typeOf(name);
  if (detail::isRelationshipsName(name))
    checkRelationshipsName(name, type);
  else if (!type)
    faults_.addItem(code::kUntypedItem, withoutSlash(name), messages::invalidItem(name, "it has no content type"));
  if (type) checkType(name, *type);
  return type;
}

void PackageCheck::checkType(std::string const& name, detail::MediaType const& type) {
  if (!type.value)
    faults_.addItem(code::kInvalidContentType, withoutSlash(name),
                    messages::invalidItem(name, messages::invalidContentType(type.text)));
  else if (isOwnType(*type.value) && !type.value->getParameters().empty())
    faults_.addItem(code::kTypeParameters, withoutSlash(name),
                    messages::invalidItem(name, messages::parametersNotAllowed(type.text)));
}

void PackageCheck::checkRelationshipsName(std::string const& name, detail::MediaType const* type) {
  if (!type || !type->is(detail::kRelationshipsType))
    faults_.addItem(code::kRelationshipsType, withoutSlash(name),
                    messages::invalidItem(name, type ? "a relationships part with another content type"
                                                     : "a relationships part without a content type"));
  if (detail::isRelationshipsName(detail::sourceNameOf(name)))
    faults_.addItem(code::kRelationshipsOfRelationships, withoutSlash(name),
                    messages::invalidItem(name, "a relationships part with relationships"));
}

/// Of items with the same name one is looked at further.
void PackageCheck::checkNames() {
  using detail::LooseKind;
  using Named = std::pair<std::string_view, LooseKind>;
  std::vector<Named> names;
  names.reserve(parts_.size() + looseNames_.size());
  for (CheckedPart const& part : parts_) names.emplace_back(part.name, LooseKind::File);
  for (LooseName const& loose : looseNames_) names.emplace_back(loose.name, loose.kind);
  std::stable_sort(names.begin(), names.end(),
                   [](Named const& a, Named const& b) { return detail::NameLess::less(a.first, b.first); });
  for (std::size_t i = 1; i < names.size(); ++i) {
    auto const& [before, kindBefore] = names[i - 1];
    auto const& [name, kind] = names[i];
    if (detail::equalIgnoringCase(before, name) && !detail::mayShareName(kindBefore, kind))
      faults_.addItem(code::kNamesClash, name.substr(1), messages::namesClash(before, name));
  }
  auto const isSame = [](CheckedPart const& a, CheckedPart const& b) { return a.name == b.name; };
  parts_.erase(std::unique(parts_.begin(), parts_.end(), isSame), parts_.end());
}

/// The names that continue a name by whole segments stand right behind it.
void PackageCheck::checkDerivedNames() {
  CheckedPart const* base = nullptr;
  for (CheckedPart const& part : parts_)
    if (base && detail::continues(part.name, base->name))
      faults_.addItem(code::kDerivedName, withoutSlash(part.name), messages::namesClash(base->name, part.name));
    else
      base = &part;
}

void PackageCheck::readAllRelationships() {
  for (CheckedPart const& part : parts_)
    if (detail::endsIgnoringCase(part.name, ".rels") && detail::isRelationshipsName(part.name)) {
      if (isSound(part))
        readRelationships(part);
      else if (detail::sourceNameOf(part.name).empty())
        knowsRelationships_ = false;
    }
}

/// What comes before the first fault of a document is looked at all the same.
void PackageCheck::readRelationships(CheckedPart const& part) {
  std::string const source = detail::sourceNameOf(part.name);
  detail::RelationshipSet relationships;
  try {
    auto const input = open(part.items);
    detail::readRelationships(reader_, *input, source, texts_, relationshipCount_, relationships);
  } catch (Exception const& fault) {
    if (fault.getErrorCode()) throw;
    faults_.addItem(code::kInvalidRelationships, withoutSlash(part.name),
                    messages::invalidItem(part.name, fault.what()));
    if (source.empty()) knowsRelationships_ = false;
  }
  checkTargets(source, relationships);
  if (source.empty()) packageRelationships_ = std::move(relationships);
}

void PackageCheck::checkTargets(std::string const& source, detail::RelationshipSet const& relationships) {
  for (auto const& [position, relationship] : relationships.records())
    if (relationship->mode == model::TargetMode::Internal) checkTarget(source, *relationship);
}

void PackageCheck::checkTarget(std::string const& source, detail::RelationshipRecord const& relationship) {
  std::u16string const item = source.empty() ? u"/" : detail::wideName(source);
  std::string const where = messages::shown(item) + ": relationship " + messages::shown(relationship.id);
  if (relationship.target.find(u'\\') != std::u16string::npos)
    faults_.add(code::kBackslashTarget, item,
                where + " has a backslash in its target " + messages::shown(relationship.target));
  if (relationship.target.starts_with(u'#')) return;  // within its own source
  if (!findTarget(relationship)) {
    auto const name = detail::targetNameOf(relationship);
    faults_.add(code::kMissingTarget, item,
                where + " leads to no part: " + (name ? messages::shown(*name) : messages::shown(relationship.target)));
  }
}

void PackageCheck::checkCoreProperties() {
  std::size_t count = 0;
  for (auto const& [position, relationship] : packageRelationships_.records())
    if (*relationship->type == detail::kCorePropertiesRelationshipType) ++count;
  if (count > 1)
    faults_.add(code::kSeveralCoreProperties, u"/",
                "The package has " + std::to_string(count) + " core-properties relationships");
  for (CheckedPart const* const part : targetsOf(detail::kCorePropertiesRelationshipType)) try {
      if (!isSound(*part)) continue;
      if (sizeOf(*part) > model::kXmlDomDocumentBytes)
        throw InvalidPackage(messages::invalidItem(part->name, "it is too large"));
      auto const input = open(part->items);
      detail::readCoreProperties(*input, model::PartName(detail::wideName(part->name)));
    } catch (Exception const& fault) {
      if (fault.getErrorCode()) throw;
      faults_.addItem(code::kInvalidCoreProperties, withoutSlash(part->name), fault.what());
    }
}

}  // namespace opc::ztservices
