// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <cstdint>
#include <string>

#include "opc/Strings.hpp"

/// The messages of FileSystemManager's exceptions.
namespace opc::ztservices::messages {

inline constexpr char kHasNoParent[] = "File system entry has no parent";
inline constexpr char kMustBeFile[] = "File system entry must be a file";
inline constexpr char kMustBeFolder[] = "File system entry must be a folder";
inline constexpr char kMustBeLink[] = "File system entry must be a link";
inline constexpr char kMustBeSymbolicLink[] = "File system entry must be a symbolic link";
inline constexpr char kNotBelowSourceRoot[] = "Could not make source file name relative to source root";

inline constexpr char kCannotStartEncryption[] =
    "Cannot change from a non-encrypted file system to an encrypted file-system";
inline constexpr char kCannotStopEncryption[] = "Cannot save an encrypted file system while encryption is not enabled";
inline constexpr char kNoKeyToChange[] = "There is neither an old nor a new key";
inline constexpr char kSameKey[] = "The new key is the old one";
inline constexpr char kIsNotEncrypted[] = "The file system is not encrypted, so that it has no old key";
inline constexpr char kIsEncrypted[] = "The file system is encrypted already";
inline constexpr char kHasFileSystem[] = "The package has a file system already, whose files would stay as they are";
inline constexpr char kWrongPassword[] = "The password is wrong";
inline constexpr char kNoFileSystem[] = "The package has no file system";
inline constexpr char kManifestIsEncrypted[] = "Manifest is encrypted but enableDecryption() has not been called yet";
inline constexpr char kContentIsEncrypted[] = "Content is encrypted but enableDecryption() has not been called yet";
inline constexpr char kConflict[] = "The file system was saved by another manager after it was loaded";
inline constexpr char kUnknownConversionFault[] = "Unknown error converting from V1 manifest to current format.";

// These are followed by a path.
inline constexpr char kAlreadyExists[] = "File system entry already exists: ";
inline constexpr char kDoesNotExist[] = "File system entry does not exist: ";
inline constexpr char kMoveIntoItself[] = "File system entry cannot be moved below itself: ";
inline constexpr char kMoveTooDeep[] = "Name cannot be stored: a path would become too long below ";
inline constexpr char kContentWithoutEntry[] = "No entry has this content, which would keep its old key: ";
inline constexpr char kContentOfOthers[] =
    "A relationship leads to the content of this entry, which would keep its old key: ";
inline constexpr char kManifestOfOthers[] =
    "A relationship of another type leads to the manifest, which would keep its old key: ";
inline constexpr char kLinkWithoutTarget[] = "Link has no target: ";
inline constexpr char kNoLinkTarget[] = "Could not read link target for: ";
inline constexpr char kLinkTargetTooLong[] = "Link target is too long for: ";
inline constexpr char kNoSource[] = "There is no content source for: ";
inline constexpr char kUnsafePath[] = "Entry path leaves the destination root: ";
inline constexpr char kPathBelowFile[] = "Entry path leads below a file: ";
inline constexpr char kCouldNotCreateFile[] = "Could not create file: ";

// These are followed by the text of an error.
inline constexpr char kCouldNotConvert[] = "Error converting from V1 manifest to current format: ";
inline constexpr char kCouldNotList[] = "Could not get source files and links at source root: ";
inline constexpr char kCouldNotGetPermissions[] = "Could not get permissions: ";
inline constexpr char kCouldNotGetTime[] = "Could not get last modified time: ";
inline constexpr char kCouldNotCreateRoot[] = "Could not create the destination root directory: ";
inline constexpr char kCouldNotCreateParent[] = "Could not create the destination parent directory: ";

// These are followed by a path, ": " and the text of an error.
inline constexpr char kCouldNotCreateFolder[] = "Could not create folder: ";
inline constexpr char kCouldNotCreateLink[] = "Could not create link: ";
inline constexpr char kCouldNotWriteFile[] = "Could not write file: ";
inline constexpr char kCouldNotSetTime[] = "Could not set last modified time: ";
inline constexpr char kCouldNotSetPermissions[] = "Could not set permissions: ";

inline std::string withPath(char const* text, std::u16string const& path) { return text + toUDEString(path); }

inline std::string withError(char const* text, boost::system::error_code const& error) {
  return text + error.message();
}

inline std::string withPathAndError(char const* text, std::u16string const& path,
                                    boost::system::error_code const& error) {
  return withPath(text, path) + ": " + error.message();
}

inline std::string tooLongToEncrypt(std::u16string const& file, std::uint64_t size, std::uint64_t maximum) {
  return toUDEString(escapeForDisplay(file)) + ": it has " + std::to_string(size) + " bytes, and no more than " +
         std::to_string(maximum) + " can be encrypted";
}

inline std::string tooLongToDecrypt(std::u16string const& part, std::uint64_t size, std::uint64_t maximum) {
  return toUDEString(escapeForDisplay(part)) + ": it is encrypted and has " + std::to_string(size) +
         " bytes, and no more than " + std::to_string(maximum) + " can be decrypted";
}

inline std::string markedOtherwise(std::u16string const& part) {
  return toUDEString(escapeForDisplay(part)) +
         ": its content type and the manifest say different things of its encryption and compression";
}

inline std::string cannotBeEncrypted(std::u16string const& part, std::uint64_t storedSize, std::uint64_t size) {
  return toUDEString(escapeForDisplay(part)) + ": it cannot be encrypted, as its content type says that it is: its " +
         std::to_string(size) + " bytes take only " + std::to_string(storedSize) + " in the package";
}

}  // namespace opc::ztservices::messages
