// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "opc/Streams.hpp"

namespace opc::model::zip {

class Spool;

/// How hard to deflate, if at all.
enum class Effort { Store, Fast, Default, Small };

/// One item's compressed content, complete and immutable. It keeps the bytes alive, also when the store that it came
/// from has started again.
struct Content {
  std::shared_ptr<Spool const> spool;  // where the bytes are; null for an empty content that nobody wrote
  std::uint64_t offset = 0;
  std::uint64_t storedSize = 0;
  std::uint64_t size = 0;
  std::uint32_t crc = 0;
  std::uint16_t method = 0;  // 0 stored, 8 deflated

  /// The content, inflated and verified as Archive::openContent does it. `name` is for messages.
  std::unique_ptr<InputStream> open(std::string const& name) const;
};

}  // namespace opc::model::zip
