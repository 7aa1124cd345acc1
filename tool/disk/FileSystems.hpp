// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "cli/Errors.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/FileSystem.hpp"

/// Access of the commands to a package's file system.
namespace ztpkg {

using opc::model::AccessMode;

/// The path at which a package is opened for reading: of standard input for "-".
std::u16string packagePath(std::string const& argument);

/// Opens a package; the text is the user's. `force` also opens a file for writing that may not be written.
std::unique_ptr<opc::model::Package> openPackage(std::string const& path, AccessMode mode = AccessMode::ReadOnly,
                                                 bool force = false);

bool hasFileSystem(opc::model::Package const& package);
/// Failure for a package without a file system; `path` is the user's text.
void requireFileSystem(opc::model::Package const& package, std::string const& path);

/// The same for a package that must have a file system; Failure if it has none.
std::unique_ptr<opc::model::Package> openFileSystem(std::string const& path, AccessMode mode = AccessMode::ReadOnly,
                                                    bool force = false);

/// Reads the manifest. Reports of its faults name the package; `path` is the user's text.
void load(opc::ztservices::FileSystemManager const& manager, std::string const& path);

/// The path in a package that the user means: adds a missing leading slash, drops slashes at the end.
std::u16string entryPath(std::string const& argument);

/// The tidied path that a new entry is to have, empty for the root. A usage Failure, which names the argument, for a
/// backslash.
std::u16string newEntryPath(std::string const& argument, std::string const& name);

bool hasEntry(opc::ztservices::FileSystemManager const& manager, std::string const& argument);

/// The entry at the path that the user means; Failure if there is none.
opc::ztservices::FileSystemEntry findEntry(opc::ztservices::FileSystemManager const& manager,
                                           std::string const& argument);

/// Removes an entry of any kind with everything below it.
void removeEntry(opc::ztservices::FileSystemManager& manager, opc::ztservices::FileSystemEntry const& entry);

/// Failure if the contents of a file are encrypted and the manager has no key.
void throwIfKeyIsMissing(opc::ztservices::FileSystemManager const& manager,
                         opc::ztservices::FileSystemEntry const& file);

/// The report of contents that do not authenticate with the key.
Report cannotDecrypt(std::string const& what, std::u16string const& item);

}  // namespace ztpkg
