// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace opc::model::zip {

/// Whether every field of the block ends within it. Up to three bytes behind the last field are padding.
bool extraFieldsFit(std::string_view extra);

/// Whether that padding is all zeros.
bool isPaddedWithZeros(std::string_view extra);

/// The data of the first field of that kind.
std::optional<std::string_view> findExtraField(std::string_view extra, std::uint16_t id);

/// The block without the fields of that kind; what cannot be parsed is kept.
std::string withoutExtraField(std::string_view extra, std::uint16_t id);

/// The numbers of a zip64 field, taken in the order of the format.
class Zip64Numbers {
 public:
  explicit Zip64Numbers(std::string_view extra);
  /// Replaces the value when it is the sign for "see zip64 field". False when the field does not have it.
  bool widen(std::uint64_t& value);
  /// The same for the number of the disk.
  bool widenDisk(std::uint32_t& disk);

 private:
  std::string_view rest_;
};

/// Whether a Unicode path field gives an item with a plain ASCII name another one. (A name in another
/// encoding may well have a different one in UTF-8.)
bool isRenamedByUnicodePath(std::string_view name, std::string_view extra);

}  // namespace opc::model::zip
