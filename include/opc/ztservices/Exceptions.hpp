// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// The exceptions of the services. Each class derives from opc::Exception and adds nothing but its name. The comment of
/// an operation says which of them it throws. Where the disk refused something, the exception carries the system's
/// error code; the comments below name the exceptions to that rule.
namespace opc::ztservices {

#define ZT_EXCEPTION(name)               \
  class ZT_API name : public Exception { \
   public:                               \
    using Exception::Exception;          \
  }

/// A content source cannot open its file. The message names the path; the code is empty.
ZT_EXCEPTION(CouldNotOpenFile);

/// A transform failed. The message names the content type of the wrapped source. For data: the key is wrong, or the
/// data was modified.
ZT_EXCEPTION(CouldNotTransformContentType);
ZT_EXCEPTION(CouldNotTransformContentData);

/// An operation on the tree does not fit what is at the path. These carry no code, and the first two name the path.
ZT_EXCEPTION(FileSystemEntryAlreadyExists);
ZT_EXCEPTION(FileSystemEntryNotFound);
ZT_EXCEPTION(FileSystemEntryHasNoParent);
ZT_EXCEPTION(FileSystemEntryMustBeFile);
ZT_EXCEPTION(FileSystemEntryMustBeLink);
ZT_EXCEPTION(FileSystemEntryMustBeFolder);
/// An entry cannot be moved below itself. No code; the message names the new path.
ZT_EXCEPTION(CannotMoveIntoItself);
/// A path, or the absolute target of a link, lies outside the source root. No code.
ZT_EXCEPTION(CouldNotMakeRelativeToSourceRoot);

/// The disk refused to read from the source or to write to the destination. CouldNotCreateFile and
/// CouldNotGetSourceFilesAndLinks carry no code.
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

/// A manifest of version 1 cannot be upgraded.
ZT_EXCEPTION(CouldNotConvertFileSystemManifest);
/// A package with a plain manifest cannot get an encrypted one, nor the other way round.
ZT_EXCEPTION(CannotChangeEncryption);
/// A content is longer than one encrypted message can be (2^36 - 32 bytes). The message names the file.
ZT_EXCEPTION(ContentTooLongToEncrypt);
/// Content or a manifest is encrypted, and decryption is not enabled.
ZT_EXCEPTION(CouldNotDecryptContent);
/// The password is not the one that the package is protected with. No code.
ZT_EXCEPTION(WrongPassword);
/// Bytes for initialization vectors that are too few.
ZT_EXCEPTION(InvalidIVBytesSize);

/// A cipher entry that cannot be added, or cipher data with two for one selector.
ZT_EXCEPTION(InvalidCipherData);
/// No cipher entry has the selector.
ZT_EXCEPTION(CipherEntryNotFound);

/// A value that an extended core property cannot take.
ZT_EXCEPTION(InvalidCorePropertyValue);
/// Extended core properties that cannot be loaded or saved.
ZT_EXCEPTION(InvalidCoreProperties);

/// A file was opened for extraction but could not be written to its end; carries the code. The file may be incomplete.
ZT_EXCEPTION(CouldNotWriteFile);
/// A path or link target that the manifest could not carry, or a name on disk that is not UTF-8.
ZT_EXCEPTION(InvalidEntryName);
/// An entry that extraction would write outside the destination, or below another entry that is a file. Extraction
/// wrote nothing for it.
ZT_EXCEPTION(UnsafeEntryPath);
/// A manager would overwrite the file system that another manager of the package has saved meanwhile.
ZT_EXCEPTION(FileSystemConflict);

#undef ZT_EXCEPTION

}  // namespace opc::ztservices
