// SPDX-License-Identifier: Apache-2.0
#include "opc/model/Package.hpp"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "container/Faults.hpp"
#include "container/Reader.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ManagerRegistry.hpp"
#include "package/Messages.hpp"
#include "package/PackageReader.hpp"
#include "package/PackageState.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model {
namespace {

std::shared_ptr<PackageState> openState(std::shared_ptr<zip::RandomAccessBytes const> bytes, std::string path,
                                        AccessMode mode, OpenOptions const& options) {
  auto state = std::make_shared<PackageState>(detail::PackageFile{.path = std::move(path)});
  state->isReadOnly = mode == AccessMode::ReadOnly;
  state->isChanged = false;
  try {
    ThrowingFaults faults;
    zip::Reader container(std::move(bytes), options.maximumItems, faults);
    detail::PackageReader(state, container, options, faults).read();
  } catch (InvalidPackage const& error) {
    throw InvalidPackage(detail::messages::invalidPackage(state->file.path, error.what()));
  }
  return state;
}

}  // namespace

Package::Package(std::shared_ptr<PackageState> state) : RelationshipSource(std::move(state), PartName()) {
  this->state().managers = std::make_shared<ManagerRegistry>(*this);
}

Package::~Package() {
  state().managers->detachPackage();
  state().isGone = true;
}

std::unique_ptr<Package> Package::create(std::u16string const& path, Existing existing) {
  return std::unique_ptr<Package>(new Package(
      std::make_shared<PackageState>(detail::PackageFile::forNew(path, existing), PackageState::Purpose::NewPackage)));
}

std::unique_ptr<Package> Package::createInMemory() {
  return std::unique_ptr<Package>(new Package(std::make_shared<PackageState>()));
}

std::unique_ptr<Package> Package::open(std::u16string const& path, AccessMode mode, OpenOptions const& options) {
  std::string const text = detail::absolutePath(path);
  auto bytes = zip::openFileBytes(text);
  if (mode == AccessMode::ReadWrite && !options.openProtected) zip::requireWritable(text);
  auto const identity = zip::identityOf(*bytes, text);  // before anything is read
  auto state = openState(std::move(bytes), text, mode, options);
  state->file.identity = identity;
  return std::unique_ptr<Package>(new Package(std::move(state)));
}

std::unique_ptr<Package> Package::openInMemory(std::vector<unsigned char> bytes, AccessMode mode,
                                               OpenOptions const& options) {
  return std::unique_ptr<Package>(
      new Package(openState(zip::makeMemoryBytes(std::move(bytes)), std::string(), mode, options)));
}

bool Package::isReadOnly() const { return state().isReadOnly; }

Part Package::createPart(PartName const& name, ContentType const& type, IPhysicalPartInfo const& info) {
  namespace messages = detail::messages;
  state().requireWritable();
  std::u16string const& text = name.toString();
  if (!name.isValid()) throw InvalidPartName(messages::invalidPartName(text));
  if (name.isRelationshipsPart()) throw InvalidPartName(messages::reservedPartName(text));
  if (text.size() - 1 > detail::kMaximumItemName) throw InvalidPartName(messages::partNameTooLong(text));
  if (auto const existing = state().parts.clash(text)) throw PartNameClash(messages::partNameClash(text, *existing));
  if (detail::hasForbiddenParameters(type)) throw InvalidContentType(messages::parametersNotAllowed(type.toString()));
  CompressionType const compression = info.getCompressionType();
  auto const part = state().parts.insert(detail::narrowName(text), state().types.intern(type.toString()));
  part->second.isStored = compression == CompressionType::Stored;
  part->second.isMarkup = compression == CompressionType::Markup;
  state().isChanged = true;
  return Part(sharedState(), name);
}

void Package::deletePart(PartName const& name) {
  state().requireWritable();
  auto const part = state().parts.get(name);
  if (name.isRelationshipsPart()) throw InvalidState(detail::messages::partIsPackagesOwn(name.toString()));
  auto const relationships = state().parts.find(detail::relationshipsNameOf(detail::PartIndex::nameOf(part)));
  if (relationships != state().parts.end()) state().erase(relationships);
  state().erase(part);
}

Part Package::getPart(PartName const& name) const {
  Part part(sharedState(), name);
  part.entry();
  return part;
}

bool Package::hasPart(PartName const& name) const { return state().parts.findExactly(name) != state().parts.end(); }

std::optional<Part> Package::findPart(PartName const& name) const {
  return hasPart(name) ? std::optional<Part>(Part(sharedState(), name)) : std::nullopt;
}

std::vector<PartName> Package::getPartNames() const {
  std::vector<PartName> names;
  names.reserve(state().parts.size());
  for (auto part = state().parts.begin(); part != state().parts.end(); ++part)
    names.push_back(detail::PartIndex::partNameOf(part));
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<Part> Package::getParts() const {
  std::vector<Part> parts;
  for (PartName& name : getPartNames())
    if (!name.isRelationshipsPart()) parts.push_back(Part(sharedState(), std::move(name)));
  return parts;
}

std::vector<Relationship> Package::selectRelationships(RelationshipSelector const& selector) const {
  std::u16string const& source = selector.getSourceURI().toString();
  bool const isOfPackage = source.empty() || source == u"/";
  Part const part(sharedState(), PartName(source));
  RelationshipSource const& from = isOfPackage ? static_cast<RelationshipSource const&>(*this) : part;
  std::u16string const& criteria = selector.getSelectionCriteria();
  if (selector.getSelectorType() == RelationshipSelectorType::ByType) return from.getRelationshipsByType(criteria);
  auto const found = from.findRelationship(criteria);
  return found ? std::vector<Relationship>{*found} : std::vector<Relationship>();
}

bool Package::isPartDerivedFromExistingPartName(PartName const& name, std::u16string& existing) const {
  auto clash = state().parts.clash(name.toString());
  if (clash) existing = std::move(*clash);
  return clash.has_value();
}

std::vector<std::u16string> Package::getItemNames() const {
  std::vector<std::u16string> names;
  auto const& parts = state().parts;
  names.reserve(parts.items().size());
  for (auto const& item : parts.items()) names.push_back(toString(std::string(parts.nameOf(item)), false));
  std::sort(names.begin(), names.end());
  return names;
}

void Package::setCompressionLevel(CompressionLevel level) {
  state().contents.setEffort(detail::effortOf(level));
  state().level = level;
}

CompressionLevel Package::getCompressionLevel() const { return state().level; }

void Package::setMonitor(Monitor monitor) { state().monitor = std::move(monitor); }

void Package::setCompressionThreads(unsigned count) {
  state().contents.store().setThreads(count);
  state().threads = count;
}

unsigned Package::getCompressionThreads() const { return state().threads; }

}  // namespace opc::model
