// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The values that the build was configured with.
namespace foundation::release_info::running {

extern char const kFamily[];
extern char const kVersion[];
extern char const kDescription[];
extern char const kDate[];

}  // namespace foundation::release_info::running
