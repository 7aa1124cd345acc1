// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <string>

#include "io/FileHandle.hpp"

namespace opc {

/// Opens what a relative path names beneath an open folder, without a step through a symbolic link, the last
/// one included (ELOOP); "." is the folder itself. The path holds no ".." segment. Not open, with `error`
/// set, where that fails.
FileHandle openBeneath(int folder, std::string const& path, int flags, mode_t mode, boost::system::error_code& error);

/// The same, segment by segment, for systems that cannot do it in one step.
FileHandle openBeneathBySegments(int folder, std::string const& path, int flags, mode_t mode,
                                 boost::system::error_code& error);

}  // namespace opc
