// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "container/Inflate.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// Reads an item's stored bytes, counted from the first of them; keeps alive what it reads from.
using StoredBytes = std::function<void(std::uint64_t offset, void* buffer, std::size_t count)>;

/// Whether an item is checked as a whole before its first byte is handed out.
bool isVerifiedWhole(ItemFacts const& facts);

/// Whether its stored bytes are few enough, too, to be read at once. (Nothing honest makes them many.)
bool isReadWhole(ItemFacts const& facts);

/// Over content that is in memory and verified.
std::unique_ptr<InputStream> makeStream(Buffer content);

/// The item's content, verified before its first or before its last byte; throws InvalidItem.
std::unique_ptr<InputStream> openItem(ItemFacts facts, StoredBytes source);

}  // namespace opc::model::zip
