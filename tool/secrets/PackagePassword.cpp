// SPDX-License-Identifier: Apache-2.0
#include "secrets/PackagePassword.hpp"

#include <exception>
#include <stdexcept>
#include <utility>

#include "cli/Errors.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"

namespace ztpkg {
namespace {

using opc::model::RelationshipSelector;
using opc::ztservices::CipherDataManager;
using opc::ztservices::CipherEntry;

// Packages do not store the number: it is part of the format (docs/formats.md).
constexpr int kIterations = 600'000;
constexpr int kDerivedBytes = 32;

RelationshipSelector selector() {
  return {opc::model::URI(u"/"), opc::model::RelationshipSelectorType::ByType,
          opc::ztservices::FileSystemManager::getRelationshipType()};
}

[[noreturn]] void throwFaultOfCipherData(std::string const& path) {
  std::u16string const name = fromArgument(path);
  Report report = describe(std::current_exception(), name).front();
  report.message = "the cipher data of " + shown(name) + ": " + report.message;
  throw Failure(std::move(report));
}

}  // namespace

NewPasswordKey::NewPasswordKey(Password const& password)
    : salt_(CipherDataManager::generateRandomSalt()),
      iv_(CipherDataManager::generateRandomInitVector()),
      hash_(CipherDataManager::derivePasswordHash(password.text(), salt_, iv_, kIterations, kDerivedBytes)),
      key_(CipherDataManager::deriveEncryptionKey(password.text(), salt_, iv_, kIterations, kDerivedBytes)) {}

void NewPasswordKey::record(CipherDataManager& cipherData) const {
  cipherData.addCipherEntry(selector(), hash_, salt_, iv_);
}

bool hasPassword(opc::model::Package& package, std::string const& path) {
  try {
    return CipherDataManager(package).hasCipherEntry(selector());
  } catch (opc::Exception const&) {
    throwFaultOfCipherData(path);
  }
}

// The same message as for damaged contents: a difference would help an attacker.
std::unique_ptr<Secret const> keyOfPassword(opc::model::Package& package, std::string const& path,
                                            Password const& password) {
  try {
    CipherEntry const entry = CipherDataManager(package).getCipherEntry(selector());
    return std::make_unique<Secret const>(CipherDataManager::deriveDecryptionKey(
        password.text(), entry.getSalt(), entry.getHash(), entry.getIV(), kIterations, kDerivedBytes));
  } catch (opc::Exception const&) {
    throwFaultOfCipherData(path);
  } catch (std::runtime_error const&) {
    std::u16string const name = fromArgument(path);
    throw Failure(cannotDecrypt("the file system of " + shown(name), name));
  }
}

}  // namespace ztpkg
