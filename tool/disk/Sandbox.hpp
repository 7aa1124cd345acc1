// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace ztpkg {

/// Takes rights from this thread, and from the threads that it starts, for good: they make, change, rename and remove
/// nothing but files, folders and links below these folders, and start no program. Everything may still be read, and
/// open descriptors and the terminal may be written. A second call can only take more. Folders that do not exist, and
/// what is no folder, allow nothing.
///
/// Needs Landlock (Linux 5.13). False, with all rights kept, where the kernel has none or refuses it.
bool confineWrites(std::vector<std::string> const& folders);

}  // namespace ztpkg
