// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "container/Content.hpp"
#include "container/ItemStream.hpp"

namespace opc::model::zip {

/// How much of the content the probe looks at.
inline constexpr std::size_t kProbeSize = 64u << 10;

/// Whether these bytes are worth deflating. Media, archives and ciphertext are not, and are found out here
/// at the price of a quick look at their beginning.
bool doesShrink(void const* data, std::size_t count);

/// Deflates everything at once. The result is empty when it would not be smaller than the content.
Buffer deflateWhole(Effort effort, void const* data, std::size_t count);

inline constexpr std::size_t kDeflateChunk = 1u << 20;
inline constexpr std::size_t kDeflateWindow = 32u << 10;

/// Deflates one chunk of a content, of kDeflateChunk bytes unless it is the `last`. Chunks are independent but for
/// the up to kDeflateWindow bytes `before` each, so that memory is bounded, several can be deflated at a time, and
/// the bytes depend on nothing but the content.
Buffer deflateChunk(Effort effort, void const* before, std::size_t beforeCount, void const* data, std::size_t count,
                    bool last);

}  // namespace opc::model::zip
