// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace opc::ztservices {

/// The most UTF-16 code units of a path or link target. With every character escaped, it is still an attribute that
/// the manifest reader accepts.
inline constexpr std::size_t kMaximumNameUnits = 131'072;

/// Checks a path or link target that is about to enter the tree. Throws InvalidEntryName, which shows it escaped,
/// where it is too long or XML cannot carry it: otherwise a manifest could be written that cannot be read back.
void throwIfNotCarriable(std::u16string_view text);

}  // namespace opc::ztservices
