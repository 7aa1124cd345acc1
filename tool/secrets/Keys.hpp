// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "opc/model/Package.hpp"

/// The keys of encrypted file systems. They come by files and passwords, never as arguments, which every user of the
/// machine sees.
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
std::unique_ptr<Secret const> readKey(std::string const& file);

/// The bytes that an even number of hexadecimal digits stand for; empty where the text is anything else.
std::vector<unsigned char> fromHex(std::string_view digits);

/// How large the contents of a part are: of encrypted ones without initialization vector and tag.
std::uint64_t contentSize(opc::model::Part const& part);

}  // namespace ztpkg
