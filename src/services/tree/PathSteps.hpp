// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace opc::ztservices {

/// The names along a path, from the outermost folder to the path itself. The first step of an absolute path
/// is "/", the root; every further one is a segment: "/a/b" gives "/", "a", "b" and "a/b" gives "a", "b".
///
/// Repeated slashes have empty segments between them, so that "/a//b" gives "/", "a", "", "b". No path begins
/// with two of them (FileSystemNode).
class PathSteps {
 public:
  explicit PathSteps(std::u16string_view path) : rest_(path) {}
  /// The steps of `path` that come after those that its first `length` code units are.
  static PathSteps after(std::u16string_view path, std::size_t length);

  bool atEnd() const { return atEnd_; }
  std::u16string_view next();

 private:
  std::u16string_view take(std::size_t length, std::size_t separator);

  std::u16string_view rest_;
  bool atStart_ = true;
  bool atEnd_ = false;
};

}  // namespace opc::ztservices
