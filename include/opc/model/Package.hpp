// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Progress.hpp"
#include "opc/Text.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/Part.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/Relationship.hpp"

namespace opc::model {

class DataManager;

/// What a package object may do with its package. ReadOnly refuses every change and save() with PackageIsReadOnly;
/// saveAs() and saveToBytes() work.
enum class AccessMode { ReadOnly, ReadWrite };
/// What happens to a file, folder or link that is already at the path of a new package. Replace puts the package in
/// the place of a file when it is saved, never before.
enum class Existing { Refuse, Replace };

/// How hard content is compressed when it is written. Default compresses about as well as zlib's level 6, Fast
/// compresses less and Small more. The level is no part of the package: readers need not know it.
enum class CompressionLevel { Fast, Default, Small };

/// Limits that protect open() from hostile packages. Beyond one of them open() throws InvalidPackage, which names the
/// limit and what exceeds it, before it holds more in memory. Honest packages stay far below the defaults.
struct OpenOptions {
  std::uint64_t maximumItems = 4'000'000;            ///< items of the container
  std::uint64_t maximumTotalBytes = 1ULL << 44;      ///< all items together, inflated, as they declare it (16 TiB)
  std::uint64_t maximumMarkupBytes = 1'073'741'824;  ///< the content types and all relationships parts, inflated
  std::uint64_t maximumContentTypes = 4'000'000;     ///< defaults and overrides of the content types
  std::uint64_t maximumRelationships = 4'000'000;    ///< relationships of the package and of all its parts
  std::size_t maximumXmlDepth = 256;                 ///< nesting of elements
  std::size_t maximumXmlAttributeBytes = 1'048'576;  ///< one attribute of these documents

  /// Opens a file for writing that the process may not write, for saveAs() or for SaveOptions::replaceProtected.
  bool openProtected = false;
};

/// What a save may do that it refuses by default.
struct SaveOptions {
  /// Replaces a file that the process may not write, and a file whose owner or group it cannot keep. The new file then
  /// belongs to the process, without the mode bits that would concern another owner or group.
  bool replaceProtected = false;
};

/// A package of the Open Packaging Conventions (ECMA-376-2): a ZIP container (clause 10) of named parts with content
/// types and relationships. The class opens, edits and saves packages of any maker. It keeps items that are not parts,
/// and parts that nothing touched, byte for byte.
///
/// Changes live in memory and in an unlinked temporary file beside the target until save(). A package that is
/// destroyed without save() leaves its file as it was. Paths are on the local disk, UTF-8 there in every locale; a
/// relative one is made absolute at once, so a later change of the working directory does not matter.
///
/// One thread at a time uses a package and everything obtained from it. Different packages are independent.
///
/// A package should outlive its managers and handles. Destroying it first detaches them: managers throw InvalidState
/// from then on; handles and output streams do so when they are to change something, which could never be saved.
/// Open input streams stay usable.
///
/// Operations that change a package give the strong guarantee: after an exception the package is as before the call,
/// if nothing else is said. They throw PackageIsReadOnly for a package opened without write access, and
/// CouldNotSavePackage when the temporary file cannot be written.
class ZT_API Package : public RelationshipSource {
 public:
  /// A new package without parts. Its file appears at the first save(); nothing is at the path before. Existing::Refuse
  /// throws CouldNotSavePackage (code EEXIST), now or at that save, when something is at the path. Throws
  /// CouldNotSavePackage for an empty path (ENOENT) or one with a NUL (EINVAL) too.
  static std::unique_ptr<Package> create(std::u16string const& path, Existing existing = Existing::Refuse);
  /// A new package that touches no disk at the target; saveToBytes() gives its bytes, saveAs() binds it to a path.
  static std::unique_ptr<Package> createInMemory();

  /// Reads the container's directory, the content types and all relationships, and checks them and the part names
  /// against the standard; contents are read when they are used. Throws CouldNotOpenPackage, with the system's code,
  /// when the file cannot be read or, for ReadWrite, may not be written, and InvalidPackage, naming the path and the
  /// fault, when it is not a package. Opening keeps nothing locked. The file stays open; replacing it by rename
  /// meanwhile does not disturb reading.
  static std::unique_ptr<Package> open(std::u16string const& path, AccessMode mode, OpenOptions const& options = {});
  /// The same for the bytes of a package, which the package object owns. Messages name no path.
  static std::unique_ptr<Package> openInMemory(std::vector<unsigned char> bytes, AccessMode mode,
                                               OpenOptions const& options = {});

  Package(Package const&) = delete;
  Package& operator=(Package const&) = delete;
  ~Package() override;

  /// Calls doSave of each dirty manager in order of registration, then replaces the file in one step: the new package
  /// is written beside it, synced and renamed, so that at every instant the path holds the whole old or the whole new
  /// one. A symbolic link at the path is followed. Afterwards the managers are clean, and the package can be used,
  /// changed and saved again. Where nothing has changed since the package was opened or last saved, nothing is written.
  ///
  /// The new file has the owner, group, mode, access list (POSIX ACL) and user attributes of the old one. A file that
  /// the process may not write (EACCES) or whose owner or group it cannot keep (EPERM) is not replaced, unless the
  /// options say so.
  ///
  /// After an exception the file is as before, the managers are still dirty, and the package can be used and saved
  /// again. Throws InvalidState, naming the part, while an output stream is open, and when a manager calls this from
  /// doSave; the failure of an output stream that was destroyed unclosed, until the part is written again or deleted;
  /// what doSave throws; PackageIsReadOnly; CouldNotSavePackage; CouldNotOpenPackage when kept content can no longer be
  /// read from the old file.
  ///
  /// save() never overwrites a file that is no longer the one that was opened or last saved: PackageHasChanged. It
  /// checks that before the work and again, under an advisory lock (flock) on the file that it replaces, right before
  /// it does so. So of several processes that edit one package none loses what another has saved. The lock is held for
  /// instants; a save waits for it up to ten seconds, then throws PackageIsBusy. Where the system has no such lock
  /// (some network file systems, a file that may not be read) the save proceeds without it. A save removes the
  /// temporary files that killed processes have left beside the package.
  ///
  /// In memory it replaces the bytes that the package reads from. One failure comes after the replacement: when the
  /// directory cannot be synced, PackageNotSynced means that the new package is in place, but may not survive a power
  /// failure; save again.
  void save(SaveOptions const& options = {});
  /// The same at another path, to which the package is bound afterwards; its former file stays as it is. Works on
  /// read-only packages, which stay read-only, and on packages in memory. It writes without changes too. Throws as
  /// save() and create(); PackageHasChanged where the path is that of the package's own file and another program has
  /// changed it.
  void saveAs(std::u16string const& path, Existing existing = Existing::Refuse, SaveOptions const& options = {});
  /// The bytes that a save would write. doSave of each dirty manager runs, but the package stays bound to its path, and
  /// managers stay dirty. Works on read-only packages. Throws as save().
  std::vector<unsigned char> saveToBytes();

  /// Whether the package was opened without write access.
  virtual bool isReadOnly() const;

  /// A new, empty part. Its content type stays for its life. Throws InvalidPartName for a name that breaks the grammar
  /// (ECMA-376-2, 9.1.1.1), is reserved for relationships (9.3.3) or is longer than a container can hold (65,535
  /// bytes); PartNameClash where an existing name is equal apart from ASCII case, or one of the two names continues the
  /// other by whole segments (9.1.1.4); InvalidContentType for parameters of a type that the standard defines for the
  /// package's own parts (9.1.2); PackageIsReadOnly.
  Part createPart(PartName const& name, ContentType const& type = ContentType(u"application/octet-stream"),
                  IPhysicalPartInfo const& info = StandardPartInfo(CompressionType::Content));
  /// Deletes the part and its own relationships; relationships that target it stay. Open input streams of the part stay
  /// usable; an open output stream throws PartNotFound at its close(). Throws PartNotFound, PackageIsReadOnly,
  /// InvalidState for a relationships part.
  void deletePart(PartName const& name);
  /// The part of that name. Throws PartNotFound, which names it.
  Part getPart(PartName const& name) const;
  /// The same; absent where there is no such part.
  std::optional<Part> findPart(PartName const& name) const;
  /// Whether a part of exactly that name exists; ASCII case matters here.
  bool hasPart(PartName const& name) const;
  /// All parts in name order, relationships parts included.
  std::vector<PartName> getPartNames() const;
  /// The parts in name order, without relationships parts.
  std::vector<Part> getParts() const;

  /// The relationships that the selector selects, in the order in which the package holds them. Throws PartNotFound
  /// where its source is a part that does not exist.
  std::vector<Relationship> selectRelationships(RelationshipSelector const& selector) const;

  /// Whether createPart would refuse the name because of an existing part, or because of one of its own segments
  /// (empty, ending in a dot, reserved for relationships). `existing` receives the clashing name: the shortest existing
  /// one that the name equals or continues, else the smallest that continues it, compared segment by segment; for a bad
  /// segment, where no shorter existing name clashes, the name up to and including that segment. It stays unchanged
  /// where nothing clashes. A name that is merely too long is no clash. O(log n) in the number of parts.
  bool isPartDerivedFromExistingPartName(PartName const& name, std::u16string& existing) const;

  /// Names, sorted and as stored, of the container's items that are not parts: folders, and items without a content
  /// type or with a name that no part may bear (ECMA-376-2, 9.1.2 and 10). Saves keep them.
  std::vector<std::u16string> getItemNames() const;

  /// Applies to the output streams that are opened from now on; what was written before is not compressed again.
  void setCompressionLevel(CompressionLevel level);
  CompressionLevel getCompressionLevel() const;

  /// The number of threads of the package's own that compress written parts; others then write files. The caller goes
  /// on when it has closed a stream. 0, the initial value, does all work in the caller. The saved bytes are the same
  /// for any number. Work that waits holds at most 64 MiB; beyond that, writes wait. The next write or save() throws a
  /// failure of the threads once, and the one after that tries the work again. Reading a part, or its size, waits until
  /// the part's last write is complete. Waits for work under way, and throws an earlier failure of it.
  void setCompressionThreads(unsigned count);
  unsigned getCompressionThreads() const;

  /// The same for paths as UTF-8 or std::filesystem::path, and names and content types as any text (opc/Text.hpp).
  static std::unique_ptr<Package> create(Utf8Text auto const& path, Existing existing = Existing::Refuse) {
    return create(toUTF16(path), existing);
  }
  static std::unique_ptr<Package> open(Utf8Text auto const& path, AccessMode mode, OpenOptions const& options = {}) {
    return open(toUTF16(path), mode, options);
  }
  void saveAs(Utf8Text auto const& path, Existing existing = Existing::Refuse, SaveOptions const& options = {}) {
    saveAs(toUTF16(path), existing, options);
  }
  Part createPart(AnyText auto const& name, AnyText auto const& type) {
    return createPart(PartName(toUTF16(name)), ContentType(toUTF16(type)));
  }
  void deletePart(AnyText auto const& name) { deletePart(PartName(toUTF16(name))); }
  Part getPart(AnyText auto const& name) const { return getPart(PartName(toUTF16(name))); }
  std::optional<Part> findPart(AnyText auto const& name) const { return findPart(PartName(toUTF16(name))); }
  bool hasPart(AnyText auto const& name) const { return hasPart(PartName(toUTF16(name))); }

  /// From now on save(), saveAs() and saveToBytes(), and addFile(), addAll() and the extracting operations of the
  /// package's FileSystemManagers, each report to the monitor and end when it says so, with Cancelled. A save then has
  /// changed nothing, and can be repeated; for the others see FileSystemManager. An empty monitor ends the watch.
  void setMonitor(Monitor monitor);

 private:
  friend class DataManager;
  friend class PackageHelper;
  friend class PackageState;
  explicit Package(std::shared_ptr<PackageState> state);
};

}  // namespace opc::model
