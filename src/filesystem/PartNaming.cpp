// SPDX-License-Identifier: Apache-2.0
#include "filesystem/PartNaming.hpp"

#include <algorithm>

#include "opc/Strings.hpp"

namespace opc::ztservices {
namespace {

constexpr char16_t kContentRoot[] = u"/fsroot";
constexpr char kUnescaped[] = "/+@";

/// Before the last dot of the whole name, which may stand in a folder's component; else at the end.
std::size_t positionBeforeExtension(std::u16string const& name) { return std::min(name.rfind(u'.'), name.size()); }

}  // namespace

// The suffixes accumulate: a second clash of /fsroot/a_1.txt leads to /fsroot/a_1_2.txt.
std::u16string makeUniquePartName(model::Package const& package, std::u16string const& path) {
  std::u16string name = kContentRoot + model::URI::encodeComponent(path, kUnescaped);
  for (std::size_t count = 1;; ++count) {
    std::size_t position = positionBeforeExtension(name);
    if (model::PartName const candidate(name); !package.hasPart(candidate)) {
      std::u16string existing;
      if (!package.isPartDerivedFromExistingPartName(candidate, existing)) return name;
      // An existing part that lies below the candidate has the longer name.
      position = std::min(existing.size(), name.size());
    }
    name.insert(position, u"_" + opc::toString(std::to_string(count)));
  }
}

}  // namespace opc::ztservices
