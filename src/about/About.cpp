// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/About.hpp"

#include "about/BoostVersion.hpp"
#include "container/CompressionVersions.hpp"
#include "crypto/OpenSSLVersion.hpp"
#include "text/IcuVersion.hpp"
#include "xml/XercesVersion.hpp"

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
