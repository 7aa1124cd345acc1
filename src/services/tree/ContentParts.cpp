// SPDX-License-Identifier: Apache-2.0
#include "services/tree/ContentParts.hpp"

#include <algorithm>
#include <functional>
#include <string_view>

#include "opc/model/PackageHelper.hpp"
#include "text/Ascii.hpp"

namespace opc::ztservices {
namespace {

constexpr std::u16string_view kContentFolder = u"/fsroot/";

std::uint64_t hashOf(std::u16string const& name) { return std::hash<std::u16string>()(name); }

}  // namespace

ContentParts::ContentParts(FileSystemTree const& tree, model::Package const& package) : package_(package) {
  tree.forEachContent([this](std::u16string const& part) { named_.push_back(hashOf(part)); });
  std::sort(named_.begin(), named_.end());
  if (std::adjacent_find(named_.begin(), named_.end()) != named_.end())
    tree.forEachContent([this](std::u16string const& part) {
      auto const [first, last] = std::equal_range(named_.begin(), named_.end(), hashOf(part));
      if (last - first > 1) ++shared_[part];
    });
}

bool ContentParts::isNamed(std::u16string const& part) const {
  std::uint64_t const hash = hashOf(part);
  return std::binary_search(named_.begin(), named_.end(), hash) && !released_.contains(hash);
}

bool ContentParts::isShared(std::u16string const& part) const {
  auto const shared = shared_.find(part);
  return shared != shared_.end() && shared->second > 1;
}

bool ContentParts::release(std::u16string const& part) {
  auto const shared = shared_.find(part);
  if (shared != shared_.end() && --shared->second > 0) return false;
  std::uint64_t const hash = hashOf(part);
  if (std::binary_search(named_.begin(), named_.end(), hash)) released_.insert(hash);
  model::PartName const name(part);
  return package_.hasPart(name) && isOwn(name);
}

bool ContentParts::isOwn(model::PartName const& part) {
  if (part.isRelationshipsPart()) return false;
  if (!targets_) targets_ = model::PackageHelper::getAllTargets(package_);
  return !std::binary_search(targets_->begin(), targets_->end(), part);
}

bool ContentParts::isNameOfContent(model::PartName const& part) {
  std::u16string_view const folder = std::u16string_view(part.toString()).substr(0, kContentFolder.size());
  return ascii::equalIgnoringCase(folder, kContentFolder);
}

}  // namespace opc::ztservices
