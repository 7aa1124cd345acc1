// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::model::zip {

/// Version of the zlib that runs, such as "1.2.13".
std::string zlibVersion();

/// Version of the libdeflate that the library was compiled with, such as "1.14".
std::string libdeflateVersion();

}  // namespace opc::model::zip
