// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/About.hpp"

#include "foundation/core/BoostVersion.hpp"
#include "foundation/crypto/OpenSSLVersion.hpp"
#include "foundation/i18n/IcuVersion.hpp"
#include "foundation/xml/XercesVersion.hpp"
#include "foundation/zip/CompressionVersions.hpp"

namespace opc::ztservices {

std::string getVersion() { return ZT_VERSION; }

std::vector<LibraryVersion> getLibraryVersions() {
  return {
      {"Boost", boostVersion()},
      {"Xerces-C", model::xercesVersion()},
      {"zlib", model::zip::zlibVersion()},
      {"libdeflate", model::zip::libdeflateVersion()},
      {"OpenSSL", foundation::crypto::openSSLVersion()},
      {"ICU", fl::i18n::icuVersion()},
  };
}

}  // namespace opc::ztservices
