// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Leaves.hpp"
#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/model/Package.hpp"

namespace ztpkg {

/// Everything that can be known before the first file is written; throws Failure. `root` is where the entries are to
/// go.
void checkExtraction(opc::model::Package const& package, opc::ztservices::FileSystemManager const& manager,
                     Leaves const& leaves, std::u16string const& root, opc::Confinement const& confinement);

}  // namespace ztpkg
