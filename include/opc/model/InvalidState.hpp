// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// What every layer below the package model may throw too.
namespace opc::model {

/// The operation cannot be carried out now: an output stream is open, a manager's package is gone, or calls come out of
/// order. The object is unchanged.
class ZT_API InvalidState : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace opc::model
