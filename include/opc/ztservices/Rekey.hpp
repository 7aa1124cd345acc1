// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Progress.hpp"
#include "opc/Text.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "opc/ztservices/Encryption.hpp"

namespace opc::ztservices {

/// How rekeyPackage() changes the encryption of a file system. The keys are borrowed.
struct RekeyOptions {
  std::vector<unsigned char> const* oldKey = nullptr;  ///< 32 bytes; null for a file system that is not encrypted
  std::vector<unsigned char> const* newKey = nullptr;  ///< 32 bytes; null for one that will not be encrypted
  Compression compression = Compression::None;         ///< of contents that are encrypted with the new key
  /// What derives the new key from a password; absent for a key without a password. The entry that the package has for
  /// its file system is replaced or removed in any case.
  std::optional<CipherEntry> passwordEntry = {};
  /// Called for each file, before it is read, with the files and stored bytes that are done and those of the whole
  /// file system; may be empty. What it throws ends the operation.
  using Progress = opc::Progress;
  std::function<void(Progress const&)> progress = {};
  model::SaveOptions save = {};
  unsigned threads = 0;  ///< that compress contents beside the caller's; the result is the same for any number
  Monitor monitor = {};  ///< watches the whole operation, the save included
};

/// Gives the file system of a package another key, encrypts a plain one, or makes an encrypted one plain: it stores
/// each content and the manifest anew, with random initialization vectors, under part names of the new key. Everything
/// else in the package stays as it is: other parts, relationships, core properties and items that are no parts.
/// The tree keeps its paths, links, permissions and times. Contents pass in pieces, and no decrypted content is written
/// to a disk unless the new file system is plain.
///
/// The package at `source` is read, and one at `destination` takes the result in one save; the two may be the same
/// path, and at every instant that path then holds the whole old or the whole new package. Otherwise nothing may be at
/// `destination`, and the source stays. Copies and backups of the old package stay readable with the old key.
///
/// Throws CannotChangeEncryption for a new key that equals the old one, for no key at all, and for an old key where the
/// file system is plain; opc::Exception where the package has no file system; what Package::open(), the save and
/// FileSystemManager throw. After an exception both paths are as before.
ZT_API void rekeyPackage(std::u16string const& source, std::u16string const& destination, RekeyOptions const& options);
/// The same for paths as UTF-8 (opc/Text.hpp).
template <AnyText Source, AnyText Destination>
requires AnyUtf8Text<Source, Destination>
void rekeyPackage(Source const& source, Destination const& destination, RekeyOptions const& options) {
  rekeyPackage(toUTF16(source), toUTF16(destination), options);
}

}  // namespace opc::ztservices
