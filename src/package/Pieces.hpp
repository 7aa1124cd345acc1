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

/// Reads several items of an archive one after the other. Keeps the archive alive.
class PieceStream final : public InputStream {
 public:
  PieceStream(std::shared_ptr<zip::Archive const> archive, std::vector<std::uint32_t> pieces);

  void reset() override;
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override;
  void clear() override;

 private:
  /// Moves to the next piece that has bytes left, or to the end of the last.
  void skipEnded();

  std::shared_ptr<zip::Archive const> archive_;
  std::vector<std::uint32_t> pieces_;
  std::size_t next_ = 0;  // behind the current piece
  std::unique_ptr<InputStream> current_;
};

/// The content of all pieces. Verified before the stream delivers the first byte if it is small enough for an archive
/// to verify an item whole.
std::unique_ptr<InputStream> openPieces(std::shared_ptr<zip::Archive const> archive,
                                        std::vector<std::uint32_t> const& pieces);

struct PieceName {
  std::string_view whole;  // name of the part
  std::uint32_t number;
  bool isLast;
};

/// Parses an item's name; absent where it is not that of a piece.
std::optional<PieceName> parsePieceName(std::string_view item);

/// Sorts pieces into sequences, one for each part.
class PieceCollector {
 public:
  struct Sequence {
    std::string name;  // of the part, as in the first piece
    std::vector<std::uint32_t> items;
    bool isComplete;
  };

  /// Throws InvalidPackage for a second piece with the same number.
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
