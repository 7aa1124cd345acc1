// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Verification.hpp"

#include <vector>

#include "foundation/crypto/Sha256.hpp"
#include "foundation/crypto/Utils.hpp"

namespace opc::ztservices {

std::string digestPart(model::Part const& part) {
  constexpr std::size_t kStep = 65536;
  auto const stream = part.getInputStream();
  foundation::crypto::Sha256 digest;
  std::vector<unsigned char> buffer(kStep);
  while (!stream->isEnd()) digest.update(buffer.data(), stream->read(buffer.data(), buffer.size()));
  return foundation::crypto::utils::hexEncode(digest.finish());
}

}  // namespace opc::ztservices
