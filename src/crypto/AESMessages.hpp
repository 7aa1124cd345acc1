// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "crypto/Interfaces.hpp"

namespace opc::ztservices {

/// Puts the message of `content` into `out`, or the content of `message`. Where that fails, says why in a line on
/// standard output, leaves `out` as it was and returns false.
bool encryptOrReport(std::vector<unsigned char> const& content, foundation::crypto::interfaces::IEncryptor& encryptor,
                     std::vector<unsigned char>& out);
bool decryptOrReport(std::vector<unsigned char> const& message, foundation::crypto::interfaces::IDecryptor& decryptor,
                     std::vector<unsigned char>& out);

}  // namespace opc::ztservices
