// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "opc/ztservices/FileSystem.hpp"
#include "secrets/Keys.hpp"
#include "secrets/PasswordInput.hpp"

namespace ztpkg {

/// Where the key of a package comes from; at most one of the two is given.
struct KeyOptions {
  std::string file = {};  ///< empty for none
  PasswordOptions password = {};

  bool isGiven() const { return !file.empty() || password.isGiven(); }
};

/// The key of a package's file system. Where the options say nothing and the package has a password, it is asked for on
/// the terminal; null where there is nothing to ask for. Throws Failure, for a wrong password too; `path` is the user's
/// text for the package.
std::unique_ptr<Secret const> findKey(opc::ztservices::FileSystemManager const& manager, KeyOptions const& options,
                                      std::string const& path);

/// Lets the manager read what is encrypted where there is a key, which it returns.
std::unique_ptr<Secret const> enableDecryption(opc::ztservices::FileSystemManager& manager, KeyOptions const& options,
                                               std::string const& path);

/// An encrypted package that is changed stays encrypted, under random initialization vectors: a sequence that was begun
/// elsewhere cannot be continued. A plain one stays plain, so that none holds in the clear what its user believes
/// encrypted: Failure where a key is given for it.
void keepEncryption(opc::ztservices::FileSystemManager& manager, Secret const* key, KeyOptions const& options,
                    std::string const& path);

}  // namespace ztpkg
