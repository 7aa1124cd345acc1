// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "opc/model/Package.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "secrets/PasswordInput.hpp"
#include "secrets/Secrets.hpp"

/// The keys of encrypted file systems. They come from files and passwords, never from arguments, which every user of
/// the machine sees. In each function `path` is the user's text for the package.
namespace ztpkg {

inline constexpr std::size_t kKeyBytes = 32;

/// What was read for a key: a command that begins again neither asks twice nor reads a pipe twice.
struct KeyMemory {
  std::unique_ptr<Secret const> keyOfFile;
  std::unique_ptr<Password const> password;
  bool keeps = false;  ///< the command may need them again; otherwise a password goes once its key is derived
};

/// Where the key of a package comes from; at most one of the first two is set.
struct KeyOptions {
  std::string file = {};  ///< empty for none
  PasswordOptions password = {};
  bool allowCostly = false;  ///< derive from the password whatever the package says that it costs
  bool compress = false;     ///< contents before they are encrypted
  std::shared_ptr<KeyMemory> memory = std::make_shared<KeyMemory>();

  bool isGiven() const { return !file.empty() || password.isGiven(); }
};

/// How the contents of a new file system are encrypted.
struct NewKeyOptions : KeyOptions {
  std::optional<unsigned> passwordCost = {};  ///< the base-2 logarithm of scrypt's N

  opc::ztservices::Compression compression() const {
    return compress ? opc::ztservices::Compression::Deflate : opc::ztservices::Compression::None;
  }
};

/// The key in a file, which the user names: kKeyBytes bytes, or twice as many hexadecimal digits and perhaps the end of
/// a line. Throws Failure. The process leaves no core file from then on.
std::unique_ptr<Secret const> readKey(std::string const& file);

/// The bytes of an even number of hexadecimal digits; empty for any other text.
std::vector<unsigned char> fromHex(std::string_view digits);

/// The key of a password in a new package, by scrypt; salt and initialization vector are random.
class NewPasswordKey {
 public:
  /// Without a cost the library's default.
  explicit NewPasswordKey(Password const& password, std::optional<unsigned> cost = {});

  Secret const& key() const { return key_; }
  /// What derives the key again.
  opc::ztservices::CipherEntry entry() const;
  /// Stores it.
  void record(opc::ztservices::CipherDataManager& cipherData) const;

 private:
  static Password const& checked(Password const& password);

  std::u16string salt_;
  std::vector<unsigned char> iv_;
  std::vector<unsigned char> hash_;
  Secret key_;
};

/// Whether the package has a cipher entry for its file system. This and the next throw Failure for invalid cipher data.
bool hasPassword(opc::model::Package& package, std::string const& path);

/// Throws Failure where deriving a key by the cipher entry would cost more than the library allows.
void checkPasswordCost(opc::model::Package& package, std::string const& path);

/// The key of a package that has a password, whatever deriving it costs; Failure for a wrong password.
std::unique_ptr<Secret const> keyOfPassword(opc::model::Package& package, std::string const& path,
                                            Password const& password);

/// The key of a package's file system. If the options name none and the package has a password, asks for it on the
/// terminal; null if the package needs none. Throws Failure, also for a wrong password.
std::unique_ptr<Secret const> findKey(opc::ztservices::FileSystemManager const& manager, KeyOptions const& options,
                                      std::string const& path);

/// Enables decryption if there is a key, and returns the key.
std::unique_ptr<Secret const> enableDecryption(opc::ztservices::FileSystemManager& manager, KeyOptions const& options,
                                               std::string const& path);

/// An encrypted package stays encrypted when it is changed, with random initialization vectors: a counter from
/// elsewhere cannot be continued. A plain package stays plain; a key for it is a Failure, because its user believes
/// that the contents are encrypted.
void keepEncryption(opc::ztservices::FileSystemManager& manager, Secret const* key, KeyOptions const& options,
                    std::string const& path);

}  // namespace ztpkg
