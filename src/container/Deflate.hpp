// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "container/ItemStream.hpp"

/// Compression of contents.
namespace opc::model::zip {

/// How hard to deflate, if at all.
enum class Effort { Store, Fast, Default, Small };

/// How many bytes of a content the probe reads.
inline constexpr std::size_t kProbeSize = 64u << 10;

/// Contents up to this size are deflated at once. No cancellation ends that call, and a longer one takes over 100
/// milliseconds at the highest level.
inline constexpr std::size_t kWholeBytes = 2u << 20;

/// Whether deflating these bytes saves space. A quick look at the beginning of media, archives and ciphertext answers
/// no.
bool doesShrink(void const* data, std::size_t count);

/// Deflates everything at once. The result is empty when it would not be smaller than the content.
Buffer deflateWhole(Effort effort, void const* data, std::size_t count);

/// Deflates one chunk of a long content. Chunks are independent, so several can be deflated and inflated at a time, and
/// the bytes depend on nothing but the content. Their results, one behind the other, are one deflate stream: each but
/// the `last` ends with an empty stored block, on a byte.
Buffer deflateChunk(Effort effort, void const* data, std::size_t count, bool last);

}  // namespace opc::model::zip
