// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "opc/Export.hpp"
#include "opc/model/DataManager.hpp"
#include "opc/model/Relationship.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {

class CipherDataXml;

/// How the key of one protected content was derived from its password: the salt and the IV of the derivation, and a
/// hash that shows whether a password is right but nothing about the key. None of it is secret. A value.
class ZT_API CipherEntry {
 public:
  CipherEntry(model::RelationshipSelector selector, std::vector<unsigned char> hash, std::u16string salt,
              std::vector<unsigned char> iv)
      : relationshipSelector_(std::move(selector)),
        hash_(std::move(hash)),
        salt_(std::move(salt)),
        iv_(std::move(iv)) {}

  /// Selects the content that the entry belongs to.
  model::RelationshipSelector const& getRelationshipSelector() const { return relationshipSelector_; }
  std::vector<unsigned char> const& getHash() const { return hash_; }
  std::u16string const& getSalt() const { return salt_; }
  std::vector<unsigned char> const& getIV() const { return iv_; }

 private:
  model::RelationshipSelector relationshipSelector_;
  std::vector<unsigned char> hash_;
  std::u16string salt_;
  std::vector<unsigned char> iv_;
};

/// The cost of deriving a key from a password by scrypt (RFC 7914). It takes 128 * blockSize * 2^logN bytes of memory,
/// and a time that grows with all three. The default takes 128 MiB and about half a second.
struct PasswordCost {
  unsigned logN = 17;
  unsigned blockSize = 8;
  unsigned parallelism = 1;
};

/// Whether a package may ask for a derivation of any cost, or of at most 1 GiB and about 60 s of this machine's time.
enum class CostRule { Bounded, Any };

/// The key of a password, and the hash to store in the entry of content that is encrypted with it. The key is secret;
/// the owner wipes it.
struct PasswordKey {
  std::vector<unsigned char> key;
  std::vector<unsigned char> hash;
};

/// Keeps the cipher entries of a package in a part of their own, at most one for each selector, and derives keys from
/// passwords by the entries' values.
///
/// Every operation on entries, and saving, loads the part first, until a load has succeeded. Loading throws
/// model::InvalidXMLDocument, with the parser's message, for what the schema of the part forbids,
/// model::InvalidPartContent for what an entry lacks and InvalidCipherData for two entries with one selector; the
/// next operation repeats a load that failed. Saving writes the entries into the part that the relationship leads to,
/// in order of source, kind and criteria of their selectors, so that equal entries give equal bytes; without entries it
/// deletes part and relationship. The manager borrows the package and must not outlive it. One thread at a time.
///
/// Several managers of one package do not see each other's changes, and a save keeps the changes of all. Where two have
/// changed the entry of one selector, the save throws InvalidCipherData until the later one is destroyed.
class ZT_API CipherDataManager : public model::DataManager {
 public:
  explicit CipherDataManager(model::Package& package);
  ~CipherDataManager() override;

  /// Adds an entry. Throws opc::Exception for an empty hash, salt or IV, and InvalidCipherData where the selector has
  /// an entry, which stays as it is, or where XML cannot carry one of the texts.
  void addCipherEntry(model::RelationshipSelector const& selector, std::vector<unsigned char> const& hash,
                      std::u16string const& salt, std::vector<unsigned char> const& iv);
  /// This and getCipherEntry throw CipherEntryNotFound where the selector has no entry.
  void deleteCipherEntry(model::RelationshipSelector const& selector);
  CipherEntry getCipherEntry(model::RelationshipSelector const& selector);
  bool hasCipherEntry(model::RelationshipSelector const& selector);

  /// 16 bytes from the cryptographic generator; those of the salt as 32 hexadecimal digits. Throw opc::Exception where
  /// the generator fails.
  static std::u16string generateRandomSalt();
  static std::vector<unsigned char> generateRandomInitVector();

  /// The key of a password: PBKDF2-HMAC-SHA256 of its UTF-8 form, salted with the salt's UTF-8 form and the IV,
  /// expanded to `keyBytes` bytes (1 to 8160). Iterations may be 1 to 10,000,000; salt and IV together have 8 to
  /// 1024 bytes. Anything else, and text that is not valid UTF-16, throws opc::Exception before the work begins.
  /// The result is secret; the caller wipes it.
  static std::vector<unsigned char> deriveEncryptionKey(std::u16string const& password, std::u16string const& salt,
                                                        std::vector<unsigned char> const& iv, int iterations,
                                                        int keyBytes);
  /// The hash to store in the entry of content that is encrypted with that key.
  static std::vector<unsigned char> derivePasswordHash(std::u16string const& password, std::u16string const& salt,
                                                       std::vector<unsigned char> const& iv, int iterations,
                                                       int keyBytes);
  /// The same key, provided that `hash` was made of the password. For any other password it throws std::runtime_error
  /// ("The key is wrong or the content is damaged"), after a comparison in constant time.
  static std::vector<unsigned char> deriveDecryptionKey(std::u16string const& password, std::u16string const& salt,
                                                        std::vector<unsigned char> const& hash,
                                                        std::vector<unsigned char> const& iv, int iterations,
                                                        int keyBytes);

  /// A salt that names scrypt and its cost, "$scrypt$ln=17,r=8,p=1$" and 32 random digits. Throws opc::Exception for a
  /// cost that scrypt cannot have.
  static std::u16string generateRandomSalt(PasswordCost const& cost);
  /// The password as it is before a key is derived from it: without a byte-order mark at its head, with a space in
  /// place of every other Unicode space, in Normalization Form C (RFC 8265, OpaqueString). Throws opc::Exception for
  /// text that is not valid UTF-16. The result is secret; the caller wipes it.
  static std::u16string normalizePassword(std::u16string const& password);
  /// Why deriving a key with this salt is out of bounds (CostRule::Bounded), in a sentence without its end; empty where
  /// it is not. Throws InvalidCipherData for a salt that names another derivation or whose cost cannot be read.
  static std::string describeExcessiveCost(std::u16string const& salt);

  /// The key and the hash of a password, normalized, derived once. The salt names scrypt and its cost, or no
  /// derivation; then it is PBKDF2-HMAC-SHA256 with 600,000 iterations. Throws as the functions above and below.
  static PasswordKey derivePasswordKey(std::u16string const& password, std::u16string const& salt,
                                       std::vector<unsigned char> const& iv, int keyBytes);
  /// The key of an entry for the password that its hash was made of. Where the password is not right as
  /// normalizePassword() returns it, it is tried as it is too: earlier versions did not normalize. Throws
  /// std::runtime_error for a wrong password ("The key is wrong or the content is damaged"), and for a cost out of
  /// bounds, naming it, before any work.
  static std::vector<unsigned char> derivePasswordKey(std::u16string const& password, CipherEntry const& entry,
                                                      int keyBytes, CostRule rule = CostRule::Bounded);

 protected:
  void doLoad() override;
  void doSave() override;
  std::vector<std::u16string> doGetManagedPartNames() const override;
  std::vector<std::u16string> doGetManagedRelationshipTypes() const override;

 private:
  struct SelectorOrder {
    bool operator()(model::RelationshipSelector const& a, model::RelationshipSelector const& b) const;
  };
  using Entries = std::map<model::RelationshipSelector, CipherEntry, SelectorOrder>;

  Entries::iterator find(model::RelationshipSelector const& selector);
  Entries read();
  void change(model::RelationshipSelector const& selector);
  void adopt(Entries others);

  Entries entries_;
  std::map<model::RelationshipSelector, std::optional<CipherEntry>, SelectorOrder> former_{};  // of those changed since
  std::uint64_t loadedSave_ = 0;  // the package's count of saves that the entries include
  std::unique_ptr<CipherDataXml> xml_;
};

}  // namespace opc::ztservices
