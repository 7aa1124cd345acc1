// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "secrets/Secrets.hpp"

namespace ztpkg {

/// Asks for the password of a package on the terminal of the process, which shows nothing of what is typed; twice
/// for a new one. Whatever ends it leaves the terminal as it was. Throws Failure where there is no terminal
/// (canAskForPassword tells), for an empty password and for two that are not the same, and Interrupted.
bool canAskForPassword();
Password askForPassword(std::string const& package);
Password askForNewPassword(std::string const& package);

}  // namespace ztpkg
