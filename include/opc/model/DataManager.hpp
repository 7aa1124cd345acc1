// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/model/Package.hpp"

namespace opc::model {

class ManagerRegistry;  // of the library alone

/// Base of the managers that keep a service's data in parts of one package. A manager is bound to its package for life
/// and borrows it. It registers itself when it is constructed and unregisters when it is destroyed; Package::save()
/// calls dirty managers in the order of construction. No destructor saves. One thread at a time uses a manager together
/// with its package.
///
/// A derived class overrides the four operations below and calls load() first in each operation that needs the data,
/// and markAsDirty() after each change. When the package is destroyed first, the manager can only be destroyed or asked
/// for what it has in memory.
class ZT_API DataManager {
 public:
  virtual ~DataManager();
  DataManager(DataManager const&) = delete;
  DataManager& operator=(DataManager const&) = delete;

 protected:
  /// Reads the manager's parts. It starts from empty state, because load() calls it again after it threw.
  virtual void doLoad() = 0;
  /// Writes the manager's parts and closes their streams. It may change other managers, but must not save the package
  /// (InvalidState). What it throws ends the save; the package's file is then unchanged and the manager still dirty.
  virtual void doSave() = 0;
  /// See getManagedPartNames() and getManagedRelationshipTypes().
  virtual std::vector<std::u16string> doGetManagedPartNames() const = 0;
  virtual std::vector<std::u16string> doGetManagedRelationshipTypes() const = 0;

 public:
  /// The names of the parts and the types of the package relationships that the manager owns; other code leaves these
  /// alone.
  std::vector<std::u16string> getManagedPartNames() const { return doGetManagedPartNames(); }
  std::vector<std::u16string> getManagedRelationshipTypes() const { return doGetManagedRelationshipTypes(); }

  /// Calls doLoad until it has succeeded once; afterwards does nothing. Does nothing within doLoad either. Throws what
  /// doLoad throws.
  void load();

  /// Makes the next save of the package call doSave; called from another manager's doSave, the save that is under way.
  /// A successful save makes the manager clean; saveToBytes() does not. Throws InvalidState when the package is gone.
  void markAsDirty();
  bool isDirty() const { return dirty_; }

  /// The package that the manager is bound to. Throws InvalidState when it is gone.
  Package& getPackage() const;

 protected:
  /// Binds and registers the manager. `startsDirty`: the next save calls doSave even if nothing changes until then.
  DataManager(Package& package, bool startsDirty);

  /// A number that all managers of the package share under a name of their choice, zero at first. Managers that keep
  /// copies of the same parts count their saves in it, and so notice the saves of others.
  std::uint64_t& sharedCount(std::u16string const& name) const;

 private:
  friend class ManagerRegistry;

  std::shared_ptr<ManagerRegistry> registry_;
  // Mutable for managers that load at the first use of a const operation.
  mutable bool loaded_ = false;
  mutable bool loading_ = false;
  mutable bool dirty_ = false;
};

}  // namespace opc::model
