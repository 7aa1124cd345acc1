// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include "opc/Exception.hpp"

namespace opc {

/// The one conversion between integers of different sizes. Throws where the value does not fit.
template <typename To, typename From>
constexpr To narrow(From value) {
  if (!std::in_range<To>(value)) throw Exception("A number is too large for this system");
  return static_cast<To>(value);
}

}  // namespace opc
