// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// The exceptions of the package model. Those that report a failure of the disk carry the system's error code; the code
/// of the others is empty. Messages name the package, part or item, escaped for display.
namespace opc::model {

/// A schema embedded in the library could not be loaded.
class ZT_API InvalidXMLSchema : public Exception {
 public:
  using Exception::Exception;
};

/// XML that cannot be read (or written) as a document: not well formed, not valid, or beyond a limit.
class ZT_API InvalidXMLDocument : public Exception {
 public:
  using Exception::Exception;
};

/// A part whose content parses but lacks what its kind needs.
class ZT_API InvalidPartContent : public Exception {
 public:
  using Exception::Exception;
};

/// The bytes are not a package, or a damaged one.
class ZT_API InvalidPackage : public Exception {
 public:
  using Exception::Exception;
};

/// One item of an otherwise sound package cannot be read: wrong CRC or length, unknown method, encrypted.
class ZT_API InvalidItem : public Exception {
 public:
  using Exception::Exception;
};

/// A text that is no valid part name where one is required.
class ZT_API InvalidPartName : public Exception {
 public:
  using Exception::Exception;
};

/// A text that is no media type.
class ZT_API InvalidContentType : public Exception {
 public:
  using Exception::Exception;
};

/// A text that is no URI reference, or cannot be resolved.
class ZT_API InvalidURI : public Exception {
 public:
  using Exception::Exception;
};

/// A relationship with a bad or repeated id, or a target that its mode does not allow.
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

/// A new part's name is equal to, or derived from, the name of an existing part.
class ZT_API PartNameClash : public Exception {
 public:
  using Exception::Exception;
};

/// A change was asked of a package that was opened without write access.
class ZT_API PackageIsReadOnly : public Exception {
 public:
  using Exception::Exception;
};

/// The operation cannot be carried out now: an output stream is open, or a manager's package is gone.
class ZT_API InvalidState : public Exception {
 public:
  using Exception::Exception;
};

/// The file of a package could not be opened or read; carries the system's code.
class ZT_API CouldNotOpenPackage : public Exception {
 public:
  using Exception::Exception;
};

/// The file of a package, or the temporary file of its spool, could not be written; carries the code.
class ZT_API CouldNotSavePackage : public Exception {
 public:
  using Exception::Exception;
};

/// A save would have lost somebody else's: the file was written, replaced or removed since this package opened or
/// last saved it (code ESTALE). The file is left alone; open it anew, or save elsewhere with saveAs().
class ZT_API PackageHasChanged : public CouldNotSavePackage {
 public:
  using CouldNotSavePackage::CouldNotSavePackage;
};

/// Others held the lock of the file's directory for so long that a save gave up (code EBUSY). Nothing has changed,
/// and the save can be repeated.
class ZT_API PackageIsBusy : public CouldNotSavePackage {
 public:
  using CouldNotSavePackage::CouldNotSavePackage;
};

}  // namespace opc::model
