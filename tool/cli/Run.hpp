// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ztpkg {

/// Carries out a command line and tells on standard error what went wrong; the exit code of the process.
int run(int argc, char const* const* argv);

}  // namespace ztpkg
