// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// Exceptions of the container. Those that the disk causes carry the system's error code; the code of the others is
/// empty.
namespace opc::model {

/// The bytes are no package, or the package is damaged.
class ZT_API InvalidPackage : public Exception {
 public:
  using Exception::Exception;
};

/// One item of an otherwise sound package cannot be read: it has a wrong CRC or length or an unknown method, or it is
/// encrypted by the container format.
class ZT_API InvalidItem : public Exception {
 public:
  using Exception::Exception;
};

/// The system refuses to open or read the file of a package. Carries the system's code.
class ZT_API CouldNotOpenPackage : public Exception {
 public:
  using Exception::Exception;
};

/// The system refuses to write the file of a package or its temporary file. Carries the system's code; the code is
/// empty where the format cannot hold an item. The former file is whole.
class ZT_API CouldNotSavePackage : public Exception {
 public:
  using Exception::Exception;
};

/// A save would overwrite the work of another program: the file was written, replaced or removed since this package
/// opened it or last saved it. Carries ESTALE. The file is left alone; open it anew, or save elsewhere with saveAs().
class ZT_API PackageHasChanged : public CouldNotSavePackage {
 public:
  using CouldNotSavePackage::CouldNotSavePackage;
};

/// Other processes held the lock of the package's file for so long that a save gave up. Carries EBUSY. Nothing has
/// changed, and the save can be repeated.
class ZT_API PackageIsBusy : public CouldNotSavePackage {
 public:
  using CouldNotSavePackage::CouldNotSavePackage;
};

/// A save has put the new package in the place of the old one, but the system could not sync the directory: after a
/// power failure the old one may be back. Carries the system's code. Saving again syncs again.
class ZT_API PackageNotSynced : public CouldNotSavePackage {
 public:
  using CouldNotSavePackage::CouldNotSavePackage;
};

}  // namespace opc::model
