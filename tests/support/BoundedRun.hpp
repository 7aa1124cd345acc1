// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

namespace zt_test {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kUnderAddressSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kUnderAddressSanitizer = __has_feature(address_sanitizer);
#else
inline constexpr bool kUnderAddressSanitizer = false;
#endif

/// Runs a step that may take 10 s of processor time and 1 GiB of memory: in a process of its own, or in this one under
/// AddressSanitizer, which takes memory without asking and makes forks slow. Returns the step's result, 0 to
/// 99, or nothing where it threw, took more or crashed (this process then ends); what it threw is printed.
std::optional<int> runBounded(std::function<int()> const& step);

}  // namespace zt_test
