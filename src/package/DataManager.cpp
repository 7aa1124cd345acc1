// SPDX-License-Identifier: Apache-2.0
#include "opc/model/DataManager.hpp"

#include "package/ManagerRegistry.hpp"
#include "package/PackageState.hpp"

namespace opc::model {

DataManager::DataManager(Package& package, bool startsDirty)
    : registry_(package.state().managers), dirty_(startsDirty) {
  registry_->add(*this);
}

DataManager::~DataManager() { registry_->remove(*this); }

void DataManager::load() {
  if (loaded_) return;
  doLoad();
  loaded_ = true;
}

void DataManager::markAsDirty() { registry_->markDirty(*this); }

Package& DataManager::getPackage() const { return registry_->package(); }

}  // namespace opc::model
