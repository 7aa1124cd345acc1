// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "disk/SourceTree.hpp"
#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// The paths under which a listing of the disk could contain the package that is being written.
ForwardingOps::Paths namesOf(std::u16string const& package);

/// Prints what the survey of the tree left out.
void printLeftOut(SourceTree const& source, char const* command);

/// Adds the leaves and folders that the survey of the tree found. With `textToUTF8`, a text that cannot become UTF-8 is
/// a Failure that names the file.
void addTree(opc::ztservices::FileSystemManager& manager, SourceTree& source, bool textToUTF8);

}  // namespace ztpkg
