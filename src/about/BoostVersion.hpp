// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc {

/// Version of the Boost that the library was compiled with, such as "1.74.0".
std::string boostVersion();

}  // namespace opc
