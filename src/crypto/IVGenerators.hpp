// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "opc/ztservices/Encryption.hpp"

namespace opc::ztservices {

/// The generator of a mode. The bytes are the fixed portion of a deterministic sequence, of which the first eight
/// count, or the seed of a random one, which may be empty. Throws InvalidIVBytesSize for fewer than eight.
std::shared_ptr<IVGenerator> createIVGenerator(IVMode mode, std::vector<unsigned char> const& bytes);

}  // namespace opc::ztservices
