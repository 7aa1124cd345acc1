// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/uuid/uuid.hpp>

#include "crypto/Interfaces.hpp"

namespace opc::ztservices {

/// A random UUID (RFC 4122, 4.4) of 16 bytes that the generator gives. What it throws passes through.
boost::uuids::uuid makeRandomUUID(foundation::crypto::interfaces::ICryptoPRNG& generator);

}  // namespace opc::ztservices
