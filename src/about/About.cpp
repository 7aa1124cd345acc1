// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/About.hpp"

#include <libdeflate.h>
#include <zlib.h>

#include <boost/version.hpp>
#include <openssl/crypto.h>
#include <unicode/uversion.h>
#include <xercesc/util/XercesVersion.hpp>

namespace opc::ztservices {
namespace {

std::string boostVersion() {
  return std::to_string(BOOST_VERSION / 100000) + "." + std::to_string(BOOST_VERSION / 100 % 1000) + "." +
         std::to_string(BOOST_VERSION % 100);
}

std::string icuVersion() {
  UVersionInfo version;
  u_getVersion(version);
  char text[U_MAX_VERSION_STRING_LENGTH];
  u_versionToString(version, text);
  return text;
}

}  // namespace

std::string getVersion() { return ZT_VERSION; }

std::vector<LibraryVersion> getLibraryVersions() {
  return {
      {"Boost", boostVersion()},
      {"Xerces-C", XERCES_FULLVERSIONDOT},
      {"zlib", zlibVersion()},
      {"libdeflate", LIBDEFLATE_VERSION_STRING},
      {"OpenSSL", OpenSSL_version(OPENSSL_VERSION_STRING)},
      {"ICU", icuVersion()},
  };
}

}  // namespace opc::ztservices
