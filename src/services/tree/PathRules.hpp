// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace opc::ztservices {

/// The maximum number of UTF-16 code units of a path or link target. With every character escaped, it is still an
/// attribute that the manifest reader accepts.
inline constexpr std::size_t kMaximumNameUnits = 131'072;

/// Checks a path or link target before it enters the tree. Throws InvalidEntryName, which shows it escaped, where it is
/// too long or XML cannot carry it: otherwise a manifest could be written that cannot be read back.
void throwIfNotCarriable(std::u16string_view text);

/// The rules that turn a caller's text into a path of the package's file system. They change separators only: ".",
/// "..", repeated and trailing slashes stay.
namespace paths {

/// Drops the first of two leading backslashes and turns every other one into a slash.
std::u16string convertSeparators(std::u16string_view text);

/// Converts the separators and puts a missing leading "/" in front.
std::u16string normalizePath(std::u16string_view path);

/// `path` without the leading `root` and one "/" after it. Compares texts, not components. Throws
/// CouldNotMakeRelativeToSourceRoot where `path` does not begin with `root`.
std::u16string makeRelativePath(std::u16string_view root, std::u16string_view path);

/// The text without trailing slashes; of slashes alone one stays.
std::u16string_view withoutTrailingSlashes(std::u16string_view path);

/// The path with one slash in the place of several leading ones.
std::u16string_view withoutRepeatedLeadingSlashes(std::u16string_view path);

/// The place of the path on a disk, below the root: without empty and "." segments, with a slash before each of the
/// others. Empty for the root.
std::u16string collapse(std::u16string_view path);

}  // namespace paths

/// The names along a path, from the outermost folder to the path itself. The first step of an absolute path is "/",
/// the root; every further one is a segment: "/a/b" gives "/", "a", "b" and "a/b" gives "a", "b".
///
/// Repeated slashes have empty segments between them, so that "/a//b" gives "/", "a", "", "b". No path begins with
/// two slashes (FileSystemNode).
class PathSteps {
 public:
  explicit PathSteps(std::u16string_view path) : rest_(path) {}
  /// The steps of `path` after its first `length` code units, which are whole steps.
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
