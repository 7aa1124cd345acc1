// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/Part.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/Relationship.hpp"

namespace opc::model {

class DataManager;

enum class AccessMode { ReadOnly, ReadWrite };
enum class Existing { Refuse, Replace };

/// How hard content is compressed when it is written: Default has the size of zlib's level 6.
enum class CompressionLevel { Fast, Default, Small };

/// Limits on what open() takes in: beyond one of them it throws InvalidPackage, which says the limit and what
/// exceeds it, before more is held in memory; for the last one see there. The defaults are far beyond honest packages.
struct OpenOptions {
  std::uint64_t maximumItems = 4'000'000;            ///< items of the container
  std::uint64_t maximumTotalBytes = 1ULL << 44;      ///< all items together, inflated, as they declare it (16 TiB)
  std::uint64_t maximumMarkupBytes = 1'073'741'824;  ///< the content types and all relationships parts, inflated
  std::uint64_t maximumContentTypes = 4'000'000;     ///< defaults and overrides of the content types
  std::uint64_t maximumRelationships = 4'000'000;    ///< relationships of the package and of all its parts
  std::size_t maximumXmlDepth = 256;                 ///< nesting of elements
  std::size_t maximumXmlAttributeBytes = 1'048'576;  ///< one attribute of these documents
  /// A part that is held whole, as FileSystemManager does to decrypt one, which takes about twice as much memory: a
  /// larger one throws InvalidItem when it is to be read, before anything is held. The default (64 GiB) is the longest
  /// message that AES-GCM allows (NIST SP 800-38D), with its vector and tag.
  std::uint64_t maximumWholePartBytes = 1ULL << 36;
};

/// A package of the Open Packaging Conventions (ECMA-376-2): a ZIP container of named parts with content
/// types and relationships. Opens, edits and saves packages of any maker; items that are not parts, and
/// parts that nothing touched, are kept byte for byte.
///
/// Changes live in memory and in an unlinked temporary file beside the target until save(); a package
/// that is destroyed without save() leaves its file as it was. A package and everything obtained from it
/// is used by one thread at a time; different packages are independent. A package must outlive its
/// managers; one that does not detaches them, and they throw InvalidState from then on. So do handles and
/// output streams when something is to be changed, since it could never be saved.
class ZT_API Package : public RelationshipSource {
 public:
  /// A new package whose file appears at the first save(). Existing::Refuse throws CouldNotSavePackage, now
  /// or at that save, when something is at the path.
  static std::unique_ptr<Package> create(std::u16string const& path, Existing existing = Existing::Refuse);
  static std::unique_ptr<Package> createInMemory();

  /// Throws CouldNotOpenPackage when the file cannot be read and InvalidPackage, naming the path and the
  /// fault, when it is not a package. Opening keeps nothing locked.
  static std::unique_ptr<Package> open(std::u16string const& path, AccessMode mode, OpenOptions const& options = {});
  static std::unique_ptr<Package> openInMemory(std::vector<unsigned char> bytes, AccessMode mode,
                                               OpenOptions const& options = {});

  Package(Package const&) = delete;
  Package& operator=(Package const&) = delete;
  ~Package() override;

  /// Calls doSave of each dirty manager in order of registration, then replaces the file in one step: the
  /// new package is written beside it and renamed, so that at every instant the path holds the whole old or
  /// the whole new one. After an exception the file is as before, the managers are still dirty and the
  /// package can be used and saved again. Throws InvalidState, naming the part, while an output stream is
  /// open or when a manager calls this, what an unclosed stream could not complete, PackageIsReadOnly,
  /// CouldNotSavePackage, CouldNotOpenPackage when what is kept can no longer be read from the old file.
  ///
  /// A file that is no longer the one that was opened or last saved is never overwritten: PackageHasChanged. That
  /// is checked before the work and again, under an advisory lock (flock) of the directory, right before the file
  /// is replaced, so that of several processes that edit one package none loses what another has saved. The lock is
  /// held for instants and waited for; PackageIsBusy after ten seconds. Where the system has no such lock for the
  /// directory (some network file systems, a directory that may not be read) the save goes without it.
  /// A save removes the temporary files that killed processes have left beside the package.
  ///
  /// In memory it replaces the bytes that the package reads from. One failure comes
  /// after the replacement: when the directory cannot be synced, CouldNotSavePackage means that the new
  /// package is in place, but may not survive a power failure; saving again is all there is to do.
  void save();
  /// The same at another path, to which the package is bound afterwards. Works on a read-only package,
  /// which stays read-only.
  void saveAs(std::u16string const& path, Existing existing = Existing::Refuse);
  /// The same into memory: doSave of each dirty manager runs, but the package stays bound to where it was,
  /// and managers and parts to their unsaved state.
  std::vector<unsigned char> saveToBytes();

  /// Whether the package was opened without write access.
  virtual bool isReadOnly() const;

  /// A new, empty part. Throws InvalidPartName, InvalidContentType (one that the standard defines for the
  /// package's own parts, with parameters: ECMA-376-2, 9.1.2), PartNameClash (names equal but for ASCII case, or one
  /// formed from the other by adding segments: ECMA-376-2, 9.1.1.4), PackageIsReadOnly.
  Part createPart(PartName const& name, ContentType const& type, IPhysicalPartInfo const& info);
  /// Deletes the part and its relationships; relationships that target it stay. Throws PartNotFound,
  /// PackageIsReadOnly, InvalidState for a relationships part.
  void deletePart(PartName const& name);
  /// Throws PartNotFound.
  Part getPart(PartName const& name) const;
  /// Whether a part of exactly that name exists.
  bool hasPart(PartName const& name) const;
  /// All parts in name order, relationships parts included.
  std::vector<PartName> getPartNames() const;

  /// Whether createPart would refuse the name because of an existing part, or because of one of its own
  /// segments (empty, ending in a dot, reserved for relationships). `existing` receives the clashing name:
  /// the shortest existing one that the name equals or continues, else the smallest that continues it,
  /// compared segment by segment; for a bad segment, where no shorter existing name clashes, the name up to
  /// and including it. It is left alone where nothing clashes. A name that is merely too long is no clash.
  /// O(log n) in the number of parts.
  bool isPartDerivedFromExistingPartName(PartName const& name, std::u16string& existing) const;

  /// Names of the container's items that are not parts (folders, items without a content type or with a
  /// name that no part may bear), as stored; they are kept when the package is saved.
  std::vector<std::u16string> getItemNames() const;

  /// OpenOptions::maximumWholePartBytes as it was given to open(), for those who hold parts whole.
  std::uint64_t getMaximumWholePartBytes() const;

  /// Applies to what is written from now on.
  void setCompressionLevel(CompressionLevel level);

  /// Has what is written to parts compressed on so many threads of the package's own, beside the caller, who goes on
  /// when a stream is closed, and written to files on others; 0, as at first, for none. Content and saved bytes are the
  /// same for any number. What waits for the threads, or for the spool behind them, holds at most 64 MiB, beyond which
  /// writes wait. What goes wrong there is thrown by the next write or save(), and tried again by the one after that.
  /// Whoever reads a part, or asks for its size, gets what was last written, and may wait for it. Throws what went
  /// wrong before.
  void setCompressionThreads(unsigned count);

 private:
  friend class DataManager;
  friend class PackageHelper;
  explicit Package(std::shared_ptr<detail::PackageState> state);
};

}  // namespace opc::model
