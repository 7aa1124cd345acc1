// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::unicode {

/// The text as passwords are compared: a space in place of every other space separator, in Normalization Form C (RFC
/// 8265, 4.2.2). A byte-order mark at its head is no part of it. Lone surrogates stay. The working memory is that of
/// the result, so that a caller who wipes the result leaves no copy.
std::u16string toOpaqueString(std::u16string const& text);

}  // namespace opc::unicode
