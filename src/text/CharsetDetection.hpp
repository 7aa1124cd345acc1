// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

namespace fl::i18n {

/// Name of the character set that the text is written in, with which codecvt_string_to_ustring converts all of it:
/// "UTF-8" for well-formed UTF-8, to which plain ASCII and empty text belong. In this order:
///
/// 1. A byte-order mark decides, and the name says the byte order.
/// 2. UTF-16 and UTF-32 without a mark show by the bytes that other text never has (NUL and the like). Text
///    without a single one, a few ideographs without punctuation, is not recognised.
/// 3. ASCII with the escape sequences of ISO-2022 is in the variant that they belong to.
/// 4. What is well-formed UTF-8 is UTF-8.
/// 5. Statistics over the first lines that hold more than ASCII, up to 8 KiB, tell the older character sets. Where
///    several fit (those of DOS share most letters, say, and text of a few words fits many), it is the likelier.
/// 6. Where the whole text cannot be of that set, the user's default encoding is tried; that it was taken is
///    said in one line on `diagnostics`, under the `name` of the text.
///
/// Throws opc::UndecodableText when none of them can be it: text that breaks the promise of its mark, UTF-8 that
/// was damaged, and bytes with NULs and other controls that text does not have.
std::string detect_charset(char const* bytes, std::size_t count, std::ostream& diagnostics, std::u16string const& name);

}  // namespace fl::i18n
