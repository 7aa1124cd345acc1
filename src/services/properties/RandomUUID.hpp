// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/uuid/uuid.hpp>

#include "crypto/Interfaces.hpp"

namespace opc::ztservices {

/// A random UUID (RFC 4122, 4.4) from 16 bytes of the generator. Throws what the generator throws.
boost::uuids::uuid makeRandomUUID(foundation::crypto::interfaces::ICryptoPRNG& generator);

}  // namespace opc::ztservices
