// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "crypto/PasswordKeys.hpp"

namespace opc::ztservices {

/// The text of a salt that names scrypt and its cost: "$scrypt$ln=17,r=8,p=1$" and the digits.
std::u16string saltWithCost(foundation::crypto::ScryptCost const& cost, std::u16string const& digits);

/// The cost that a salt names; nothing where it names no derivation. Throws InvalidCipherData for another derivation
/// than scrypt, and for a cost that cannot be read or is not possible.
std::optional<foundation::crypto::ScryptCost> costOfSalt(std::u16string const& salt);

/// Why a cost is out of bounds, which are 1 GiB of memory and about 60 s of this machine's time; empty where it is not.
/// A derivation that may take long is estimated from a short one.
std::string describeExcess(foundation::crypto::ScryptCost const& cost);

}  // namespace opc::ztservices
