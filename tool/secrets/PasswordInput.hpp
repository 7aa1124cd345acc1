// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "secrets/Secrets.hpp"

namespace ztpkg {

/// Where a password comes from; at most one of them is set. Never the password itself: arguments of a process can
/// be seen by everyone.
struct PasswordOptions {
  bool ask = false;              ///< on the terminal
  std::string file = {};         ///< the first line of a file
  std::string environment = {};  ///< the value of a variable
  std::optional<int> descriptor = {};

  bool isGiven() const { return ask || !file.empty() || !environment.empty() || descriptor; }
};

enum class PasswordUse { Existing, New };

/// Reads the password from where the options say, from the terminal where they say nothing. A variable is gone from
/// the environment of the process afterwards. Throws Failure, which quotes nothing of it.
Password readPassword(PasswordOptions const& options, std::string const& package, PasswordUse use);

}  // namespace ztpkg
