// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "container/Archive.hpp"
#include "opc/Streams.hpp"

namespace opc::model::detail {

/// Several items of an archive, one behind the other (ECMA-376-2, 10.1.3). Keeps the archive alive.
class PieceStream final : public InputStream {
 public:
  PieceStream(std::shared_ptr<zip::Archive const> archive, std::vector<std::uint32_t> pieces);

  void reset() override;
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override;
  void clear() override;

 private:
  /// To the first piece from the current one on that has bytes left, or to the end of the last.
  void skipEnded();

  std::shared_ptr<zip::Archive const> archive_;
  std::vector<std::uint32_t> pieces_;
  std::size_t next_ = 0;  // behind the current piece
  std::unique_ptr<InputStream> current_;
};

/// The whole of the pieces; verified before the first byte is handed out where it is as small as an item
/// for which the archive does so.
std::unique_ptr<InputStream> openPieces(std::shared_ptr<zip::Archive const> archive,
                                        std::vector<std::uint32_t> const& pieces);

}  // namespace opc::model::detail
