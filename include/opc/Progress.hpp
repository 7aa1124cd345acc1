// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

/// Progress and cancellation of long operations.
namespace opc {

/// How far one operation is. Bytes are those of contents: as files have them for adding, extracting and changing keys;
/// as the container stores them for saving; inflated for verifying. The done counts never exceed the totals.
struct Progress {
  std::uint64_t files = 0;     ///< done; of a save and a verification: items of the container
  std::uint64_t bytes = 0;     ///< done
  std::uint64_t allFiles = 0;  ///< in all
  std::uint64_t allBytes = 0;  ///< in all; an estimate from the beginning of the operation
};

/// Watches operations, and may end them. A value; empty members do nothing.
struct Monitor {
  /// Called when an operation begins its work, then about every 20 milliseconds while bytes move, and when the work is
  /// done. False ends the operation with Cancelled; what it throws ends the operation too. The operation may call it on
  /// its own threads, but never on two at a time, and not after it has returned. It must not use the package.
  std::function<bool(Progress const&)> report = {};
  /// A stop request, from any thread, ends the operation with Cancelled.
  std::stop_token stop = {};
};

/// The monitor ended the operation, within 100 milliseconds; docs/how-to.md lists the calls that take longer. No
/// temporary file remains, and a package that was to be replaced is as before.
class ZT_API Cancelled : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace opc
