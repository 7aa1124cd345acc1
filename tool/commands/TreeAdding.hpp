// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "disk/SourceTree.hpp"
#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// The names by which the package that is being written could turn up in a listing of the disk.
ForwardingOps::Paths namesOf(std::u16string const& package);

/// Adds what the survey of the tree found, folders that hold nothing of it too. Text that cannot become UTF-8,
/// where `textToUTF8` asks for it, is a Failure that names the file.
void addTree(opc::ztservices::FileSystemManager& manager, SourceTree& source, bool textToUTF8);

}  // namespace ztpkg
