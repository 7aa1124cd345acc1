// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "commands/Changing.hpp"
#include "commands/Commands.hpp"
#include "commands/Properties.hpp"
#include "commands/Storing.hpp"
#include "disk/EntryMeasure.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "disk/SourceTree.hpp"
#include "disk/TemporaryPackage.hpp"
#include "opc/SafePaths.hpp"
#include "opc/ztservices/ContentTypes.hpp"
#include "secrets/PackageKey.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::ztservices::CoreProperties;
using opc::ztservices::CorePropertiesManager;
using opc::ztservices::FileSystemManager;

// Checked before the tree is read, which may take long.
void checkTarget(std::u16string const& package, bool force) {
  boost::system::error_code error;
  if (isDirectory(package, error))
    throw Failure(Report{Exit::Disk, "folder-in-the-way", shown(package) + " is a directory", package});
  if (isOther(package))
    throw Failure(Report{Exit::Disk, "file-in-the-way", shown(package) + " is no regular file", package});
  if (isThere(package) && !force) {
    std::string const message = shown(package) + " already exists (use --force to replace it)";
    throw Failure(Report{Exit::Disk, "already-exists", message, package});
  }
  std::u16string const folder = parentOf(package);
  if (!isDirectory(folder, error)) throw Failure(diskReport("cannot-write", "cannot write to", folder, error));
}

void printSummary(StoredTotals const& totals) {
  std::cerr << "stored " << entriesText(totals.entries, "folder") << " in " << sizeText(*totals.packageBytes) << ", "
            << secondsText(totals.time) << '\n';
}

CoreProperties propertiesFor(PackOptions const& options) {
  CoreProperties record(opc::ztservices::getTALBEXProjectContentType().toString(), u"Project Archive",
                        CoreProperties::getCurrentTALBEXReleaseInfo());
  for (auto const& [name, value] : options.properties) setProperty(record, name, value);
  auto const date = sourceDate();
  if (date && !CoreProperties::isValidTime(record.getCreatedTime())) record.setCreatedTime(*date);
  return record;
}

/// How contents are encrypted.
struct Encryption {
  Secret const& key() const { return password ? password->key() : *keyOfFile; }

  std::unique_ptr<Secret const> keyOfFile;         ///< null with a password
  std::unique_ptr<NewPasswordKey const> password;  ///< null with a key file
  opc::ztservices::IVMode mode;
  std::vector<unsigned char> prefix;
};

/// The prefix of counted initialization vectors; empty for random ones.
std::vector<unsigned char> prefixFor(PackOptions const& options) {
  constexpr std::size_t kPrefixBytes = 8;
  bool const deterministic = options.ivMode == "deterministic";
  if (!deterministic && !options.ivPrefix.empty()) throwUsage("--iv-prefix is for --iv deterministic");
  if (!deterministic) return {};
  if (options.key.file.empty())
    throwUsage("--iv deterministic needs --key-file: each package of a password has a key of its own");
  auto prefix = fromHex(options.ivPrefix);
  if (prefix.size() != kPrefixBytes)
    throwUsage("--iv deterministic needs --iv-prefix, 16 hexadecimal digits that were never used with this key");
  return prefix;
}

/// Null for no encryption. The password is wiped on return.
std::unique_ptr<Encryption const> encryptionFor(PackOptions const& options) {
  if (!options.key.isGiven() && !(options.ivMode.empty() && options.ivPrefix.empty()))
    throwUsage("--iv and --iv-prefix need --key-file");
  if (options.key.compress && !options.key.isGiven())
    throwUsage("--compress needs a key or password: contents that are not encrypted are compressed anyway");
  if (options.key.passwordCost && !options.key.password.isGiven()) throwUsage("--password-cost needs a password");
  if (!options.key.isGiven()) return nullptr;
  auto encryption = std::make_unique<Encryption>();
  encryption->prefix = prefixFor(options);
  using opc::ztservices::IVMode;
  encryption->mode = encryption->prefix.empty() ? IVMode::Random : IVMode::Deterministic;
  if (!options.key.file.empty())
    encryption->keyOfFile = readKey(options.key.file);
  else
    encryption->password = std::make_unique<NewPasswordKey const>(
        readPassword(options.key.password, options.package, PasswordUse::New), options.key.passwordCost);
  return encryption;
}

void store(Storing& storing, SourceTree& source, std::u16string const& path, PackOptions const& options,
           CoreProperties const& properties, Encryption const* encryption, Progress& progress) {
  using opc::model::Existing;
  auto const package = Package::create(path, options.force ? Existing::Replace : Existing::Refuse);
  package->setCompressionLevel(options.level);
  package->setCompressionThreads(std::thread::hardware_concurrency());
  progress.watch(*package);
  FileSystemManager manager(*package, source, source);
  opc::ztservices::CipherDataManager cipherData(*package);
  if (encryption)
    manager.enableEncryption(encryption->key().bytes(), encryption->mode, encryption->prefix,
                             options.key.compression());
  if (encryption && encryption->password) encryption->password->record(cipherData);
  manager.setCreatedByEncoding(u"UTF-8");  // of names on the disk, whatever the locale
  manager.markAsDirty();                   // an empty directory is a file system too
  storing.add(manager, source);
  storing.throwIfRefused();
  throwIfTooDeep(measureEntries(manager), options.package);
  CorePropertiesManager identity(*package);
  identity.setCoreProperties(properties);
  throwIfInterrupted();
  FormerProtection const protection(options.package);
  package->save({.replaceProtected = options.force});
  protection.warnIfChanged();
}

/// The paths of the tree that the user names; absent for all of it.
std::optional<std::set<std::u16string>> namedPaths(PackOptions const& options) {
  if (options.meansAll(options.paths)) return std::nullopt;
  std::set<std::u16string> paths;
  for (std::string const& name : options.paths) {
    std::u16string const path = entryPath(name);
    if (opc::findPathFault(path) == opc::PathFault::LeadsUpwards)
      throwUsage("--files-from: a path with ..: " + shown(path));
    paths.insert(newEntryPath(name, "--files-from"));
  }
  return paths.contains(u"") ? std::nullopt : std::optional(std::move(paths));
}

/// A package on standard output has its document on standard error, if nothing else is to be said there.
void print(Storing const& storing, SourceTree const& source, PackOptions const& options, Progress const& progress,
           TemporaryPackage* pipe, Output& out) {
  std::u16string const package = pipe ? pipe->path() : fromArgument(options.package);
  StoredTotals totals{entriesOf({&source}, progress), std::nullopt, progress.elapsed()};
  if (!options.dryRun) totals.packageBytes = sizeOfFile(package);
  if (!options.json) storing.print({&source}, out);
  if (pipe) pipe->printTo(out);
  if (options.json && !pipe) storing.printDocument({&source}, totals, out);
  if (options.json && pipe && source.faults().empty()) {
    out.close();
    Output errors(STDERR_FILENO);
    storing.printDocument({&source}, totals, errors);
    errors.close();
  }
  if (!options.quiet && !options.json && !options.dryRun) printSummary(totals);
}

SourceTree::Rules rulesFor(PackOptions const& options) {
  SourceTree::Rules rules = directoryRules(options, options.package, options.directory);
  rules.named = namedPaths(options);
  if (options.key.isGiven()) rules.longestFile = opc::ztservices::kLongestEncryptedContent;
  return rules;
}

}  // namespace

void pack(PackOptions const& options, Output& out) {
  noteSignals();
  CoreProperties const properties = propertiesFor(options);
  bool const isPipe = options.package == "-";
  if (!isPipe)
    checkTarget(fromArgument(options.package), options.force);
  else if (!options.dryRun)
    checkPackageOutput(options.verbose && !options.json);
  std::u16string const root = existingDirectory(fromArgument(options.directory));
  auto const encryption = encryptionFor(options);
  Storing storing(options, "pack");
  opc::LocalFileSystemOps disk;
  Progress progress(options.progress && !options.quiet);
  SourceTree source(disk, root, rulesFor(options), progress);
  surveyWithAdvice(source);
  std::optional<TemporaryPackage> pipe;  // made after the survey, which would find it
  if (isPipe && !options.dryRun) pipe.emplace();
  std::u16string const package = pipe ? pipe->path() : fromArgument(options.package);
  if (options.dryRun)
    storing.examine(source, progress);
  else
    store(storing, source, package, options, properties, encryption.get(), progress);
  progress.finish();
  storing.throwIfRefused();  // otherwise store() has thrown before the package appeared
  print(storing, source, options, progress, pipe ? &*pipe : nullptr, out);
  closeAndThrowFaults({&source}, out);
}

}  // namespace ztpkg
