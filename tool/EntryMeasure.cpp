// SPDX-License-Identifier: Apache-2.0
#include "EntryMeasure.hpp"

#include <utility>

#include "Amounts.hpp"
#include "Errors.hpp"
#include "NewParents.hpp"
#include "Paths.hpp"

namespace ztpkg {

EntryMeasure measureEntries(opc::ztservices::FileSystemManager const& manager) {
  EntryMeasure measure;
  std::u16string previous;
  manager.visitLeafs([&](opc::ztservices::FileSystemEntry const& leaf) {
    std::u16string path = leaf.getPathName();
    ++measure.count;
    measure.leafCharacters += path.size();
    visitNewParents(path, previous, [&](std::u16string_view folder) {
      ++measure.count;
      measure.folderCharacters += folder.size();
      return true;
    });
    previous = std::move(path);
  });
  return measure;
}

void throwIfTooDeep(EntryMeasure const& measure, std::string const& package) {
  constexpr std::uint64_t kAlwaysTaken = 1U << 26, kFoldersToALeaf = 16;
  if (measure.folderCharacters <= kAlwaysTaken + kFoldersToALeaf * measure.leafCharacters) return;
  std::u16string const name = fromArgument(package);
  throw Failure(Report{Exit::Package, "too-deep",
                       "the folders of " + shown(name) + " are nested so deep that their paths would fill " +
                           sizeText(measure.folderCharacters),
                       name});
}

}  // namespace ztpkg
