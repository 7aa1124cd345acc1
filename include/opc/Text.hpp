// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "opc/Export.hpp"

/// Texts and paths as a caller has them. The interface is UTF-16; each function that opens, creates, adds, extracts or
/// looks up something has an overload for UTF-8, so that a program can write "a.txt" for u"a.txt".
namespace opc {

/// UTF-16: a string, a view or a literal u"...".
template <typename T>
concept Utf16Text = std::convertible_to<T const&, std::u16string_view>;

/// std::filesystem::path, whose names are UTF-8 on the disk in every locale.
template <typename T>
concept DiskPath = requires(T const& path) {
  { path.native() } -> std::convertible_to<std::string const&>;
};

/// UTF-8: std::string, std::string_view, "...", u8"...", or a path. Ill-formed UTF-8 throws InvalidText, which names
/// the first such byte.
template <typename T>
concept Utf8Text = !Utf16Text<T> && (std::convertible_to<T const&, std::string_view> ||
                                     std::convertible_to<T const&, std::u8string_view> || DiskPath<T>);

template <typename T>
concept AnyText = Utf16Text<T> || Utf8Text<T>;

/// For functions with two texts that have a UTF-16 form already.
template <typename A, typename B>
concept AnyUtf8Text = AnyText<A> && AnyText<B> &&(Utf8Text<A> || Utf8Text<B>);

namespace detail {
ZT_API std::u16string fromUTF8(std::string_view utf8);
}

/// Converts any of them to UTF-16. Throws InvalidText for ill-formed UTF-8; UTF-16 passes unchanged.
template <AnyText T>
std::u16string toUTF16(T const& text) {
  if constexpr (Utf16Text<T>) {
    return std::u16string(std::u16string_view(text));
  } else if constexpr (std::convertible_to<T const&, std::string_view>) {
    return detail::fromUTF8(text);
  } else if constexpr (std::convertible_to<T const&, std::u8string_view>) {
    std::u8string_view const view = text;
    return detail::fromUTF8({reinterpret_cast<char const*>(view.data()), view.size()});
  } else {
    return detail::fromUTF8(text.native());
  }
}

}  // namespace opc
