// SPDX-License-Identifier: Apache-2.0
#include "text/OpaqueString.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>

#include "opc/Exception.hpp"
#include "text/Narrow.hpp"

namespace opc::unicode {
namespace {

constexpr char16_t kByteOrderMark = u'\uFEFF';
constexpr std::size_t kLargestGrowth = 3;  // of Normalization Form C in UTF-16
constexpr std::size_t kOnTheHeap = 16;     // moving a shorter string would leave a copy behind

[[noreturn]] void throwNotNormalized(UErrorCode error) {
  if (error == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  throw Exception(std::string("A text could not be normalized: ") + u_errorName(error));
}

}  // namespace

// Spaces are replaced last: normalization keeps each of them a space or makes it another one.
std::u16string toOpaqueString(std::u16string const& text) {
  std::u16string_view rest(text);
  if (rest.starts_with(kByteOrderMark)) rest.remove_prefix(1);
  std::u16string normal(std::max(kLargestGrowth * rest.size(), kOnTheHeap), u'\0');
  UErrorCode error = U_ZERO_ERROR;
  UNormalizer2 const* const form = unorm2_getNFCInstance(&error);
  std::int32_t const size = unorm2_normalize(form, rest.data(), narrow<std::int32_t>(rest.size()), normal.data(),
                                             narrow<std::int32_t>(normal.size()), &error);
  if (U_FAILURE(error)) throwNotNormalized(error);
  normal.resize(static_cast<std::size_t>(size));
  for (char16_t& unit : normal)
    if (u_charType(unit) == U_SPACE_SEPARATOR) unit = u' ';
  return normal;
}

}  // namespace opc::unicode
