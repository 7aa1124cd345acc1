// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "Secrets.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/CipherData.hpp"

namespace ztpkg {

/// The password that protects the file system of a package: its cipher entry, and the key that belongs to it. Keys
/// have 32 bytes, and are the caller's to wipe. It must live until the package is saved.
class PackagePassword {
 public:
  explicit PackagePassword(opc::model::Package& package);

  /// Whether the package has a cipher entry for its file system. Throws what CipherDataManager throws for cipher
  /// data that breaks the rules.
  bool isSet();
  /// The key for a new package, into which the entry goes with the next save; salt and IV are random.
  std::vector<unsigned char> set(Password const& password);
  /// The key of a package whose password is set. Throws Failure for another password.
  std::vector<unsigned char> check(Password const& password);

 private:
  opc::ztservices::CipherDataManager cipherData_;
};

}  // namespace ztpkg
