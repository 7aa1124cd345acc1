// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "opc/model/DataManager.hpp"

namespace opc::model {

/// The managers of one package, in order of registration. The package and its managers share it, so that they may be
/// destroyed in any order.
class ManagerRegistry {
 public:
  explicit ManagerRegistry(Package& package) : package_(&package) {}

  /// Throws InvalidState when the package is gone.
  Package& package() const;
  void detachPackage() noexcept { package_ = nullptr; }

  void add(DataManager& manager) { entries_.push_back({&manager, manager.dirty_, 0}); }
  void remove(DataManager& manager) noexcept;
  void markDirty(DataManager& manager);

  /// See DataManager::sharedCount.
  std::uint64_t& count(std::u16string const& name) { return counts_[name]; }

  /// Calls doSave of each dirty manager, and of managers that become dirty meanwhile, in order. Calls a manager that
  /// others keep making dirty at most once for each manager and once more; it then stays dirty.
  void saveAll();
  /// Call it after the package was saved.
  void markClean() noexcept;

 private:
  struct Entry {
    DataManager* manager;
    bool isDue;            // dirty, and doSave not called since
    std::size_t servings;  // calls of doSave in this save
  };

  Entry* find(DataManager const& manager);
  Entry* nextDue();

  Package* package_;
  std::vector<Entry> entries_;
  std::map<std::u16string, std::uint64_t> counts_;
};

}  // namespace opc::model
