// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoDigestEngine.hpp"

#include "crypto/Algorithms.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoProvider.hpp"

namespace opc::ztservices {

using foundation::crypto::CryptoEngine;
using foundation::crypto::DigestEngine;

CryptoDigestEngine::CryptoDigestEngine(std::vector<unsigned char> const& keyBytes)
    : provider_(std::make_shared<foundation::crypto::cryptopp::CryptoProvider>()),
      keyBytes_(keyBytes.begin(), keyBytes.end()) {}

void CryptoDigestEngine::initialize(std::string const& algorithm) {
  checkAlgorithm(algorithm, kDigestAlgorithm, "Unsupported digest algorithm.");
  current_ = std::make_shared<DigestEngine>(CryptoEngine(provider_).createHMACSHA256DigestEngine(keyBytes_));
}

std::vector<unsigned char> CryptoDigestEngine::digest(std::vector<unsigned char> const& data) {
  return initialized(current_).digest(data);
}

}  // namespace opc::ztservices
