// SPDX-License-Identifier: Apache-2.0
#include "crypto/AESMessages.hpp"

#include <string>

#include "crypto/AESDecryptor.hpp"
#include "crypto/AESEncryptor.hpp"
#include "crypto/CipherErrors.hpp"
#include "crypto/TransformReport.hpp"

namespace opc::ztservices {

using foundation::crypto::utils::CouldNotDecrypt;
using foundation::crypto::utils::CouldNotEncrypt;

bool encryptOrReport(std::vector<unsigned char> const& content, foundation::crypto::interfaces::IEncryptor& encryptor,
                     std::vector<unsigned char>& out) {
  try {
    out = foundation::crypto::encrypt(content, encryptor);
    return true;
  } catch (CouldNotEncrypt const& error) {
    return reportFailure("An error within the encryption library occurred:" + std::string(error.what()));
  } catch (...) {
    return reportFailure("An error during the encryption process occurred.");
  }
}

bool decryptOrReport(std::vector<unsigned char> const& message, foundation::crypto::interfaces::IDecryptor& decryptor,
                     std::vector<unsigned char>& out) {
  try {
    out = foundation::crypto::decrypt(message, decryptor);
    return true;
  } catch (CouldNotDecrypt const& error) {
    return reportFailure("An error within the decryption library occurred:" + std::string(error.what()));
  } catch (...) {
    return reportFailure("An error during the decryption process occurred.");
  }
}

}  // namespace opc::ztservices
