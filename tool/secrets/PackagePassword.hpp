// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "opc/model/Package.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "secrets/Secrets.hpp"

/// The password that protects the file system of a package, and its key of 32 bytes.
namespace ztpkg {

/// The key of a password in a new package; salt and initialization vector are random.
class NewPasswordKey {
 public:
  explicit NewPasswordKey(Password const& password);

  Secret const& key() const { return key_; }
  /// Stores what derives the key again.
  void record(opc::ztservices::CipherDataManager& cipherData) const;

 private:
  std::u16string salt_;
  std::vector<unsigned char> iv_;
  std::vector<unsigned char> hash_;
  Secret key_;
};

/// Whether the package has a cipher entry for its file system. This and the next throw Failure for invalid cipher data;
/// `path` is the user's text for the package.
bool hasPassword(opc::model::Package& package, std::string const& path);

/// The key of a package that has a password; Failure for a wrong password.
std::unique_ptr<Secret const> keyOfPassword(opc::model::Package& package, std::string const& path,
                                            Password const& password);

}  // namespace ztpkg
