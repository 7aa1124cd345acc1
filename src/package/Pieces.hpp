// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Items that hold one piece of a part (ECMA-376-2, 10.1.3): "NAME/[0].piece" ... "NAME/[n].last.piece".
namespace opc::model::detail {

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
