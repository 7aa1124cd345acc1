// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <string>

namespace opc {

/// The target text of the symbolic link of that name in a folder; `path` is for messages. Throws Exception
/// with the system's code, InvalidText for a target that is not UTF-8.
std::u16string readLink(int folder, char const* name, std::u16string const& path);

[[noreturn]] void throwCouldNotReadLink(std::u16string const& path, boost::system::error_code error);

}  // namespace opc
