// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::model {

/// Version of the Xerces-C that the library was compiled with, such as "3.2.4".
std::string xercesVersion();

}  // namespace opc::model
