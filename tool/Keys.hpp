// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "opc/model/Package.hpp"
#include "opc/ztservices/FileSystem.hpp"

/// The keys of encrypted file systems. They come by files, never as arguments, which every user of the machine sees.
namespace ztpkg {

/// Bytes that are overwritten at the end.
class Secret {
 public:
  explicit Secret(std::vector<unsigned char> bytes = {}) : bytes_(std::move(bytes)) {}
  ~Secret();
  Secret(Secret const&) = delete;
  Secret& operator=(Secret const&) = delete;

  std::vector<unsigned char>& bytes() { return bytes_; }
  std::vector<unsigned char> const& bytes() const { return bytes_; }

 private:
  std::vector<unsigned char> bytes_;
};

/// The key in a file, which the user names: 32 bytes, or 64 hexadecimal digits and perhaps the end of a line. Throws
/// Failure. The process leaves no core file from then on.
class Key {
 public:
  explicit Key(std::string const& file);

  std::vector<unsigned char> const& bytes() const { return bytes_.bytes(); }

 private:
  Secret bytes_;
};

/// Lets the manager read what is encrypted, where the user names a file with the key.
void enableDecryption(opc::ztservices::FileSystemManager& manager, std::string const& keyFile);

/// The bytes that an even number of hexadecimal digits stand for; empty where the text is anything else.
std::vector<unsigned char> fromHex(std::string_view digits);

/// How large the contents of a part are: of encrypted ones without initialization vector and tag.
std::uint64_t contentSize(opc::model::Part const& part);

}  // namespace ztpkg
