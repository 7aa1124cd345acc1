// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "opc/model/Package.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "secrets/Keys.hpp"
#include "secrets/Secrets.hpp"

/// The password that protects the file system of a package, and its key of 32 bytes.
namespace ztpkg {

/// The key that a password comes to in a new package; salt and IV are random.
class NewPasswordKey {
 public:
  explicit NewPasswordKey(Password const& password);

  Secret const& key() const { return key_; }
  /// Adds what is needed to find the key again.
  void record(opc::ztservices::CipherDataManager& cipherData) const;

 private:
  std::u16string salt_;
  std::vector<unsigned char> iv_;
  std::vector<unsigned char> hash_;
  Secret key_;
};

/// Whether the package has a cipher entry for its file system. This and the next throw Failure for cipher data that
/// breaks the rules; `path` is the user's text for the package.
bool hasPassword(opc::model::Package& package, std::string const& path);

/// The key of a package that has a password; Failure where it is another one.
std::unique_ptr<Secret const> keyOfPassword(opc::model::Package& package, std::string const& path,
                                            Password const& password);

}  // namespace ztpkg
