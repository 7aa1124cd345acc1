// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/model/ContentType.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {

/// Parts that are encrypted say so in their content types.
inline void throwIfEncrypted(model::ContentType const& type, char const* message) {
  if (type.hasParameter(u"encryption")) throw CouldNotDecryptContent(message);
}

}  // namespace opc::ztservices
