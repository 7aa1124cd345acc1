// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "opc/ztservices/FileSystem.hpp"
#include "secrets/PasswordInput.hpp"
#include "secrets/Secrets.hpp"

/// The keys of encrypted file systems. They come from files and passwords, never from arguments, which every user of
/// the machine sees.
namespace ztpkg {

/// The key in a file, which the user names: 32 bytes, or 64 hexadecimal digits and perhaps the end of a line. Throws
/// Failure. The process leaves no core file from then on.
std::unique_ptr<Secret const> readKey(std::string const& file);

/// The bytes of an even number of hexadecimal digits; empty for any other text.
std::vector<unsigned char> fromHex(std::string_view digits);

/// Where the key of a package comes from; at most one of the two is set.
struct KeyOptions {
  std::string file = {};  ///< empty for none
  PasswordOptions password = {};

  bool isGiven() const { return !file.empty() || password.isGiven(); }
};

/// The key of a package's file system. If the options name none and the package has a password, asks for it on the
/// terminal; null if the package needs none. Throws Failure, also for a wrong password; `path` is the user's text for
/// the package.
std::unique_ptr<Secret const> findKey(opc::ztservices::FileSystemManager const& manager, KeyOptions const& options,
                                      std::string const& path);

/// Enables decryption if there is a key, which is returned.
std::unique_ptr<Secret const> enableDecryption(opc::ztservices::FileSystemManager& manager, KeyOptions const& options,
                                               std::string const& path);

/// An encrypted package stays encrypted when it is changed, with random initialization vectors: a counter from
/// elsewhere cannot be continued. A plain package stays plain; a key for it is a Failure, so that no package holds in
/// the clear what its user believes encrypted.
void keepEncryption(opc::ztservices::FileSystemManager& manager, Secret const* key, KeyOptions const& options,
                    std::string const& path);

}  // namespace ztpkg
