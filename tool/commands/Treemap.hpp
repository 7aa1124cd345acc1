// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace ztpkg {

/// A drawing of where the bytes of a package are: nested boxes, one for each folder and file, with areas in proportion
/// to their bytes (SVG 1.1, without scripts and references to other files). Boxes too small to be seen are left out.
class Treemap {
 public:
  /// Adds bytes at a path, whose names are separated by slashes.
  void add(std::u16string_view path, std::uint64_t bytes);
  /// The drawing, as UTF-8. `title` is the name of the package.
  std::string svg(std::u16string const& title) const;

 private:
  struct Node {
    std::uint64_t bytes = 0;
    std::map<std::u16string, std::unique_ptr<Node>, std::less<>> children{};
  };
  struct Box {
    double x, y, width, height;
  };
  class Drawing;

  Node root_;
};

}  // namespace ztpkg
