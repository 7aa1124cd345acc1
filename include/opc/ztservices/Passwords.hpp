// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "opc/Export.hpp"
#include "opc/Text.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "opc/ztservices/FileSystem.hpp"

/// File systems that a password protects. The key is derived by scrypt; the package holds what derives it again, but
/// neither the password nor the key. `ztpkg` reads and writes the same packages.
///
/// All functions that take a password throw opc::Exception for one that is no valid UTF-16, WrongPassword for another
/// one than the package's, and CipherEntryNotFound for a package without a password. A derivation takes as long as its
/// PasswordCost says; one beyond the bounds of CostRule::Bounded throws opc::Exception before it begins. Keys are
/// wiped, the caller's password is not.
namespace opc::ztservices {

/// Protects a file system that has no files yet: files and manifest that are added from now on are encrypted. The
/// package records how the key follows from the password; its next save writes that too. Throws CannotChangeEncryption
/// where the package has a file system already (protectWithPassword for its path encrypts that), and changes nothing.
ZT_API void protectWithPassword(FileSystemManager& files, std::u16string const& password,
                                PasswordCost const& cost = {});
/// Makes the files of a protected package readable, and, in a writable package, encrypts those that are added.
ZT_API void unlockWithPassword(FileSystemManager& files, std::u16string const& password);

/// Encrypts the plain file system of the package at the path, in one save. Throws CannotChangeEncryption where it is
/// encrypted already, and as rekeyPackage().
ZT_API void protectWithPassword(std::u16string const& package, std::u16string const& password,
                                PasswordCost const& cost = {});
/// Stores the file system of the package at the path without encryption, in one save. Throws as rekeyPackage().
ZT_API void removePassword(std::u16string const& package, std::u16string const& password);

/// The same for UTF-8 (opc/Text.hpp).
void protectWithPassword(FileSystemManager& files, Utf8Text auto const& password, PasswordCost const& cost = {}) {
  protectWithPassword(files, toUTF16(password), cost);
}
void unlockWithPassword(FileSystemManager& files, Utf8Text auto const& password) {
  unlockWithPassword(files, toUTF16(password));
}
template <AnyText Path, AnyText Password>
requires AnyUtf8Text<Path, Password>
void protectWithPassword(Path const& package, Password const& password, PasswordCost const& cost = {}) {
  protectWithPassword(toUTF16(package), toUTF16(password), cost);
}
template <AnyText Path, AnyText Password>
requires AnyUtf8Text<Path, Password>
void removePassword(Path const& package, Password const& password) {
  removePassword(toUTF16(package), toUTF16(password));
}

}  // namespace opc::ztservices
