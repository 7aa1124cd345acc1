// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

namespace opc {

/// The file mode mask of this process, without setting it as the system's own call must: for other threads too
/// that would be a moment in which their files are too open.
mode_t currentUmask();

}  // namespace opc
