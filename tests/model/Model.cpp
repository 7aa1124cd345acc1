// SPDX-License-Identifier: Apache-2.0
#include "model/Model.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "support/TestSupport.hpp"
#include "text/SchemaBaseURI.hpp"

namespace zt_model {
namespace {

using opc::toUTF8String;
using opc::model::PackageHelper;
using opc::model::PartName;
using opc::ztservices::CorePropertiesManager;
using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
using opc::ztservices::TransformMode;

constexpr std::size_t kMostShown = 200;

bool isOfProperties(std::u16string const& type) {
  static std::set<std::u16string> const types{
      CorePropertiesManager::getRelationshipType(), CorePropertiesManager::getExtensionRelationshipType(),
      CorePropertiesManager::getReleaseInfoRelationshipType(),
      u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties"};
  return types.contains(type);
}

/// The relationships of the managers, whose ids and targets are their own affair.
bool isOfManager(std::u16string const& type) {
  static std::set<std::u16string> const types{FileSystemManager::getRelationshipType(),
                                              FileSystemManager::getRelationshipTypeV1(),
                                              u"" ZT_SCHEMA_BASE_URI "/package/2018/relationships/cipherData"};
  return types.contains(type) || isOfProperties(type);
}

/// What the call gives, or that it cannot be read; other exceptions pass.
template <typename Call>
std::string readable(Call call) {
  try {
    return call();
  } catch (opc::model::InvalidItem const&) {
  } catch (opc::model::PartNotFound const&) {
  } catch (opc::ztservices::InvalidCoreProperties const&) {
  }
  return kUnreadable;
}

Node fileNode(Edited& edited, FileSystemEntry const& entry) {
  FileSystemManager& files = edited.files;
  Node node{Kind::File, entry.getPermissions(), entry.getLastModifiedTime()};
  PartName const part(entry.getContentName());
  if (edited.package->hasPart(part))
    node.type = toUTF8String(edited.package->getPart(part).getContentType().toString());  // unless it is encrypted
  node.part = toUTF8String(entry.getContentName());
  node.content = readable([&] {
    auto const source = files.getFileContentSource(entry, TransformMode::Transform);
    std::string content = zt_test::readAll(source->getInputStream());
    node.type = toUTF8String(source->getContentType().toString());
    return content;
  });
  node.isReadable = node.content != kUnreadable;
  return node;
}

Node nodeOf(Edited& edited, FileSystemEntry const& entry) {
  if (entry.isFile()) return fileNode(edited, entry);
  Node node{entry.isLink() ? Kind::Link : Kind::Folder, entry.getPermissions(), entry.getLastModifiedTime()};
  if (entry.isLink()) node.content = toUTF8String(edited.files.getLinkTarget(entry));
  return node;
}

class Observer {
 public:
  explicit Observer(Edited& edited) : edited_(edited) {}

  Model observe() {
    edited_.files.visitEntries([this](FileSystemEntry const& entry) {
      if (entry.isFile()) own_.insert(PartName(entry.getContentName()));
      model_.entries.emplace(entry.getPathName(), nodeOf(edited_, entry));
    });
    observeRelationships("/", *edited_.package);
    for (PartName const& name : edited_.package->getPartNames())
      if (!name.isRelationshipsPart()) observePart(edited_.package->getPart(name));
    for (auto& [path, node] : model_.entries) node.isKept = isTarget_.contains(node.part);
    for (std::u16string const& item : edited_.package->getItemNames()) model_.others["item " + toUTF8String(item)];
    observeProperties();
    observeCiphers();
    return std::move(model_);
  }

 private:
  void observeRelationships(std::string const& source, opc::model::RelationshipSource const& from) {
    for (auto const& one : from.getRelationships()) {
      if (source == "/" && isOfManager(one.getType())) {
        auto const target = PackageHelper::findTarget(*edited_.package, one);
        if (target && isManifestOrElse(one.getType(), *target)) own_.insert(target->getName());
        continue;
      }
      if (auto const target = PackageHelper::findTarget(*edited_.package, one))
        isTarget_.insert(toUTF8String(target->getName().toString()));
      bool const isExternal = one.getMode() == opc::model::TargetMode::External;
      model_.others["relationship " + source + " " + toUTF8String(one.getID())] =
          toUTF8String(one.getType() + u" " + one.getTargetText()) + (isExternal ? " external" : "");
    }
  }

  /// A relationship of version 1 may lead to a part that is no manager's.
  static bool isManifestOrElse(std::u16string const& type, opc::model::Part const& target) {
    return type != FileSystemManager::getRelationshipTypeV1() ||
           target.getContentType() == FileSystemManager::getPartContentTypeV1();
  }

  void observePart(opc::model::Part const& part) {
    std::string const name = toUTF8String(part.getName().toString());
    observeRelationships(name, part);
    if (own_.contains(part.getName())) return;
    model_.others["part " + name] = toUTF8String(part.getContentType().toString()) + "\n" +
                                    readable([&] { return zt_test::readAll(*part.getInputStream()); });
  }

  void observeProperties() {
    model_.others["properties"] = readable([&] {
      auto const record = edited_.properties.getCoreProperties();
      return toUTF8String(record.getTitle() + u"|" + record.getCreatedBy() + u"|" + record.getCategory() + u"|" +
                          record.getContentTypeFriendlyName());
    });
    if (model_.others["properties"] == kUnreadable) observeUnreadableProperties();
  }

  /// Their parts as they are stored.
  void observeUnreadableProperties() {
    for (auto const& one : edited_.package->getRelationships()) {
      if (!isOfProperties(one.getType())) continue;
      auto const target = PackageHelper::findTarget(*edited_.package, one);
      model_.others[kUnreadable + (" " + toUTF8String(one.getID()))] =
          toUTF8String(one.getTargetText()) + "\n" +
          (target ? readable([&] { return zt_test::readAll(*target->getInputStream()); }) : std::string());
    }
  }

  void observeCiphers() {
    for (unsigned i = 0; i < kCipherSelectors; ++i) {
      auto const selector = cipherSelector(i);
      if (edited_.ciphers.hasCipherEntry(selector))
        model_.others["cipher " + std::to_string(i)] =
            zt_test::textOf(edited_.ciphers.getCipherEntry(selector).getHash());
    }
  }

  Edited& edited_;
  std::set<PartName> own_;          // parts of managers and contents of entries
  std::set<std::string> isTarget_;  // parts to which relationships lead that are not of managers
  Model model_;
};

std::string shown(Node const& node) {
  constexpr std::array kKinds{"file", "folder", "link"};
  return std::string(kKinds[static_cast<std::size_t>(node.kind)]) + " " + std::to_string(node.permissions) + " " +
         toUTF8String(opc::convertTimeToString(node.time)) + " " + node.type + " " +
         std::to_string(node.content.size()) + ": " + node.content.substr(0, kMostShown);
}

std::string shown(std::string const& text) { return text.substr(0, kMostShown); }

std::string const& nameOf(std::string const& name) { return name; }
std::string nameOf(std::u16string const& name) { return toUTF8String(name); }

template <typename Map>
std::string firstDifference(Map const& expected, Map const& seen) {
  for (auto const& [name, value] : expected) {
    auto const found = seen.find(name);
    if (found == seen.end()) return nameOf(name) + " is gone; it was " + shown(value);
    if (!(found->second == value))
      return nameOf(name) + " was " + shown(value) + "\n  and is now " + shown(found->second);
  }
  for (auto const& [name, value] : seen)
    if (!expected.contains(name)) return nameOf(name) + " has come from nowhere: " + shown(value);
  return "";
}

std::u16string parentOf(std::u16string const& path) { return path.substr(0, path.rfind(u'/')); }

}  // namespace

bool Node::operator==(Node const& other) const {
  bool const isSameTime = time == other.time || (time.is_not_a_date_time() && other.time.is_not_a_date_time());
  return isSameTime && kind == other.kind && permissions == other.permissions && type == other.type &&
         content == other.content && isReadable == other.isReadable;
}

bool Model::hasChildren(std::u16string const& path) const {
  std::u16string const below = path + u"/";
  auto const next = entries.lower_bound(below);
  return next != entries.end() && next->first.starts_with(below);
}

bool Model::isBelowLeaf(std::u16string const& path) const {
  for (std::u16string above = parentOf(path); !above.empty(); above = parentOf(above)) {
    auto const found = entries.find(above);
    if (found != entries.end() && found->second.kind != Kind::Folder) return true;
  }
  return false;
}

bool Model::isFree(std::u16string const& path) const { return !has(path) && !isBelowLeaf(path); }

void Model::set(std::u16string const& path, Node node) {
  entries[path] = std::move(node);
  for (std::u16string above = parentOf(path); !above.empty(); above = parentOf(above)) entries.try_emplace(above);
}

void Model::remove(std::u16string const& path) {
  std::u16string const below = path == u"/" ? path : path + u"/";
  for (auto next = entries.begin(); next != entries.end();) {
    if (next->first != path && !next->first.starts_with(below)) {
      ++next;
      continue;
    }
    Node const& node = next->second;
    if (node.isKept) others["part " + node.part] = node.type + "\n" + node.content;
    next = entries.erase(next);
  }
}

void Model::move(std::u16string const& from, std::u16string const& to) {
  Entries moved;
  for (auto next = entries.begin(); next != entries.end();) {
    auto const here = next++;
    if (here->first == from || here->first.starts_with(from + u"/"))
      moved[to + here->first.substr(from.size())] = entries.extract(here).mapped();
  }
  for (auto& [path, node] : moved) set(path, std::move(node));
}

void Model::rewrite(std::u16string const& path, std::string const& content) {
  Node& node = entries.at(path);
  node.content = content;
  auto const isSame = [&](auto const& other) { return other.second.part == node.part; };
  if (node.part.empty() || std::ranges::count_if(entries, isSame) == 1) return;
  node.part.clear();
  node.isKept = false;
}

Model Model::saved() const {
  Model kept = *this;
  for (auto& [path, node] : kept.entries)
    if (node.kind == Kind::Folder && hasChildren(path)) node = {};
  return kept;
}

opc::model::RelationshipSelector cipherSelector(unsigned number) {
  return {opc::model::URI(u"/"), opc::model::RelationshipSelectorType::ByID,
          u"id" + opc::toString(std::to_string(number))};
}

Model observe(Edited& edited) { return Observer(edited).observe(); }

std::string differenceOf(Model const& expected, Model const& seen) {
  std::string const difference = firstDifference(expected.entries, seen.entries);
  return difference.empty() ? firstDifference(expected.others, seen.others) : difference;
}

}  // namespace zt_model
