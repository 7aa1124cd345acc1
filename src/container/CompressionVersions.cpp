// SPDX-License-Identifier: Apache-2.0
#include "container/CompressionVersions.hpp"

#include <libdeflate.h>
#include <zlib.h>

namespace opc::model::zip {

std::string zlibVersion() { return ::zlibVersion(); }

std::string libdeflateVersion() { return LIBDEFLATE_VERSION_STRING; }

}  // namespace opc::model::zip
