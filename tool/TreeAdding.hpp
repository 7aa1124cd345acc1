// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "SourceTree.hpp"
#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// Adds what the survey of the tree found, folders that hold nothing of it too. Text that cannot become UTF-8,
/// where `textToUTF8` asks for it, is a Failure that names the file.
void addTree(opc::ztservices::FileSystemManager& manager, SourceTree& source, bool textToUTF8);

}  // namespace ztpkg
