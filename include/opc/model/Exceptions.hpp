// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Exception.hpp"
#include "opc/Export.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "opc/model/InvalidState.hpp"
#include "opc/model/XmlExceptions.hpp"

/// The exceptions of the package model. Those that report a failure of the disk carry the system's error code; the code
/// of the others is empty. Messages name the package, part or item, escaped for display.
namespace opc::model {

/// The content of a part parses but lacks what its kind needs.
class ZT_API InvalidPartContent : public Exception {
 public:
  using Exception::Exception;
};

/// A text is no valid part name where one is required.
class ZT_API InvalidPartName : public Exception {
 public:
  using Exception::Exception;
};

/// A text is no media type.
class ZT_API InvalidContentType : public Exception {
 public:
  using Exception::Exception;
};

/// A text is no URI reference, or it cannot be resolved.
class ZT_API InvalidURI : public Exception {
 public:
  using Exception::Exception;
};

/// A relationship has an invalid or repeated id, or a target that its mode does not allow.
class ZT_API InvalidRelationship : public Exception {
 public:
  using Exception::Exception;
};

/// There is no part of that name, or no longer.
class ZT_API PartNotFound : public Exception {
 public:
  using Exception::Exception;
};

/// The source has no relationship with that id.
class ZT_API RelationshipNotFound : public Exception {
 public:
  using Exception::Exception;
};

/// The name of a new part is equivalent to that of an existing part, or one continues the other.
class ZT_API PartNameClash : public Exception {
 public:
  using Exception::Exception;
};

/// The package was opened without write access.
class ZT_API PackageIsReadOnly : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace opc::model
