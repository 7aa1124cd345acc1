// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/ForwardingFileSystemOps.hpp"

namespace ztpkg {

/// The base of the tool's own operations.
using ForwardingOps = opc::ForwardingFileSystemOps;

}  // namespace ztpkg
