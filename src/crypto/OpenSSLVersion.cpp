// SPDX-License-Identifier: Apache-2.0
#include "crypto/OpenSSLVersion.hpp"

#include <openssl/crypto.h>

namespace foundation::crypto {

std::string openSSLVersion() { return OpenSSL_version(OPENSSL_VERSION_STRING); }

}  // namespace foundation::crypto
