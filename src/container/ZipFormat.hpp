// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// The records of a ZIP file: signatures, sizes and their little-endian numbers.
namespace opc::model::zip {

inline constexpr std::uint32_t kLocalSignature = 0x04034b50;
inline constexpr std::uint32_t kCentralSignature = 0x02014b50;
inline constexpr std::uint32_t kDirectorySignature = 0x05054b50;
inline constexpr std::uint32_t kEndSignature = 0x06054b50;
inline constexpr std::uint32_t kZip64EndSignature = 0x06064b50;
inline constexpr std::uint32_t kZip64LocatorSignature = 0x07064b50;
inline constexpr std::uint32_t kDescriptorSignature = 0x08074b50;

// Without their names, extra fields and comments.
inline constexpr std::size_t kLocalSize = 30;
inline constexpr std::size_t kCentralSize = 46;
inline constexpr std::size_t kDirectorySignatureSize = 6;
inline constexpr std::size_t kEndSize = 22;
inline constexpr std::size_t kZip64EndSize = 56;
inline constexpr std::size_t kZip64LocatorSize = 20;
inline constexpr std::size_t kMaximumDescriptorSize = 24;

inline constexpr std::uint16_t kStored = 0;
inline constexpr std::uint16_t kDeflated = 8;

inline constexpr std::uint16_t kEncryptedFlag = 1u << 0;
inline constexpr std::uint16_t kDescriptorFlag = 1u << 3;
inline constexpr std::uint16_t kPatchFlag = 1u << 5;
inline constexpr std::uint16_t kStrongEncryptionFlag = 1u << 6;
inline constexpr std::uint16_t kUtf8Flag = 1u << 11;
inline constexpr std::uint16_t kMaskedFlag = 1u << 13;

inline constexpr std::uint16_t kZip64Extra = 0x0001;
inline constexpr std::uint16_t kGrowthHintExtra = 0xA220;  // with room for growth (ECMA-376-2, Annex C)
inline constexpr std::uint16_t kGrowthHintSignature = 0xA028;
inline constexpr std::uint16_t kUnicodePathExtra = 0x7075;
inline constexpr std::uint16_t kChunksExtra = 0x437A;  // our own, of no registered meaning: a ChunkIndex

// A number that is too large for its place is this, and stands in the zip64 field or record.
inline constexpr std::uint16_t kIn64Short = 0xFFFF;
inline constexpr std::uint32_t kIn64 = 0xFFFFFFFF;

inline std::uint32_t narrowed(std::uint64_t value, bool isIn64) {
  return isIn64 ? kIn64 : static_cast<std::uint32_t>(value);
}

// "Version made by" and "version needed".
inline constexpr std::uint16_t kDeflateVersion = 20;
inline constexpr std::uint16_t kZip64Version = 45;
inline constexpr std::uint16_t kMadeOnUnix = 3u << 8;

inline std::uint16_t load16(unsigned char const* p) { return static_cast<std::uint16_t>(p[0] | p[1] << 8); }
inline std::uint32_t load32(unsigned char const* p) {
  return load16(p) | static_cast<std::uint32_t>(load16(p + 2)) << 16;
}
inline std::uint64_t load64(unsigned char const* p) {
  return load32(p) | static_cast<std::uint64_t>(load32(p + 4)) << 32;
}

inline unsigned char const* bytesOf(std::string_view text) {
  return reinterpret_cast<unsigned char const*>(text.data());
}
inline std::string_view textAt(unsigned char const* p, std::size_t count) {
  return {reinterpret_cast<char const*>(p), count};
}

/// Appends numbers and texts to a byte vector.
class RecordWriter {
 public:
  explicit RecordWriter(std::vector<unsigned char>& bytes) : bytes_(bytes) {}

  RecordWriter& u16(std::uint16_t value) { return number(value, 2); }
  RecordWriter& u32(std::uint32_t value) { return number(value, 4); }
  RecordWriter& u64(std::uint64_t value) { return number(value, 8); }
  RecordWriter& text(std::string_view text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }

 private:
  RecordWriter& number(std::uint64_t value, std::size_t size) {
    std::size_t const at = bytes_.size();
    bytes_.resize(at + size);
    for (std::size_t i = 0; i < size; ++i) bytes_[at + i] = static_cast<unsigned char>(value >> 8 * i);
    return *this;
  }

  std::vector<unsigned char>& bytes_;
};

}  // namespace opc::model::zip
