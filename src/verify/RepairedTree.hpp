// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "opc/Streams.hpp"
#include "opc/ztservices/Repair.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemTree.hpp"

namespace opc::ztservices {

/// How far the entries of a manifest can be relied on.
enum class EntryTrust {
  All,   ///< its bytes are right, perhaps up to where they are cut off
  Files  ///< its bytes may be wrong: files count whose contents have the name that follows from the path
};

/// The parts that a repair has saved, by name.
struct SavedParts {
  std::set<std::u16string> all;
  std::set<std::u16string> compressed;  ///< those that are compressed and encrypted
  std::set<std::u16string> targets;     ///< those that relationships lead to
};

/// The entries of a file system that is being repaired.
class RepairedTree {
 public:
  /// Reads a manifest to its end or its first fault. Returns whether it reached the end.
  bool read(InputStream& manifest, UsualNames const& leftOut = {});
  /// Drops the entries that are not certain, and files whose contents are not among the parts that were saved; the
  /// report lists them. Then adds entries for the contents among these parts that belong to none.
  void settle(EntryTrust trust, SavedParts const& saved, RepairReport& report);

  /// Whether the entries differ from those that were read.
  bool hasChanged() const { return hasChanged_; }
  bool isVersion1() const;
  /// Whether nothing was read.
  bool isEmpty() const { return read_.getLeafNodes().empty(); }
  void write(OutputStream& manifest) const;

 private:
  static bool isKept(FileSystemNode const& node, EntryTrust trust, SavedParts const& saved);
  void addFound(std::u16string const& part, bool isCompressed, RepairReport& report);

  FileSystemTree read_;
  FileSystemTree kept_;
  bool hasChanged_ = false;
};

}  // namespace opc::ztservices
