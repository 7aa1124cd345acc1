// SPDX-License-Identifier: Apache-2.0
#include "secrets/PackageKey.hpp"

#include "cli/Errors.hpp"
#include "disk/Paths.hpp"
#include "secrets/PackagePassword.hpp"
#include "secrets/PasswordPrompt.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemManager;

[[noreturn]] void throwKeyRequired(std::string const& path, std::string const& what) {
  std::u16string const name = fromArgument(path);
  throw Failure(
      Report{Exit::Key, "key-required", "the file system of " + shown(name) + " is encrypted: " + what, name});
}

}  // namespace

std::unique_ptr<Secret const> findKey(FileSystemManager const& manager, KeyOptions const& options,
                                      std::string const& path) {
  if (!options.file.empty()) return readKey(options.file);
  if (!options.password.isGiven() && !manager.isEncrypted()) return nullptr;
  if (!hasPassword(manager.getPackage(), path)) {
    if (!options.password.isGiven() || !manager.isEncrypted()) return nullptr;
    throwKeyRequired(path, "its key is needed (--key-file), it has no password");
  }
  if (!options.password.isGiven() && !canAskForPassword())
    throwKeyRequired(path, "its password is needed (--password-file, --password-env or --password-fd)");
  return keyOfPassword(manager.getPackage(), path, readPassword(options.password, path, PasswordUse::Existing));
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
  if (key) manager.enableEncryption(key->bytes(), opc::ztservices::IVMode::Random, {});
}

}  // namespace ztpkg
