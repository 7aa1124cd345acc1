// SPDX-License-Identifier: Apache-2.0
#include "commands/Changing.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <random>
#include <string>
#include <thread>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/model/Exceptions.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemManager;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// False if another process has saved the package since it was opened, or saves it now.
bool attempt(std::function<void()> const& change) {
  try {
    change();
    return true;
  } catch (opc::model::PackageHasChanged const&) {
  } catch (opc::model::PackageIsBusy const&) {
  }
  return false;
}

[[noreturn]] void throwBusy(ChangeOptions const& options) {
  std::u16string const name = fromArgument(options.package);
  std::string const seconds = counted(static_cast<std::size_t>(options.retryLock.count()), "second");
  throw Failure(Report{Exit::Busy, "package-busy",
                       shown(name) + " is being changed by other processes (gave up after " + seconds + ")", name});
}

/// Waits for a random time, so that processes that met once do not meet again.
void waitFor(milliseconds longest) {
  constexpr milliseconds kStep(20);
  std::random_device random;
  milliseconds left(std::uniform_int_distribution<milliseconds::rep>(1, longest.count())(random));
  for (; left.count() > 0; left -= kStep) {
    throwIfInterrupted();
    std::this_thread::sleep_for(std::min(left, kStep));
  }
}

/// Makes the change when no other process makes one.
void changeInTurn(ChangeOptions const& options, std::function<void()> const& change) {
  constexpr milliseconds kLongestWait(1000);
  if (attempt(change)) return;
  auto const end = Clock::now() + options.retryLock;
  for (milliseconds wait(20); Clock::now() < end; wait = std::min(2 * wait, kLongestWait)) {
    waitFor(std::min(wait, std::max(milliseconds(1), std::chrono::duration_cast<milliseconds>(end - Clock::now()))));
    if (attempt(change)) return;
  }
  throwBusy(options);
}

std::optional<struct stat> statusOf(std::string const& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

/// As chmod takes it.
std::string modeText(mode_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

}  // namespace

FormerProtection::FormerProtection(std::string const& package) : package_(package), former_(statusOf(package)) {}

void FormerProtection::warnIfChanged() const {
  auto const now = statusOf(package_);
  if (!former_ || !now) return;
  std::string changes;
  auto const compare = [&](char const* what, std::string const& before, std::string const& after) {
    if (before != after) changes += (changes.empty() ? " now has " : ", ") + (what + after) + " instead of " + before;
  };
  compare("owner ", std::to_string(former_->st_uid), std::to_string(now->st_uid));
  compare("group ", std::to_string(former_->st_gid), std::to_string(now->st_gid));
  compare("mode ", modeText(former_->st_mode), modeText(now->st_mode));
  if (!changes.empty()) warn(shown(fromArgument(package_)) + changes);
}

void changePackage(ChangeOptions const& options, std::function<void()> const& change) {
  FormerProtection const protection(options.package);
  changeInTurn(options, change);
  protection.warnIfChanged();
}

EditedFileSystem::EditedFileSystem(ChangeOptions const& options, KeyOptions const& key,
                                   opc::FileSystemOpsSelector* selector, Missing missing)
    : package_(missing == Missing::Create ? openPackage(options.package, AccessMode::ReadWrite, options.force)
                                          : openFileSystem(options.package, AccessMode::ReadWrite, options.force)),
      manager_(selector ? std::make_unique<FileSystemManager>(*package_, *selector)
                        : std::make_unique<FileSystemManager>(*package_)),
      force_(options.force) {
  key.memory->keeps = true;  // for the next attempt
  auto const secret = enableDecryption(*manager_, key, options.package);
  load(*manager_, options.package);
  keepEncryption(*manager_, secret.get(), key, options.package);
  if (hasFileSystem(*package_)) return;
  manager_->setCreatedByEncoding(u"UTF-8");  // of names on the disk, whatever the locale
}

void EditedFileSystem::save() {
  throwIfInterrupted();
  package_->save({.replaceProtected = force_});
}

}  // namespace ztpkg
