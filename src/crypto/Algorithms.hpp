// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

/// The algorithms that there are, by the names under which content types and callers know them, and what all
/// adapters do with these names.
namespace opc::ztservices {

inline constexpr char kEncryptionAlgorithm[] = "AES256-GCM";
inline constexpr char kDigestAlgorithm[] = "HMAC-SHA256";

inline void checkAlgorithm(std::string const& given, char const* supported, char const* message) {
  if (given != supported) throw std::runtime_error(message);
}

/// What the last initialize() made.
template <typename Current>
Current& initialized(std::shared_ptr<Current> const& current) {
  if (!current) throw std::logic_error("initialize() has not been called");
  return *current;
}

}  // namespace opc::ztservices
