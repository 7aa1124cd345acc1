// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Marks what the shared library exports; everything else is hidden. Exception classes carry it too,
/// so that a caller's handler recognises what the library throws.
#define ZT_API __attribute__((visibility("default")))
