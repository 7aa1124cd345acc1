// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/model/Package.hpp"

namespace opc::model {

namespace detail {
class ManagerRegistry;
}

/// Base of the managers that keep a service's data in parts of one package. A manager is bound to its
/// package for life, is called when the package saves, and unregisters itself when it is destroyed. Used
/// by one thread at a time with its package.
class ZT_API DataManager {
 public:
  virtual ~DataManager();
  DataManager(DataManager const&) = delete;
  DataManager& operator=(DataManager const&) = delete;

 protected:
  /// Reads the manager's parts. Starts from empty state: it may be called again after it threw.
  virtual void doLoad() = 0;
  /// Writes the manager's parts.
  virtual void doSave() = 0;
  virtual std::vector<std::u16string> doGetManagedPartNames() const = 0;
  virtual std::vector<std::u16string> doGetManagedRelationshipTypes() const = 0;

 public:
  /// The part names and relationship types that the manager owns.
  std::vector<std::u16string> getManagedPartNames() const { return doGetManagedPartNames(); }
  std::vector<std::u16string> getManagedRelationshipTypes() const { return doGetManagedRelationshipTypes(); }

  /// Runs doLoad until it has once succeeded; afterwards does nothing.
  void load();

  /// Has the package call doSave when it is saved, also when another manager's doSave calls this. A save
  /// that succeeds makes the manager clean. Throws InvalidState when the package is gone.
  void markAsDirty();
  bool isDirty() const { return dirty_; }

  /// Throws InvalidState when the package is gone.
  Package& getPackage() const;

 protected:
  /// `startsDirty`: whether doSave is to run at the next save even if nothing changes until then.
  DataManager(Package& package, bool startsDirty);

 private:
  friend class detail::ManagerRegistry;

  std::shared_ptr<detail::ManagerRegistry> registry_;
  // Mutable for managers that load at the first use of a const operation.
  mutable bool loaded_ = false;
  mutable bool dirty_ = false;
};

}  // namespace opc::model
