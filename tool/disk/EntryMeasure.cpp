// SPDX-License-Identifier: Apache-2.0
#include "disk/EntryMeasure.hpp"

#include <string_view>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "disk/Paths.hpp"

namespace ztpkg {

void EntryMeasure::add(std::u16string const& path) {
  ++count_;
  leafCharacters_ += path.size();
  visitNewParents(path, previous_, [this](std::u16string_view folder) {
    ++count_;
    folderCharacters_ += folder.size();
    return true;
  });
  previous_ = path;
}

EntryMeasure measureEntries(opc::ztservices::FileSystemManager const& manager) {
  EntryMeasure measure;
  manager.visitLeafs([&](opc::ztservices::FileSystemEntry const& leaf) { measure.add(leaf.getPathName()); });
  return measure;
}

void throwIfTooDeep(EntryMeasure const& measure, std::string const& package) {
  constexpr std::uint64_t kAlwaysTaken = 1U << 26, kFoldersToALeaf = 16;
  if (measure.folderCharacters() <= kAlwaysTaken + kFoldersToALeaf * measure.leafCharacters()) return;
  std::u16string const name = fromArgument(package);
  throw Failure(Report{Exit::Package, "too-deep",
                       "the folders of " + shown(name) + " are nested so deep that their paths would fill " +
                           sizeText(measure.folderCharacters()),
                       name});
}

}  // namespace ztpkg
