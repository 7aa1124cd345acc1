// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "disk/OpenFile.hpp"
#include "secrets/Secrets.hpp"

namespace ztpkg {

/// Where a password comes from; at most one member is set. Never the password itself: everyone can see the arguments of
/// a process.
struct PasswordOptions {
  bool ask = false;              ///< on the terminal
  std::string file = {};         ///< the first line of a file
  std::string environment = {};  ///< the value of a variable
  std::optional<int> descriptor = {};

  bool isGiven() const { return ask || !file.empty() || !environment.empty() || descriptor; }
};

/// Warns where the group or the world may read a regular file, which holds a `kind` of secret. What pipes and terminals
/// carry is not stored.
void warnIfOthersMayRead(OpenFile const& file, std::u16string const& path, char const* kind);

/// Changed is the new one of a package that has a password or key.
enum class PasswordUse { Existing, New, Changed };

/// Whether the user answers the question on the terminal with yes. Throws Failure without a terminal.
bool confirm(std::string const& question);

/// Whether the process has a terminal.
bool canAskForPassword();

/// Reads the password from the source that the options name, by default from the terminal. A variable is removed from
/// the environment of the process. Throws Failure, whose message quotes nothing of the password.
Password readPassword(PasswordOptions const& options, std::string const& package, PasswordUse use);

/// A typed password: text in the encoding of the locale, or in UTF-8 if that is ASCII, so that the same characters are
/// the same password in every locale. Throws Failure, whose message quotes nothing, for bytes that are no text and for
/// an empty password.
Password typedPassword(SecretBytes const& bytes);

/// A password from a file: text in UTF-8 or, if it is not UTF-8, in the encoding of the locale, so that the same file
/// is the same password in every locale.
Password storedPassword(SecretBytes const& bytes);

}  // namespace ztpkg
