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

/// The full paths of the files and links, or folders, under `root`, sorted by code unit. On an error it lists what it
/// can; `error` is the first one, EILSEQ for a name that is not UTF-8. One directory is open at a time, however deep
/// the tree is.
std::vector<std::u16string> walkDirectory(std::u16string const& root, WalkFor wanted, bool recursive,
                                          boost::system::error_code& error, FolderOpener const& open);

}  // namespace opc
