// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "opc/ztservices/Encryption.hpp"
#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace zt_test {

using opc::ztservices::IVMode;
using Bytes = std::vector<unsigned char>;

inline constexpr char kWrongManifest[] =
    "Failure when attempting to transform data for content "
    "type:application/vnd.corvanta.package.filesystemManifest+xml;encryption=AES256-GCM;iv=inline";
inline constexpr char kWrongContent[] =
    "Failure when attempting to transform data for content "
    "type:application/octet-stream;encryption=AES256-GCM;iv=inline";
inline constexpr char kDamagedLine[] =
    "An error occurred during decryption:The key is wrong or the content is damaged\n";
inline constexpr std::size_t kIVBytes = 16;
inline constexpr std::size_t kTagBytes = 16;

/// The bytes 0, 1, 2 ...
inline Bytes countingBytes(std::size_t count) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(i);
  return bytes;
}
inline Bytes testKey() { return countingBytes(32); }
inline Bytes otherKey() {
  Bytes key = testKey();
  key.back() ^= 1;
  return key;
}

/// A new package in memory whose manager has both directions enabled.
struct NewEncryptedFileSystem : NewFileSystem {
  explicit NewEncryptedFileSystem(IVMode mode = IVMode::Random, Bytes const& ivBytes = {}) {
    manager.enableEncryption(testKey(), mode, ivBytes);
    manager.enableDecryption(testKey());
  }
};

inline std::string decryptedTextAt(FileSystemManager& manager, std::u16string const& path) {
  auto const source = manager.getFileContentSource(manager.getEntry(path), TransformMode::Transform);
  return readAll(source->getInputStream());
}

inline void overwritePart(Package& package, std::u16string const& name, std::string const& bytes) {
  auto const output = package.getPart(PartName(name)).getOutputStream();
  output->write(bytes.data(), bytes.size());
  output->close();
}

/// Keeps off the terminal what failing transforms print, and tells it.
class CapturedLines {
 public:
  CapturedLines() { testing::internal::CaptureStdout(); }
  ~CapturedLines() {
    if (!taken_) testing::internal::GetCapturedStdout();
  }
  CapturedLines(CapturedLines const&) = delete;
  CapturedLines& operator=(CapturedLines const&) = delete;

  std::string take() {
    taken_ = true;
    return testing::internal::GetCapturedStdout();
  }

 private:
  bool taken_ = false;
};

}  // namespace zt_test
