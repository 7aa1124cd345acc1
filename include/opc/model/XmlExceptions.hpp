// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// Exceptions of the XML layer. Their error code is empty.
namespace opc::model {

/// A schema that the library embeds could not be loaded.
class ZT_API InvalidXMLSchema : public Exception {
 public:
  using Exception::Exception;
};

/// A document cannot be read or written: it is not well formed, not valid, or beyond a limit.
class ZT_API InvalidXMLDocument : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace opc::model
