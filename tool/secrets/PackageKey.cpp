// SPDX-License-Identifier: Apache-2.0
#include "secrets/PackageKey.hpp"

#include <fcntl.h>

#include <cerrno>
#include <exception>
#include <stdexcept>
#include <utility>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/FileSystems.hpp"
#include "disk/OpenFile.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

using opc::model::RelationshipSelector;
using opc::ztservices::CipherDataManager;
using opc::ztservices::CipherEntry;
using opc::ztservices::FileSystemManager;

constexpr std::size_t kLongestFile = 2 * kKeyBytes + 2;  // digits and the end of a line

[[noreturn]] void throwCannotRead(std::u16string const& file) {
  boost::system::error_code const error(errno, boost::system::generic_category());
  throw Failure(diskReport("cannot-read", "cannot read", file, error));
}

// Without a stream, whose buffer would not be wiped.
SecretBytes contentsOf(std::u16string const& path) {
  OpenFile const file(path, O_RDONLY);
  if (!file.isOpen()) throwCannotRead(path);
  warnIfOthersMayRead(file, path, "key");
  SecretBytes bytes(kLongestFile + 1);
  ssize_t const size = file.read(bytes.data(), bytes.size());
  if (size < 0) throwCannotRead(path);
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

std::string_view withoutLineEnd(SecretBytes const& bytes) {
  std::string_view text(bytes.data(), bytes.size());
  if (text.ends_with('\n')) text.remove_suffix(1);
  if (text.ends_with('\r')) text.remove_suffix(1);
  return text;
}

int valueOf(char digit) { return opc::hexValue(static_cast<unsigned char>(digit)); }

constexpr int kDerivedBytes = kKeyBytes;

RelationshipSelector selector() {
  return {opc::model::URI(u"/"), opc::model::RelationshipSelectorType::ByType,
          FileSystemManager::getRelationshipType()};
}

[[noreturn]] void throwFaultOfCipherData(std::string const& path) {
  std::u16string const name = fromArgument(path);
  Report report = describe(std::current_exception(), name).front();
  report.message = "the cipher data of " + shown(name) + ": " + report.message;
  throw Failure(std::move(report));
}

[[noreturn]] void throwKeyRequired(std::string const& path, std::string const& what) {
  std::u16string const name = fromArgument(path);
  throw Failure(
      Report{Exit::Key, "key-required", "the file system of " + shown(name) + " is encrypted: " + what, name});
}

}  // namespace

std::vector<unsigned char> fromHex(std::string_view digits) {
  if (digits.size() % 2 != 0) return {};
  std::vector<unsigned char> bytes;
  bytes.reserve(digits.size() / 2);  // growing would leave copies behind
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    int const high = valueOf(digits[i]), low = valueOf(digits[i + 1]);
    if (high < 0 || low < 0) {
      wipe(bytes.data(), bytes.size());
      return {};
    }
    bytes.push_back(static_cast<unsigned char>(high << 4 | low));
  }
  return bytes;
}

std::unique_ptr<Secret const> readKey(std::string const& file) {
  leaveNoCoreFile();
  std::u16string const name = fromArgument(file);
  SecretBytes const read = contentsOf(name);
  std::string_view const text = withoutLineEnd(read);
  auto key = std::make_unique<Secret>();
  if (read.size() == kKeyBytes)
    key->set({read.begin(), read.end()});
  else if (text.size() == 2 * kKeyBytes)
    key->set(fromHex(text));
  if (key->bytes().size() == kKeyBytes) return key;
  std::string const message = shown(name) + " holds no key, which is 32 bytes or 64 hexadecimal digits";
  throw Failure(Report{Exit::Key, "bad-key", message, name});
}

// A byte-order mark at the head of a password file is no part of the password.
Password const& NewPasswordKey::checked(Password const& password) {
  if (password.text() == u"\uFEFF") throw Failure(Report{Exit::Key, "bad-password", "the password is empty", {}});
  return password;
}

NewPasswordKey::NewPasswordKey(Password const& password, std::optional<unsigned> cost)
    : salt_(CipherDataManager::generateRandomSalt({.logN = cost.value_or(opc::ztservices::PasswordCost().logN)})),
      iv_(CipherDataManager::generateRandomInitVector()) {
  auto derived = CipherDataManager::derivePasswordKey(checked(password).text(), salt_, iv_, kDerivedBytes);
  hash_ = std::move(derived.hash);
  key_.set(std::move(derived.key));
}

CipherEntry NewPasswordKey::entry() const { return {selector(), hash_, salt_, iv_}; }

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

void checkPasswordCost(opc::model::Package& package, std::string const& path) {
  std::string excess;
  try {
    CipherEntry const entry = CipherDataManager(package).getCipherEntry(selector());
    excess = CipherDataManager::describeExcessiveCost(entry.getSalt());
  } catch (opc::Exception const&) {
    throwFaultOfCipherData(path);
  }
  if (excess.empty()) return;
  std::u16string const name = fromArgument(path);
  std::string const message =
      "the file system of " + shown(name) + " is encrypted: " + excess + " (--allow-costly-password allows it)";
  throw Failure(Report{Exit::Key, "costly-password", message, name});
}

// The same message as for damaged contents: a difference would help an attacker.
std::unique_ptr<Secret const> keyOfPassword(opc::model::Package& package, std::string const& path,
                                            Password const& password) {
  try {
    CipherEntry const entry = CipherDataManager(package).getCipherEntry(selector());
    return std::make_unique<Secret const>(
        CipherDataManager::derivePasswordKey(password.text(), entry, kDerivedBytes, opc::ztservices::CostRule::Any));
  } catch (opc::Exception const&) {
    throwFaultOfCipherData(path);
  } catch (std::runtime_error const&) {
    std::u16string const name = fromArgument(path);
    throw Failure(cannotDecrypt("the file system of " + shown(name), name));
  }
}

std::unique_ptr<Secret const> findKey(FileSystemManager const& manager, KeyOptions const& options,
                                      std::string const& path) {
  KeyMemory& memory = *options.memory;
  if (!options.file.empty()) {
    if (!memory.keyOfFile) memory.keyOfFile = readKey(options.file);
    return std::make_unique<Secret const>(memory.keyOfFile->bytes());
  }
  if (!options.password.isGiven() && !manager.isEncrypted()) return nullptr;
  if (!hasPassword(manager.getPackage(), path)) {
    if (!options.password.isGiven() || !manager.isEncrypted()) return nullptr;
    throwKeyRequired(path, "its key is needed (--key-file), it has no password");
  }
  if (!options.allowCostly) checkPasswordCost(manager.getPackage(), path);
  if (!options.password.isGiven() && !canAskForPassword())
    throwKeyRequired(path, "its password is needed (--password-file, --password-env or --password-fd)");
  if (!memory.password)
    memory.password.reset(new Password(readPassword(options.password, path, PasswordUse::Existing)));
  auto key = keyOfPassword(manager.getPackage(), path, *memory.password);
  if (!memory.keeps) memory.password.reset();
  return key;
}

std::unique_ptr<Secret const> enableDecryption(FileSystemManager& manager, KeyOptions const& options,
                                               std::string const& path) {
  auto key = findKey(manager, options, path);
  if (key) manager.enableDecryption(key->bytes());
  return key;
}

void keepEncryption(FileSystemManager& manager, Secret const* key, KeyOptions const& options, std::string const& path) {
  if (options.isGiven() && !manager.isEncrypted()) {
    std::u16string const name = fromArgument(path);
    std::string const message = shown(name) + " is not encrypted, and that cannot be changed";
    throw Failure(Report{Exit::Package, "not-encrypted", message, name});
  }
  if (options.compress && !key) {
    std::u16string const name = fromArgument(path);
    std::string const message = "--compress is for encrypted packages, and " + shown(name) + " is not encrypted";
    throw Failure(Report{Exit::Package, "not-encrypted", message, name});
  }
  using namespace opc::ztservices;
  if (options.compress)
    manager.enableEncryption(key->bytes(), IVMode::Random, {}, Compression::Deflate);
  else if (key)
    manager.enableEncryption(key->bytes(), IVMode::Random, {});
}

}  // namespace ztpkg
