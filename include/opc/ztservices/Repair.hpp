// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Text.hpp"
#include "opc/model/Package.hpp"

namespace opc::ztservices {

/// Limits, the key and a checkpoint for repairPackage(). A value, apart from the borrowed key.
struct RepairOptions {
  model::OpenOptions limits{};  ///< as for Package::open(); exceeding one of them throws InvalidPackage
  /// 32 bytes, as FileSystemManager::enableDecryption() takes them; null for no key. Borrowed and not copied.
  std::vector<unsigned char> const* key = nullptr;
  /// Asked for the key if `key` is null, with what can be read of the damaged package, such as its cipher data; null
  /// for no key. The package is read once more then. May be empty; what it throws ends the repair.
  std::function<std::vector<unsigned char> const*(model::Package& damaged)> findKey{};
  /// Called between parts; may throw to end the repair, which then has written nothing. May be empty.
  std::function<void()> checkpoint{};
};

/// What became of the manifest of the file system.
enum class ManifestOutcome {
  None,     ///< the package has no file system
  Whole,    ///< all its entries are known
  Partial,  ///< it is damaged; those of its entries that are certain were kept
  Lost,     ///< nothing of it can be read
  Locked    ///< it is whole and encrypted, and there is no key: it was kept as it is, and its entries are unknown
};

/// The result of repairPackage(). A value.
struct ZT_API RepairReport {
  /// Contents that no entry names, and the path that they have got.
  struct Found {
    std::u16string part;
    std::u16string path;
  };

  std::uint64_t parts = 0;                  ///< that were saved, without relationships parts
  std::uint64_t bytes = 0;                  ///< in these parts
  std::vector<std::u16string> savedParts;   ///< the names of these parts, in the order of saving
  std::vector<std::u16string> lostParts;    ///< parts that are damaged, or missing although the package names them
  std::vector<std::u16string> lostEntries;  ///< paths whose contents are lost, or that are not certain
  std::vector<Found> found;                 ///< contents whose entries are lost
  std::uint64_t lostRelationships = 0;      ///< of those that could be read: those that lead to lost parts
  bool areContentTypesLost =
      false;  ///< the package's own parts then have their usual types, others application/octet-stream
  ManifestOutcome manifest = ManifestOutcome::None;
  bool isKeyWrong = false;  ///< the key decrypts nothing; nothing was written

  /// Whether all that the damaged package shows to have held is in the new one.
  bool isComplete() const;
};

/// Saves everything that is sound in a damaged or cut package to a new one at `target`, where nothing may be. The
/// source is only read. A part is sound if its bytes have the length and the CRC that the container gives; parts are
/// found by the container's directory or, where that is damaged, by their local headers, whose names nothing verifies.
/// Sound parts come back byte for byte with their content types and relationships, and no other part does.
///
/// The manifest of a file system is kept as it is where it is sound and lists no lost contents. Otherwise a new one has
/// the entries that can be read, without those whose contents are lost. Contents that no entry names get an entry below
/// "/lost+found". An encrypted manifest needs the key for this. Nothing is guessed.
///
/// Throws model::CouldNotOpenPackage when the source cannot be read, model::InvalidPackage when it holds no item of a
/// container or exceeds a limit, model::CouldNotSavePackage as Package::save(), opc::Exception for a key that has not
/// 32 bytes. After an exception there is no file at `target`.
ZT_API RepairReport repairPackage(std::u16string const& path, std::u16string const& target,
                                  RepairOptions const& options = {});
/// The same for paths as UTF-8 (opc/Text.hpp).
template <AnyText Path, AnyText Target>
requires AnyUtf8Text<Path, Target> RepairReport repairPackage(Path const& path, Target const& target,
                                                              RepairOptions const& options = {}) {
  return repairPackage(toUTF16(path), toUTF16(target), options);
}

}  // namespace opc::ztservices
