// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <functional>
#include <string>
#include <vector>

#include "io/FileHandle.hpp"

namespace opc {

/// Opens a folder to be read; what it does with links on the way decides how far the walk can lead.
using FolderOpener = std::function<FileHandle(std::u16string const& path, boost::system::error_code& error)>;

enum class WalkFor { FilesAndLinks, Folders };

/// The full paths of what is looked for under `root`, sorted by code unit; empty on an error. One directory is open at
/// a time, however deep the tree is; one whose path the system finds too long is an error. Throws InvalidText for a
/// name that is not UTF-8.
std::vector<std::u16string> walkDirectory(std::u16string const& root, WalkFor wanted, bool recursive,
                                          boost::system::error_code& error, FolderOpener const& open);

}  // namespace opc
