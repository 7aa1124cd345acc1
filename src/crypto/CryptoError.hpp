// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

namespace foundation::crypto {

/// The cryptographic library refused an operation. The message names the operation and the library's reason.
class ZT_API CryptoError : public opc::Exception {
 public:
  using opc::Exception::Exception;
};

}  // namespace foundation::crypto
