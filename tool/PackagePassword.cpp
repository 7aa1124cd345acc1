// SPDX-License-Identifier: Apache-2.0
#include "PackagePassword.hpp"

#include <stdexcept>

#include "Errors.hpp"
#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {
namespace {

using opc::model::RelationshipSelector;
using opc::ztservices::CipherDataManager;
using opc::ztservices::CipherEntry;
using Bytes = std::vector<unsigned char>;

// Packages do not say how many there are: the number is part of the format (docs/formats.md).
constexpr int kIterations = 600'000;
constexpr int kKeyBytes = 32;

RelationshipSelector selector() {
  return {opc::model::URI(u"/"), opc::model::RelationshipSelectorType::ByType,
          opc::ztservices::FileSystemManager::getRelationshipType()};
}

}  // namespace

PackagePassword::PackagePassword(opc::model::Package& package) : cipherData_(package) {}

bool PackagePassword::isSet() { return cipherData_.hasCipherEntry(selector()); }

Bytes PackagePassword::set(Password const& password) {
  std::u16string const salt = CipherDataManager::generateRandomSalt();
  Bytes const iv = CipherDataManager::generateRandomInitVector();
  Bytes const hash = CipherDataManager::derivePasswordHash(password.text(), salt, iv, kIterations, kKeyBytes);
  cipherData_.addCipherEntry(selector(), hash, salt, iv);
  return CipherDataManager::deriveEncryptionKey(password.text(), salt, iv, kIterations, kKeyBytes);
}

// A wrong password is told as a damaged content is: an attacker learns nothing from the difference.
Bytes PackagePassword::check(Password const& password) {
  CipherEntry const entry = cipherData_.getCipherEntry(selector());
  try {
    return CipherDataManager::deriveDecryptionKey(password.text(), entry.getSalt(), entry.getHash(), entry.getIV(),
                                                  kIterations, kKeyBytes);
  } catch (std::runtime_error const& refusal) {
    throw Failure(Report{Exit::Key, "wrong-key", refusal.what(), {}});
  }
}

}  // namespace ztpkg
