// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "io/Watch.hpp"
#include "opc/Streams.hpp"
#include "services/tree/FileSystemNode.hpp"
#include "verify/EncryptionCheck.hpp"
#include "verify/FaultList.hpp"
#include "verify/PackageCheck.hpp"

namespace opc::ztservices {

/// An entry as a manifest lists it.
struct ManifestEntry {
  FileSystemNodeType type;
  std::u16string path;
  std::u16string content;                     // part of a file, target of a link (in version 1: the part that holds it)
  std::optional<std::uint64_t> deflatedFrom;  // as FileSystemNode has it
};

/// Receives a code, the path as it is written, and a description of the fault.
using EntryFaultSink = std::function<void(char const* code, std::u16string const& path, std::string const& what)>;

/// Reads a manifest of either version as a manager does, but continues behind the entries at which a manager stops.
/// Throws InvalidXMLDocument for a document that is not well formed or not valid, after everything in front of the
/// fault has been reported.
void readManifestEntries(InputStream& input, std::function<void(ManifestEntry)> const& take,
                         EntryFaultSink const& reportFault, UsualNames const& leftOut = {});

/// Checks the manifest of a file system by itself and against the parts. A package without one has no faults here.
class FileSystemCheck {
 public:
  /// All are borrowed.
  FileSystemCheck(PackageCheck const& package, EncryptionCheck const& encryption, FaultList& faults, Watch& watch);

  /// False for a wrong key: there are encrypted parts, and it decrypts no part.
  /// Then the faults are those that show without a key.
  bool check();

  struct Listed {
    std::u16string path;
    FileSystemNodeType type;
  };

 private:
  CheckedPart const* findManifest();
  bool read(CheckedPart const& manifest);
  void take(ManifestEntry const& entry, bool isVersion1);
  void checkContent(ManifestEntry const& entry);
  void checkLinkTarget(ManifestEntry const& entry, bool isVersion1);
  bool isForeign(CheckedPart const& part) const;
  void checkPlaces();
  void checkUnreferenced();
  void checkManifest(CheckedPart const& manifest);
  bool isKeyWrong(CheckedPart const* manifest) const;
  void checkEncryption(CheckedPart const* manifest);
  void checkEncrypted(CheckedPart const& part, std::u16string const& path);
  bool isContents(CheckedPart const& part) const;

  PackageCheck const& package_;
  EncryptionCheck const& encryption_;
  FaultList& faults_;
  Watch& watch_;
  std::vector<Listed> entries_;
  std::vector<bool> isTarget_;         // of each part: whether a relationship leads to it
  std::vector<std::uint32_t> owners_;  // of each part: the number of its first entry, from 1; 0 for none
  bool isDecrypted_ = false;           // whether the manifest was encrypted, and the key opened it
  bool isKeyWrong_ = false;
};

}  // namespace opc::ztservices
