// SPDX-License-Identifier: Apache-2.0
#include "opc/model/DataManager.hpp"

#include <algorithm>
#include <cstdint>
#include <string>

#include "opc/model/Exceptions.hpp"
#include "package/ManagerRegistry.hpp"
#include "package/Messages.hpp"
#include "package/PackageState.hpp"

namespace opc::model {

DataManager::DataManager(Package& package, bool startsDirty)
    : registry_(package.state().managers), dirty_(startsDirty) {
  registry_->add(*this);
}

DataManager::~DataManager() { registry_->remove(*this); }

void DataManager::load() {
  if (loaded_ || loading_) return;
  loading_ = true;
  try {
    doLoad();
  } catch (...) {
    loading_ = false;
    throw;
  }
  loading_ = false;
  loaded_ = true;
}

void DataManager::markAsDirty() { registry_->markDirty(*this); }

Package& DataManager::getPackage() const { return registry_->package(); }

std::uint64_t& DataManager::sharedCount(std::u16string const& name) const { return registry_->count(name); }

Package& ManagerRegistry::package() const {
  if (!package_) throw InvalidState(detail::messages::kPackageIsGone);
  return *package_;
}

void ManagerRegistry::remove(DataManager& manager) noexcept {
  std::erase_if(entries_, [&](Entry const& entry) { return entry.manager == &manager; });
}

ManagerRegistry::Entry* ManagerRegistry::find(DataManager const& manager) {
  auto const entry =
      std::find_if(entries_.begin(), entries_.end(), [&](Entry const& e) { return e.manager == &manager; });
  return entry == entries_.end() ? nullptr : &*entry;
}

void ManagerRegistry::markDirty(DataManager& manager) {
  package();
  manager.dirty_ = true;
  find(manager)->isDue = true;
}

ManagerRegistry::Entry* ManagerRegistry::nextDue() {
  for (Entry& entry : entries_)
    if (entry.isDue && entry.servings <= entries_.size()) return &entry;
  return nullptr;
}

void ManagerRegistry::saveAll() {
  for (Entry& entry : entries_) {
    entry.isDue = entry.manager->dirty_;
    entry.servings = 0;
  }
  // doSave may create and destroy managers, so entries are looked up anew.
  while (Entry* const entry = nextDue()) {
    DataManager& manager = *entry->manager;
    ++entry->servings;
    manager.doSave();
    if (Entry* const served = find(manager)) served->isDue = false;  // even if doSave has marked its own manager dirty
  }
}

void ManagerRegistry::markClean() noexcept {
  for (Entry& entry : entries_) entry.manager->dirty_ = entry.isDue;
}

}  // namespace opc::model
