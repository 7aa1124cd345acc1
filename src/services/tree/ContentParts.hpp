// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "opc/model/Package.hpp"
#include "opc/model/PartName.hpp"
#include "services/tree/FileSystemTree.hpp"

namespace opc::ztservices {

/// The content parts that the entries of a loaded tree name. Manifests of other makers may name one part several times,
/// parts that are missing, and parts that belong to others. Files that are added later have parts of their own, which
/// need not be known here. Borrows the package.
class ContentParts {
 public:
  ContentParts(FileSystemTree const& tree, model::Package const& package);

  /// Whether an entry of the loaded tree names the part.
  bool isNamed(std::u16string const& part) const;
  bool isShared(std::u16string const& part) const;
  /// Forgets one entry that names the part. Returns whether the part goes with it: it exists, no other entry names it,
  /// and it belongs to the file system.
  bool release(std::u16string const& part);
  /// Whether a part that an entry names belongs to the file system: it is no relationships part, and no relationship
  /// led to it when this was first asked.
  bool isOwn(model::PartName const& part);
  /// Whether the name is one that the file system gives to contents.
  static bool isNameOfContent(model::PartName const& part);

 private:
  model::Package const& package_;
  std::vector<std::uint64_t> named_;                     // hashes of the names, in order: one takes eight bytes
  std::unordered_set<std::uint64_t> released_;           // of named_
  std::map<std::u16string, std::size_t> shared_;         // the number of entries of each part that several name
  std::optional<std::vector<model::PartName>> targets_;  // of relationships, in order, once they are asked for
};

}  // namespace opc::ztservices
