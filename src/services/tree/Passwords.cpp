// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Passwords.hpp"

#include <utility>
#include <vector>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoErrors.hpp"
#include "opc/ztservices/Rekey.hpp"
#include "services/tree/Messages.hpp"

namespace opc::ztservices {
namespace {

constexpr int kKeyBytes = 32;

model::RelationshipSelector selectorOfFileSystem() {
  return {model::URI(u"/"), model::RelationshipSelectorType::ByType, FileSystemManager::getRelationshipType()};
}

/// A key that is wiped when it goes.
struct WipedKey {
  std::vector<unsigned char> bytes;

  explicit WipedKey(std::vector<unsigned char> key) : bytes(std::move(key)) {}
  ~WipedKey() { foundation::crypto::wipe(bytes.data(), bytes.size()); }
  WipedKey(WipedKey const&) = delete;
  WipedKey& operator=(WipedKey const&) = delete;
};

/// A new key for a password, and what derives it again.
class NewKey {
 public:
  NewKey(std::u16string const& password, PasswordCost const& cost)
      : salt_(CipherDataManager::generateRandomSalt(cost)),
        iv_(CipherDataManager::generateRandomInitVector()),
        derived_(CipherDataManager::derivePasswordKey(password, salt_, iv_, kKeyBytes)),
        key_(std::move(derived_.key)) {}

  std::vector<unsigned char> const& bytes() const { return key_.bytes; }
  CipherEntry entry() const { return {selectorOfFileSystem(), derived_.hash, salt_, iv_}; }

 private:
  std::u16string salt_;
  std::vector<unsigned char> iv_;
  PasswordKey derived_;
  WipedKey key_;
};

/// Writes the entry into the package's parts at once, so that no manager must live until the save.
class EntryWriter : public CipherDataManager {
 public:
  using CipherDataManager::CipherDataManager;

  void replace(CipherEntry const& entry) {
    model::RelationshipSelector const& selector = entry.getRelationshipSelector();
    if (hasCipherEntry(selector)) deleteCipherEntry(selector);
    addCipherEntry(selector, entry.getHash(), entry.getSalt(), entry.getIV());
    doSave();
  }
};

/// The bounds are checked first, so that CouldNotDecrypt means a wrong password alone.
std::vector<unsigned char> keyOfPassword(model::Package& package, std::u16string const& password) {
  CipherEntry const entry = CipherDataManager(package).getCipherEntry(selectorOfFileSystem());
  std::string const excess = CipherDataManager::describeExcessiveCost(entry.getSalt());
  if (!excess.empty()) throw Exception(excess);
  try {
    return CipherDataManager::derivePasswordKey(password, entry, kKeyBytes);
  } catch (foundation::crypto::utils::CouldNotDecrypt const&) {
    throw WrongPassword(messages::kWrongPassword);
  }
}

}  // namespace

void protectWithPassword(FileSystemManager& files, std::u16string const& password, PasswordCost const& cost) {
  if (files.isEncrypted() || files.isNonEncrypted()) throw CannotChangeEncryption(messages::kHasFileSystem);
  bool hasFiles = false;  // that no save has written yet
  files.visitLeafs([&](FileSystemEntry const& entry) { hasFiles = hasFiles || entry.isFile(); });
  if (hasFiles) throw CannotChangeEncryption(messages::kHasFileSystem);
  NewKey const key(password, cost);
  EntryWriter(files.getPackage()).replace(key.entry());
  files.enableDecryption(key.bytes());
  files.enableEncryption(key.bytes(), IVMode::Random, {});
}

void unlockWithPassword(FileSystemManager& files, std::u16string const& password) {
  WipedKey const key(keyOfPassword(files.getPackage(), password));
  files.enableDecryption(key.bytes);
  if (!files.getPackage().isReadOnly()) files.enableEncryption(key.bytes, IVMode::Random, {});
}

void protectWithPassword(std::u16string const& package, std::u16string const& password, PasswordCost const& cost) {
  auto const opened = model::Package::open(package, model::AccessMode::ReadOnly);
  if (FileSystemManager(*opened).isEncrypted()) throw CannotChangeEncryption(messages::kIsEncrypted);
  NewKey const key(password, cost);
  rekeyPackage(package, package, {.newKey = &key.bytes(), .passwordEntry = key.entry()});
}

void removePassword(std::u16string const& package, std::u16string const& password) {
  auto const opened = model::Package::open(package, model::AccessMode::ReadOnly);
  WipedKey const key(keyOfPassword(*opened, password));
  rekeyPackage(package, package, {.oldKey = &key.bytes});
}

}  // namespace opc::ztservices
