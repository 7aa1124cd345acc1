// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace foundation::crypto {

/// Version of the OpenSSL that runs, such as "3.0.15".
std::string openSSLVersion();

}  // namespace foundation::crypto
