// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "commands/Commands.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/ztservices/FileSystem.hpp"

/// The steps of the commands that change a package in place.
namespace ztpkg {

/// Makes the change, and makes it again, on the package as it is then, while other processes save the package
/// meanwhile. Throws Failure (package-busy) when that lasts longer than the options allow. What the change reads from
/// standard input or asks of the user must be kept from the first time.
void changePackage(ChangeOptions const& options, std::function<void()> const& change);

/// Who may use a package's file, before a change by --force, which keeps of it what the process may set.
class FormerProtection {
 public:
  explicit FormerProtection(std::string const& package);

  /// Warns of another owner, group or mode than before.
  void warnIfChanged() const;

 private:
  std::string package_;
  std::optional<struct stat> former_;  // absent without a file
};

/// The file system of a package, loaded and ready to be changed: an encrypted one stays encrypted.
class EditedFileSystem {
 public:
  /// What to do with a package that has no file system: throw Failure, or give it an empty one that is not encrypted.
  enum class Missing { Refuse, Create };

  /// The selector, borrowed, chooses what is added from; null for the disk.
  EditedFileSystem(ChangeOptions const& options, KeyOptions const& key, opc::FileSystemOpsSelector* selector = nullptr,
                   Missing missing = Missing::Refuse);

  opc::ztservices::FileSystemManager& manager() { return *manager_; }
  /// Throws Interrupted after a signal.
  void save();

 private:
  std::unique_ptr<opc::model::Package> package_;
  std::unique_ptr<opc::ztservices::FileSystemManager> manager_;
  bool force_;
};

}  // namespace ztpkg
