// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/model/Package.hpp"

namespace opc::ztservices {

/// The name that a new content part for the path gets in the package as it is now: "/fsroot" and the
/// percent-encoded path, changed by numbers until the package takes it. A part name is an address only;
/// the manifest keeps the exact path, so that paths that no part may bear as its name can be stored too. With a
/// digest engine, which is borrowed and may be null, the hexadecimal digest of the percent-encoded path stands in its
/// place.
std::u16string makeUniquePartName(model::Package const& package, std::u16string const& path, IDigestEngine* digest);

}  // namespace opc::ztservices
