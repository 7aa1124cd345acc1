// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "verification/FaultList.hpp"
#include "verification/ManifestEntries.hpp"
#include "verification/PackageCheck.hpp"

namespace opc::ztservices {

/// The manifest of a file system against itself and against the parts. A package without one has no faults here.
class FileSystemCheck {
 public:
  FileSystemCheck(PackageCheck const& package, FaultList& faults);

  void check();

  struct Listed {
    std::u16string path;
    FileSystemNodeType type;
  };

 private:
  CheckedPart const* findManifest();
  bool read(CheckedPart const& manifest);
  void take(ManifestEntry const& entry, bool isVersion1);
  void checkContent(ManifestEntry const& entry);
  void checkPlaces();
  void checkUnreferenced();
  void checkEncrypted(CheckedPart const& part, std::u16string const& path);

  PackageCheck const& package_;
  FaultList& faults_;
  std::vector<Listed> entries_;
  std::vector<std::uint32_t> owners_;  // of each part: the number of its first entry, from 1; 0 for none
};

}  // namespace opc::ztservices
