// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "container/Archive.hpp"
#include "opc/Streams.hpp"

/// Items that hold one piece of a part (ECMA-376-2, 10.1.3): "NAME/[0].piece" ... "NAME/[n].last.piece".
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

struct PieceName {
  std::string_view whole;  // what the pieces make up
  std::uint32_t number;
  bool isLast;
};

/// The parts of an item's name where it is a piece's.
std::optional<PieceName> parsePieceName(std::string_view item);

class PieceCollector {
 public:
  struct Sequence {
    std::string name;  // of the whole, as the first piece bears it
    std::vector<std::uint32_t> items;
    bool isComplete;
  };

  /// Throws InvalidPackage, the fault alone, for a second piece of the same number.
  void add(PieceName const& piece, std::uint32_t item);
  std::vector<Sequence> sequences() const;

 private:
  struct Piece {
    std::string_view whole;
    std::uint32_t item;
    bool isLast;
  };

  std::map<std::string, std::map<std::uint32_t, Piece>> pieces_;  // by name in lower case, by number
};

}  // namespace opc::model::detail
