// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// What the services throw. Each class adds nothing but its name; which operation throws it, and whether
/// it carries the system's error code, stands with the operation.
namespace opc::ztservices {

#define ZT_EXCEPTION(name)               \
  class ZT_API name : public Exception { \
   public:                               \
    using Exception::Exception;          \
  }

ZT_EXCEPTION(CouldNotOpenFile);

ZT_EXCEPTION(CouldNotTransformContentType);
ZT_EXCEPTION(CouldNotTransformContentData);

ZT_EXCEPTION(FileSystemEntryAlreadyExists);
ZT_EXCEPTION(FileSystemEntryNotFound);
ZT_EXCEPTION(FileSystemEntryHasNoParent);
ZT_EXCEPTION(FileSystemEntryMustBeFile);
ZT_EXCEPTION(FileSystemEntryMustBeLink);
ZT_EXCEPTION(FileSystemEntryMustBeFolder);
ZT_EXCEPTION(CouldNotMakeRelativeToSourceRoot);

ZT_EXCEPTION(CouldNotGetPermissions);
ZT_EXCEPTION(CouldNotGetLastModifiedTime);
ZT_EXCEPTION(CouldNotSetPermissions);
ZT_EXCEPTION(CouldNotSetLastModifiedTime);
ZT_EXCEPTION(CouldNotCreateFile);
ZT_EXCEPTION(CouldNotCreateLink);
ZT_EXCEPTION(CouldNotCreateFolder);
ZT_EXCEPTION(CouldNotCreateDestinationRoot);
ZT_EXCEPTION(CouldNotCreateDestinationParent);
ZT_EXCEPTION(CouldNotGetSourceFilesAndLinks);

ZT_EXCEPTION(CouldNotConvertFileSystemManifest);
ZT_EXCEPTION(CannotChangeEncryption);
ZT_EXCEPTION(CouldNotDecryptContent);
ZT_EXCEPTION(InvalidIVBytesSize);

/// A cipher entry that cannot be added, or cipher data with two for one selector.
ZT_EXCEPTION(InvalidCipherData);
ZT_EXCEPTION(CipherEntryNotFound);

/// A value that an extended core property cannot take.
ZT_EXCEPTION(InvalidCorePropertyValue);
/// Extended core properties that cannot be loaded or saved.
ZT_EXCEPTION(InvalidCoreProperties);

/// A file was opened for extraction but could not be written to its end.
ZT_EXCEPTION(CouldNotWriteFile);
/// A path or link target that the manifest could not carry, or a name on disk that is not UTF-8.
ZT_EXCEPTION(InvalidEntryName);
/// An entry that would leave the directory that it is extracted to.
ZT_EXCEPTION(UnsafeEntryPath);

#undef ZT_EXCEPTION

}  // namespace opc::ztservices
