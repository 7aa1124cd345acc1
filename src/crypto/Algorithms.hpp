// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

/// The names of the algorithms in content types and calls, and the checks that all adapters share.
namespace opc::ztservices {

inline constexpr char kEncryptionAlgorithm[] = "AES256-GCM";
inline constexpr char kDigestAlgorithm[] = "HMAC-SHA256";

inline void checkAlgorithm(std::string const& given, char const* supported, char const* message) {
  if (given != supported) throw std::runtime_error(message);
}

/// The object of the last initialize().
template <typename Current>
Current& initialized(std::shared_ptr<Current> const& current) {
  if (!current) throw std::logic_error("initialize() has not been called");
  return *current;
}

}  // namespace opc::ztservices
