// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "cli/Progress.hpp"
#include "commands/Changing.hpp"
#include "commands/Commands.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/ztservices/Rekey.hpp"
#include "secrets/PackageKey.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
using opc::ztservices::RekeyOptions;

void checkUsage(RekeyCommandOptions const& options) {
  NewKeyOptions const& key = options.newKey;
  if (options.toPlain && key.isGiven()) throwUsage("--to-plain takes no new key");
  if (!options.toPlain && !key.isGiven())
    throwUsage("a new key is required: --new-key-file, --new-password or another source of a password, or --to-plain");
  if (key.compress && options.toPlain) throwUsage("--compress is for contents that are encrypted");
  if (key.passwordCost && !key.password.isGiven()) throwUsage("--password-cost needs a new password");
}

/// The file system as it is before the change.
struct Present {
  std::unique_ptr<Secret const> key;    ///< which the manifest has proved; null for a package that is not encrypted
  std::vector<std::u16string> paths{};  ///< of the files, where they will be printed
};

std::vector<std::u16string> filesOf(FileSystemManager const& manager) {
  std::vector<std::u16string> paths;
  manager.visitLeafs([&](FileSystemEntry const& leaf) {
    if (leaf.isFile()) paths.push_back(leaf.getPathName());
  });
  return paths;
}

Present present(RekeyCommandOptions const& options) {
  auto const package = openFileSystem(options.package);
  FileSystemManager manager(*package);
  auto key = enableDecryption(manager, options.key, options.package);
  ztpkg::load(manager, options.package);
  if (manager.isEncrypted() || (!options.key.isGiven() && !options.toPlain))
    return {std::move(key), options.verbose ? filesOf(manager) : std::vector<std::u16string>()};
  std::u16string const name = fromArgument(options.package);
  throw Failure(Report{Exit::Package, "not-encrypted", shown(name) + " is not encrypted", name});
}

/// The new key; neither has a value for none.
struct NewKey {
  std::unique_ptr<Secret const> ofFile;
  std::unique_ptr<NewPasswordKey const> ofPassword;
};

NewKey newKeyFor(RekeyCommandOptions const& options) {
  NewKeyOptions const& key = options.newKey;
  if (!key.file.empty()) return {readKey(key.file), nullptr};
  if (!key.password.isGiven()) return {};
  return {nullptr, std::make_unique<NewPasswordKey const>(
                       readPassword(key.password, options.package, PasswordUse::Changed), key.passwordCost)};
}

RekeyOptions rekeyingOf(RekeyCommandOptions const& options, NewKey const& newKey) {
  RekeyOptions rekeying;
  rekeying.threads = std::thread::hardware_concurrency();
  if (newKey.ofFile) rekeying.newKey = &newKey.ofFile->bytes();
  if (newKey.ofPassword) rekeying.newKey = &newKey.ofPassword->key().bytes();
  if (newKey.ofPassword) rekeying.passwordEntry = newKey.ofPassword->entry();
  rekeying.compression = options.newKey.compression();
  rekeying.save.replaceProtected = options.force;
  return rekeying;
}

/// One attempt, on the package as it is now.
void rekeyOnce(RekeyCommandOptions const& options, RekeyOptions rekeying, Secret const* oldKey, Progress& progress) {
  std::u16string const package = fromArgument(options.package);
  if (oldKey) rekeying.oldKey = &oldKey->bytes();
  rekeying.progress = [&](RekeyOptions::Progress const& done) {
    throwIfInterrupted();
    progress.addFile();
    progress.addBytes(done.bytes - progress.done().bytes);
  };
  rekeying.monitor = progress.monitor();
  opc::ztservices::rekeyPackage(package, package, rekeying);
}

}  // namespace

void rekey(RekeyCommandOptions const& options, Output& out) {
  checkUsage(options);
  noteSignals();
  options.key.memory->keeps = true;  // for the next attempt
  Present before = present(options);
  std::u16string const package = fromArgument(options.package);
  if (options.toPlain && !options.force && !confirm("Store the contents of " + shown(package) + " without encryption?"))
    throw Failure(Report{Exit::Usage, "usage", "nothing was changed", {}});
  NewKey const newKey = newKeyFor(options);
  RekeyOptions const rekeying = rekeyingOf(options, newKey);
  std::optional<Progress> progress;
  changePackage(options, [&] {
    if (progress) before = present(options);  // another process may have changed that too
    progress.emplace(options.progress && !options.quiet);
    rekeyOnce(options, rekeying, before.key.get(), *progress);
  });
  progress->finish();
  if (options.json) {
    JsonObject document;
    document.add("files", progress->done().files).add("bytes", progress->done().bytes);
    document.add("packageBytes", sizeOfFile(package)).add("seconds", progress->elapsed());
    if (options.verbose) document.add("entries", before.paths);
    return document.print(out);
  }
  for (std::u16string const& path : before.paths) out.printName(path), out.print("\n");
  out.close();
  if (!options.quiet)
    std::cerr << "rekeyed " << counted(progress->done().files, "file") << ", the package now has "
              << sizeText(sizeOfFile(package)) << ", " << secondsText(progress->elapsed()) << '\n';
}

}  // namespace ztpkg
