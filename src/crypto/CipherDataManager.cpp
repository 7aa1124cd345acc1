// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "crypto/Bytes.hpp"
#include "crypto/CipherDataXml.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoRandom.hpp"
#include "crypto/Encodings.hpp"
#include "crypto/PasswordKeys.hpp"
#include "crypto/PasswordSalt.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "text/OpaqueString.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::CryptoEngine;
using foundation::crypto::isEqualSecret;
using foundation::crypto::PasswordKeys;
using foundation::crypto::SecretBytes;
using foundation::crypto::utils::CouldNotDecrypt;
using model::RelationshipSelector;
using Bytes = std::vector<unsigned char>;

using cipher_data::kPart;

CryptoEngine engine() { return CryptoEngine(std::make_shared<foundation::crypto::cryptopp::CryptoProvider>()); }

Bytes randomBlock() {
  return engine().createDefaultCryptoPRNG({}).generateByteArray(engine().getAESBlockSizeInBytes());
}

Bytes handedOut(SecretBytes const& secret) { return {secret.begin(), secret.end()}; }

/// A text that is wiped when it goes.
struct WipedText {
  explicit WipedText(std::u16string secret) : text(std::move(secret)) {}
  ~WipedText() { foundation::crypto::wipe(text.data(), text.capacity() * sizeof(char16_t)); }
  WipedText(WipedText const&) = delete;
  WipedText& operator=(WipedText const&) = delete;

  std::u16string text;
};

PasswordKeys keysOf(std::u16string const& password, std::u16string const& salt, Bytes const& iv, int keyBytes) {
  constexpr int kIterations = 600'000;  // of packages whose entries name no derivation
  auto const cost = costOfSalt(salt);
  return cost ? PasswordKeys(password, salt, iv, *cost, keyBytes)
              : PasswordKeys(password, salt, iv, kIterations, keyBytes);
}

void checkInput(Bytes const& hash, std::u16string const& salt, Bytes const& iv) {
  if (hash.empty()) throw Exception(cipher_messages::kHashIsEmpty);
  if (salt.empty()) throw Exception(cipher_messages::kSaltIsEmpty);
  if (iv.empty()) throw Exception(cipher_messages::kIVIsEmpty);
}

// Found out now, not when the package is saved.
CipherEntry makeEntry(RelationshipSelector const& selector, Bytes const& hash, std::u16string const& salt,
                      Bytes const& iv) {
  try {
    model::requireXmlCharacters(selector.getSourceURI().toString());
    model::requireXmlCharacters(selector.getSelectionCriteria());
    model::requireXmlCharacters(salt);
  } catch (model::InvalidXMLDocument const& error) {
    throw InvalidCipherData(cipher_messages::kCouldNotCreate + std::string(error.what()));
  }
  return {selector, hash, salt, iv};
}

/// Null where there is no entry.
bool isSame(CipherEntry const* a, CipherEntry const* b) {
  if (!a || !b) return a == b;
  return a->getHash() == b->getHash() && a->getSalt() == b->getSalt() && a->getIV() == b->getIV();
}

}  // namespace

bool CipherDataManager::SelectorOrder::operator()(RelationshipSelector const& a, RelationshipSelector const& b) const {
  auto const key = [](RelationshipSelector const& selector) {
    return std::tuple<std::u16string const&, model::RelationshipSelectorType, std::u16string const&>(
        selector.getSourceURI().toString(), selector.getSelectorType(), selector.getSelectionCriteria());
  };
  return key(a) < key(b);
}

CipherDataManager::CipherDataManager(model::Package& package)
    : DataManager(package, false), xml_(std::make_unique<CipherDataXml>()) {}

CipherDataManager::~CipherDataManager() = default;

void CipherDataManager::addCipherEntry(RelationshipSelector const& selector, Bytes const& hash,
                                       std::u16string const& salt, Bytes const& iv) {
  load();
  checkInput(hash, salt, iv);
  CipherEntry entry = makeEntry(selector, hash, salt, iv);
  if (entries_.contains(selector)) throw InvalidCipherData(cipher_messages::kIsPresent);
  change(selector);
  entries_.emplace(selector, std::move(entry));
}

void CipherDataManager::deleteCipherEntry(RelationshipSelector const& selector) {
  auto const found = find(selector);
  change(selector);
  entries_.erase(found);
}

/// Before the change.
void CipherDataManager::change(RelationshipSelector const& selector) {
  markAsDirty();
  auto const entry = entries_.find(selector);
  former_.try_emplace(selector, entry == entries_.end() ? std::nullopt : std::optional(entry->second));
}

CipherEntry CipherDataManager::getCipherEntry(RelationshipSelector const& selector) { return find(selector)->second; }

bool CipherDataManager::hasCipherEntry(RelationshipSelector const& selector) {
  load();
  return entries_.contains(selector);
}

CipherDataManager::Entries::iterator CipherDataManager::find(RelationshipSelector const& selector) {
  load();
  auto const found = entries_.find(selector);
  if (found == entries_.end()) throw CipherEntryNotFound(cipher_messages::kNotFound);
  return found;
}

std::u16string CipherDataManager::generateRandomSalt() {
  return toString(foundation::crypto::utils::hexEncode(randomBlock()));
}

Bytes CipherDataManager::generateRandomInitVector() { return randomBlock(); }

Bytes CipherDataManager::deriveEncryptionKey(std::u16string const& password, std::u16string const& salt,
                                             Bytes const& iv, int iterations, int keyBytes) {
  return handedOut(engine().getEncryptionKeyFromPassword(password, salt, iv, iterations, keyBytes));
}

Bytes CipherDataManager::derivePasswordHash(std::u16string const& password, std::u16string const& salt, Bytes const& iv,
                                            int iterations, int keyBytes) {
  return engine().getPasswordHash(password, salt, iv, iterations, keyBytes);
}

Bytes CipherDataManager::deriveDecryptionKey(std::u16string const& password, std::u16string const& salt,
                                             Bytes const& hash, Bytes const& iv, int iterations, int keyBytes) {
  return handedOut(engine().getDecryptionKeyFromPassword(password, salt, hash, iv, iterations, keyBytes));
}

std::u16string CipherDataManager::generateRandomSalt(PasswordCost const& cost) {
  std::u16string salt = saltWithCost({cost.logN, cost.blockSize, cost.parallelism}, generateRandomSalt());
  costOfSalt(salt);  // throws for a cost that is not possible
  return salt;
}

std::u16string CipherDataManager::normalizePassword(std::u16string const& password) {
  return unicode::toOpaqueString(password);
}

std::string CipherDataManager::describeExcessiveCost(std::u16string const& salt) {
  auto const cost = costOfSalt(salt);
  return cost ? describeExcess(*cost) : std::string();
}

PasswordKey CipherDataManager::derivePasswordKey(std::u16string const& password, std::u16string const& salt,
                                                 Bytes const& iv, int keyBytes) {
  PasswordKeys const keys = keysOf(WipedText(normalizePassword(password)).text, salt, iv, keyBytes);
  return {handedOut(keys.key()), handedOut(keys.verifier())};
}

Bytes CipherDataManager::derivePasswordKey(std::u16string const& password, CipherEntry const& entry, int keyBytes,
                                           CostRule rule) {
  std::string const excess = rule == CostRule::Bounded ? describeExcessiveCost(entry.getSalt()) : std::string();
  if (!excess.empty()) throw CouldNotDecrypt(excess);
  WipedText const normal(normalizePassword(password));
  PasswordKeys const keys = keysOf(normal.text, entry.getSalt(), entry.getIV(), keyBytes);
  if (isEqualSecret(keys.verifier(), entry.getHash())) return handedOut(keys.key());
  if (normal.text == password) throw CouldNotDecrypt();
  PasswordKeys const given = keysOf(password, entry.getSalt(), entry.getIV(), keyBytes);
  if (!isEqualSecret(given.verifier(), entry.getHash())) throw CouldNotDecrypt();
  return handedOut(given.key());
}

void CipherDataManager::doLoad() {
  entries_.clear();
  loadedSave_ = sharedCount(std::u16string(kPart.relationshipType));
  entries_ = read();
}

CipherDataManager::Entries CipherDataManager::read() {
  Entries loaded;
  auto const part = kPart.find(getPackage());
  if (!part) return loaded;
  for (CipherEntry& entry : xml_->read(*part->getInputStream())) {
    RelationshipSelector const selector = entry.getRelationshipSelector();
    if (!loaded.emplace(selector, std::move(entry)).second) throw InvalidCipherData(cipher_messages::kIsRepeated);
  }
  return loaded;
}

/// Makes the changes of this manager to the entries that others have saved since it loaded its own: an entry that is
/// lost takes the key of its content with it.
void CipherDataManager::adopt(Entries others) {
  for (auto const& [selector, former] : former_) {
    auto const theirs = others.find(selector);
    if (!isSame(theirs == others.end() ? nullptr : &theirs->second, former ? &*former : nullptr))
      throw InvalidCipherData(cipher_messages::kIsChanged);
    others.erase(selector);
    auto const ours = entries_.find(selector);
    if (ours != entries_.end()) others.insert(*ours);
  }
  entries_ = std::move(others);
}

// Loads first: a manager that was marked dirty but never used has nothing else to save. The document is made
// before the part is touched; the schema wants one entry or more.
void CipherDataManager::doSave() {
  load();
  std::uint64_t& saves = sharedCount(std::u16string(kPart.relationshipType));
  if (saves != loadedSave_) adopt(read());
  std::vector<CipherEntry> entries;
  for (auto const& [selector, entry] : entries_) entries.push_back(entry);
  if (entries.empty())
    kPart.remove(getPackage());
  else
    kPart.save(getPackage(), xml_->write(entries));
  former_.clear();
  loadedSave_ = ++saves;
}

std::vector<std::u16string> CipherDataManager::doGetManagedPartNames() const { return {std::u16string(kPart.name)}; }
std::vector<std::u16string> CipherDataManager::doGetManagedRelationshipTypes() const {
  return {std::u16string(kPart.relationshipType)};
}

}  // namespace opc::ztservices
