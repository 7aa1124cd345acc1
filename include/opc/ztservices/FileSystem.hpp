// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "opc/Export.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Streams.hpp"
#include "opc/Text.hpp"
#include "opc/Time.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/DataManager.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/Part.hpp"
#include "opc/model/URI.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/Encryption.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc {
class Watch;
}

namespace opc::ztservices {

class IDecryptor;
class IDigestEngine;
class IEncryptor;
struct FileSystemNode;
class FileSystemTree;
class FileSystemManifest;
class ContentParts;
class CompressionQueue;
struct MaybeCompressed;
struct NamedContent;

/// None copies contents unchanged. Transform turns text into UTF-8 where it is added (UDEToUTF8Transform), and
/// decrypts what is encrypted where it is extracted.
enum class TransformMode : std::uint32_t { None = 0, Transform = 1 };

/// What extraction restores beside contents. TimeAndPermissions sets the last-modified time and the permissions of
/// files, where the entry records them; folders and links keep what the disk gives them.
enum class RestoreMode : std::uint32_t { None = 0, TimeAndPermissions = 1 };

/// One file, folder or symbolic link of a package's file system. An entry is an immutable snapshot: it does not see
/// later changes and outlives its manager and package. Copies share the snapshot and are cheap. Different threads may
/// read one entry. Only the manager creates entries.
class ZT_API FileSystemEntry {
 public:
  explicit FileSystemEntry(FileSystemNode const& node);

  /// Exactly one of the three is true.
  bool isFile() const;
  bool isLink() const;
  bool isFolder() const;

  /// The last component of the path; "/" for the root.
  std::u16string getBaseName() const;
  /// The absolute path within the package, with "/" between components.
  std::u16string getPathName() const;
  /// The name of the content part of a file, the target of a link, the path of a folder.
  std::u16string getContentName() const;
  /// Read, write and execute bits; getUnknownPermissions() where none are recorded, as for the links and folders that
  /// this library creates.
  Perms::Perms_tag getPermissions() const;
  /// In UTC, to the microsecond; getUnknownTime() where none is recorded.
  boost::posix_time::ptime getLastModifiedTime() const;

  /// Perms::NotKnown, not-a-date-time and "/".
  static Perms::Perms_tag getUnknownPermissions();
  static boost::posix_time::ptime getUnknownTime();
  static std::u16string getRootName();

  /// Compares kind, path, permissions and time, but not the content name. Two unknown times are equal.
  friend ZT_API bool operator==(FileSystemEntry const& a, FileSystemEntry const& b);

 private:
  friend class FileSystemManager;
  struct Impl;

  FileSystemNode const& node() const;

  std::shared_ptr<Impl const> impl_;
};

/// Keeps a whole file system in a package. Each file's contents are a part of their own under "/fsroot"; the tree is
/// a manifest part that the package's save() writes. Content parts are created, written and deleted at once in the
/// package object; the package's file changes only at save().
///
/// Paths are absolute within the package. Operations that create or add convert backslashes to slashes, add a missing
/// leading "/" and reduce several leading ones to one. Operations that look up only convert backslashes: "a" finds
/// nothing where "/a" exists. Other repeated slashes, a trailing slash, "." and ".." are kept as they are.
///
/// Every creating and adding operation throws, and changes nothing:
///  - FileSystemEntryAlreadyExists for a path that has an entry;
///  - FileSystemEntryMustBeFolder for a path below a file or link;
///  - InvalidEntryName for a path or link target that is longer than 131,072 UTF-16 code units or holds a character
///  that
///    XML 1.0 cannot carry: controls other than tab, line feed and carriage return, lone surrogates, U+FFFE, U+FFFF.
///
/// Manifests of other makers may list entries below files and links, give several files one content part, or name parts
/// that are missing or belong to others. All these entries are kept, and saved again. See deleteFile() and
/// extractAll().
///
/// The manager loads the manifest at its first use. The next operation repeats a load that failed, so a missing key can
/// be supplied by enableDecryption() in between. The manager borrows the package and the disk operations that it is
/// given, and must not outlive them. Once the package is destroyed, operations that need it throw model::InvalidState.
///
/// One thread at a time uses a manager, its package and everything obtained from both; const operations load too.
///
/// After an exception nothing is rolled back: what was added, deleted or written before stays. Beside the exceptions
/// named below, operations pass on those of the package (model::PackageIsReadOnly for a change of files,
/// model::CouldNotSavePackage when temporary storage fails) and of the disk operations.
///
/// Two managers of one package do not see each other's changes. A save throws FileSystemConflict where a dirty manager
/// has loaded its tree before another one saved: it would undo the other's changes. The package can be saved once the
/// manager that conflicts is destroyed.
///
/// An entry is stale when its path was deleted or now belongs to another kind of entry, another content part or
/// another link target. Operations that take a stale entry throw FileSystemEntryNotFound and change nothing. The
/// exceptions are hasParent, getParent, hasChildren and getChildren, which look at the path alone: where it is gone,
/// hasParent and hasChildren are false, getChildren is empty and getParent throws FileSystemEntryHasNoParent.
///
/// A monitor of the package (model::Package::setMonitor()) watches addFile(), addAll() and the extracting operations.
/// A file whose adding it ends leaves nothing behind; an addAll() leaves the files that were added before it, and an
/// extraction the files that have their names. Neither leaves a temporary file, nor a part of a file under its name
/// where the disk operations write it aside first.
///
/// Contents and manifest may be encrypted with AES-256-GCM. The content type of a part says whether the part is
/// encrypted. The names of encrypted contents' parts do not show the paths. Encryption hides neither sizes nor the
/// number of files, and it does not bind contents to their entries; see docs/threat-model.md.
class ZT_API FileSystemManager : public model::DataManager {
 public:
  /// Adds through `source` and extracts through `destination`, both borrowed. A constructor reads nothing of the
  /// package and marks nothing dirty.
  FileSystemManager(model::Package& package, FileSystemOps& source, FileSystemOps& destination);
  /// The selector, borrowed, chooses the operations for the roots that are added from or extracted to.
  FileSystemManager(model::Package& package, FileSystemOpsSelector& selector);
  /// Adds from and extracts to the local disk.
  explicit FileSystemManager(model::Package& package);
  ~FileSystemManager() override;

  /// Names of the manifest part in a new package, its content type without encryption, and the type of the package's
  /// relationship to it; of the current version, and of version 1. A loaded manifest is found by the relationship,
  /// whatever its part is called.
  static model::URI getPartURI();
  static model::URI getPartURIV1();
  static model::ContentType getPartContentType();
  static model::ContentType getPartContentTypeV1();
  static std::u16string getRelationshipType();
  static std::u16string getRelationshipTypeV1();

  /// The operations in use. With a selector they are those of the path that was added or extracted last.
  FileSystemOps& getSourceFSImpl() const;
  FileSystemOps& getDestFSImpl() const;

  // ---- looking up

  /// Loads the manifest unless it is loaded; every operation that takes a path calls this first. A package without a
  /// manifest is an empty file system. Throws CouldNotDecryptContent where the manifest is encrypted and
  /// decryption is not enabled, CouldNotTransformContentData for a wrong key or modified data,
  /// model::InvalidPartContent for a manifest that breaks its schema, model::PartNotFound where the relationship leads
  /// to no part.
  ///
  /// A manifest of version 1 is upgraded in memory, and in a writable package the parts that only version 1 needs are
  /// deleted; the next save writes the current version. Throws CouldNotConvertFileSystemManifest where that fails.
  void ensureLoaded() const;
  /// Look-ups cost O(log n) for each component of the path.
  bool hasEntry(std::u16string const& path) const;
  /// Throws FileSystemEntryNotFound.
  FileSystemEntry getEntry(std::u16string const& path) const;
  FileSystemEntry getRoot() const;
  /// The path forms throw FileSystemEntryNotFound; getParent of the root throws FileSystemEntryHasNoParent.
  bool hasParent(std::u16string const& path) const;
  bool hasParent(FileSystemEntry const& entry) const;
  FileSystemEntry getParent(std::u16string const& path) const;
  FileSystemEntry getParent(FileSystemEntry const& entry) const;
  bool hasChildren(std::u16string const& path) const;
  bool hasChildren(FileSystemEntry const& entry) const;
  /// In the order in which the children were inserted.
  std::vector<FileSystemEntry> getChildren(std::u16string const& path) const;
  std::vector<FileSystemEntry> getChildren(FileSystemEntry const& entry) const;
  /// Every file and link, whatever lies below it, and every empty folder in code-unit order of path; never the root.
  std::vector<FileSystemEntry> getAllLeafs() const;
  /// Visits the entries one at a time in the same order, without a list of all paths in memory: visitLeafs those of
  /// getAllLeafs(), visitEntries all except the root. The visitor must not change the file system; an exception of the
  /// visitor ends the visit.
  void visitLeafs(std::function<void(FileSystemEntry const&)> const& visitor) const;
  void visitEntries(std::function<void(FileSystemEntry const&)> const& visitor) const;
  /// The target as stored: absolute within the package where it begins with "/", else relative to the link's folder.
  /// It need not exist. Throws FileSystemEntryMustBeLink.
  std::u16string getLinkTarget(FileSystemEntry const& entry) const;

  /// The manifest's schema version and the platform and encoding that it names as its origin; those of this build for
  /// a new file system.
  std::u16string getVersion() const;
  std::u16string getCreatedByPlatform() const;
  std::u16string getCreatedByEncoding() const;
  /// Replaces the name of the encoding, which a new file system takes from the locale of the process: packages that do
  /// not depend on the locale have a name of their maker's.
  void setCreatedByEncoding(std::u16string const& encoding);

  // ---- changing the tree; missing ancestor folders are created, without permissions or times

  /// Folders and links are created without permissions and times. A link target only has its backslashes converted; an
  /// empty one throws InvalidEntryName.
  FileSystemEntry createFolder(std::u16string const& path);
  FileSystemEntry createLink(std::u16string const& path, std::u16string const& target);
  /// An empty file, and its content part of that type; getFileOutputStream() fills it. Throws what
  /// model::Package::createPart throws.
  FileSystemEntry createFile(std::u16string const& path, model::ContentType const& type, Perms::Perms_tag permissions,
                             boost::posix_time::ptime const& time);
  /// Delete first everything below the entry, of a file or link too, and then the entry with its content part. The root
  /// is emptied and stays. A content part stays while another entry has it, and where it belongs to others: a part that
  /// a relationship of the package or of a part leads to, or a relationships part. Its name does not matter. A missing
  /// part counts as deleted. Throw FileSystemEntryMustBeFile, FileSystemEntryMustBeFolder or FileSystemEntryMustBeLink
  /// for another kind of entry. An exception of model::Package::deletePart ends the deletion there, with the file's
  /// entry gone.
  void deleteFile(FileSystemEntry const& entry);
  void deleteFolder(FileSystemEntry const& entry);
  void deleteLink(FileSystemEntry const& entry);
  /// Gives the entry another path, with everything below it, and returns it as it is then. Contents stay in their
  /// parts, whose names keep showing the old paths where they are not encrypted; permissions, times and the text of
  /// link targets stay too, so a relative link that is moved may lead elsewhere. Throws CannotMoveIntoItself for a path
  /// below the entry, and for the root; InvalidEntryName where the path of an entry below it would become too long.
  /// O(n) in the number of entries below.
  FileSystemEntry moveEntry(FileSystemEntry const& entry, std::u16string const& path);
  /// Replaces what is recorded of a file, link or folder; both may be unknown. Returns the entry as it is then.
  FileSystemEntry setPermissionsAndTime(FileSystemEntry const& entry, Perms::Perms_tag permissions,
                                        boost::posix_time::ptime const& time);
  /// A stream that replaces the file's stored bytes, owned by the caller, who closes it. It transforms and encrypts
  /// nothing and leaves the recorded time as it is; otherwise see model::Part::getOutputStream(). A file that shares
  /// its content part gets a copy of it first, and the entry is stale then. Throws FileSystemEntryMustBeFile.
  std::unique_ptr<OutputStream> getFileOutputStream(FileSystemEntry const& entry);

  // ---- adding from and extracting to a disk

  /// From now on the operations that add files with TransformMode::Transform store a text as TextContentSource does, so
  /// that a text of an unknown character set stays byte for byte instead of ending the operation. Throws
  /// opc::UndecodableText for an unknown character set, and then changes nothing.
  void setTextConversion(TextConversion conversion);

  /// Adds one file with its permissions and time, and returns its entry. Throws CouldNotOpenFile,
  /// CouldNotGetPermissions, CouldNotGetLastModifiedTime, and ContentTooLongToEncrypt before it reads anything. The
  /// content type follows from the name (ContentTypes.hpp). With TransformMode::Transform a file whose content type
  /// equals getTextContentType() becomes UTF-8; opc::UndecodableText where that cannot be done, unless
  /// setTextConversion() was called. When reading, transforming or writing the content fails, the entry stays, with an
  /// empty part, unless the monitor ends the operation; what setTextConversion() makes throw comes before the entry.
  FileSystemEntry addFile(std::u16string const& sourcePath, std::u16string const& path, TransformMode mode);
  /// The same for a content source, which the manager owns from now on and reads to its end, with the content type of
  /// the source. The permissions and the time may be unknown. opc::Exception for a null source.
  FileSystemEntry addFile(std::unique_ptr<IContentSource> source, std::u16string const& path,
                          Perms::Perms_tag permissions, boost::posix_time::ptime const& time);
  /// Adds a file of these bytes, whose content type follows from its path (ContentTypes.hpp). Nothing of
  /// a disk is read; otherwise it throws as the other two.
  FileSystemEntry addFile(std::span<unsigned char const> bytes, std::u16string const& path,
                          Perms::Perms_tag permissions = Perms(0644),
                          boost::posix_time::ptime const& time = getCurrentTime());
  /// Adds every file and symbolic link below the root, in code-unit order of path. Folders come into being as
  /// ancestors; empty ones are not added. Links are not followed; sockets, fifos and devices are skipped. An absolute
  /// link target below the root becomes absolute within the package; one outside it throws
  /// CouldNotMakeRelativeToSourceRoot. Before the first file is added, all paths are checked for InvalidEntryName and
  /// FileSystemEntryMustBeFolder; the first file that fails ends the operation. Throws CouldNotGetSourceFilesAndLinks,
  /// with an empty code, and as addFile.
  void addAll(std::u16string const& sourceRoot, TransformMode mode);

  /// Extracts all leaves, in code-unit order of path, and creates the root and missing folders. Existing files are
  /// overwritten, existing folders accepted. Link targets that begin with "/" are written below the root. The first
  /// failure ends the operation; what was extracted before stays. Throws the CouldNotCreate..., CouldNotWriteFile and
  /// CouldNotSet... exceptions with the code of what the disk refused (CouldNotCreateFile without one), and as
  /// getFileContentSource. Contents that cannot be opened or decrypted leave an existing file of that name unchanged.
  ///
  /// Throws UnsafeEntryPath, before it makes anything, for a path that might lead elsewhere than below the root: one
  /// that has a ".." segment; one that, without its empty and "." segments, is the path of another entry's link or
  /// lies below a link; and one with a symbolic link on the disk among its folders below the root. The root itself may
  /// be a link. The disk operations decide about a link in the place of a file: LocalFileSystemOps refuses it.
  ///
  /// An entry below another entry that is a file cannot exist on a disk: all others are extracted, and then
  /// UnsafeEntryPath names the first such entry.
  void extractAll(std::u16string const& destinationRoot, RestoreMode restoreMode, TransformMode transformMode);
  /// The same for some entries, in the order given; of a folder only the folder itself. UnsafeEntryPath considers the
  /// links among the entries given; links that were extracted earlier are found on the disk.
  void extractEntries(std::u16string const& destinationRoot, std::vector<FileSystemEntry> const& entries,
                      RestoreMode restoreMode, TransformMode transformMode);
  void extractEntry(std::u16string const& destinationRoot, FileSystemEntry const& entry, RestoreMode restoreMode,
                    TransformMode transformMode);
  /// The same for entries that may be damaged: an exception that concerns one entry, UnsafeEntryPath included, goes to
  /// `onFault`, and the next entry is extracted. To end the operation, `onFault` throws.
  using ExtractionFaultHandler = std::function<void(FileSystemEntry const& entry, std::exception_ptr const& fault)>;
  void extractEntries(std::u16string const& destinationRoot, std::vector<FileSystemEntry> const& entries,
                      RestoreMode restoreMode, TransformMode transformMode, ExtractionFaultHandler const& onFault);
  /// From now on extraction uses that many threads beside the caller's; 0 at first. They read, inflate and decrypt
  /// contents of up to 8 MiB ahead of their turn, inflate the chunks of longer ones, and write the files ahead of their
  /// turn where times and permissions are restored and the destination operations are thread-safe
  /// (FileSystemOps::isThreadSafe(); others are used on the caller's thread alone). Files appear, and exceptions are
  /// thrown or handed to `onFault`, in the order of the entries, on the caller's thread and as without threads. After a
  /// failure folders of entries behind it may be there. The order of calls of the destination operations is not fixed.
  /// A package that is not read-only is extracted without threads.
  void setExtractionThreads(std::size_t count);
  /// The stored contents of a file, owned by the caller and independent of later changes once its stream is open. With
  /// TransformMode::None they are the stored bytes, which are an initialization vector and ciphertext where they are
  /// encrypted.
  /// With TransformMode::Transform encrypted contents are decrypted: CouldNotDecryptContent before enableDecryption(),
  /// model::InvalidItem for a part that is longer than a message can be, CouldNotTransformContentData where the
  /// manifest and the part's content type disagree whether the content is compressed; and, from the source's
  /// getInputStream(), before the first byte, CouldNotTransformContentData for a wrong key or modified data. Memory
  /// does not depend on the size: a message above 1 MiB is read twice, and a read throws CouldNotTransformContentData
  /// where the package's file was changed after the first time. Throws FileSystemEntryMustBeFile, model::PartNotFound
  /// where a damaged package lacks the content part.
  std::unique_ptr<IContentSource> getFileContentSource(FileSystemEntry const& entry, TransformMode transformMode);

  /// All bytes of the file at the path, decrypted where they are encrypted. Throws FileSystemEntryNotFound;
  /// opc::Exception, naming the path, where the file has more than `most` bytes; and as getFileContentSource() and its
  /// stream.
  std::vector<unsigned char> readFile(std::u16string const& path, std::uint64_t most = model::kMostInMemory);

  // ---- encryption (AES-256-GCM, NIST SP 800-38D); keys have 32 bytes, and opc::Exception refuses others

  /// From now on the contents that are added and the manifest are stored encrypted, each under an initialization
  /// vector (IV) of its own. For IVMode::Deterministic the first 8 of `ivBytes` are the fixed part of the vectors, and
  /// a sequence that begins at 1 is the rest: the same fixed part must never serve twice under one key, and calling
  /// this again restarts the sequence. For IVMode::Random `ivBytes` are a seed of 8 bytes or more, or empty. The key is
  /// copied.
  ///
  /// Contents that were added before stay as they are, and so do those of a package of version 1. Throws
  /// InvalidIVBytesSize, and CannotChangeEncryption where the package has a plain manifest; an earlier setting then
  /// stays in force. Encryption cannot be disabled: a save throws CannotChangeEncryption where the package has an
  /// encrypted manifest and encryption is not enabled, or a plain one (of another manager) and it is.
  void enableEncryption(std::vector<unsigned char> const& key, IVMode ivMode,
                        std::vector<unsigned char> const& ivBytes);
  /// The same. With Compression::Deflate, contents and manifest are deflated first, at the package's level, where that
  /// makes them smaller. Up to 2 MiB of a content are then read before its entry is made; addAll() reads files ahead,
  /// and compresses on as many threads as the package does (model::Package::setCompressionThreads). The
  /// manifest records which contents are compressed, and their sizes. The call without the last argument goes on as the
  /// package's manifest was stored; contents of a new package are not compressed.
  void enableEncryption(std::vector<unsigned char> const& key, IVMode ivMode, std::vector<unsigned char> const& ivBytes,
                        Compression compression);
  /// From now on encrypted contents and manifests can be read, where this is their key. Nothing is read now, so a wrong
  /// key shows at the first operation that decrypts. Another call replaces the key.
  void enableDecryption(std::vector<unsigned char> const& key);
  bool isEncryptionEnabled() const;
  bool isDecryptionEnabled() const;
  /// Whether the package has a manifest (of the current version) that is encrypted, or one that is not. A package
  /// without a manifest is neither. They need no key and load nothing. Throw model::PartNotFound where a damaged
  /// package lacks the manifest's part.
  bool isEncrypted() const;
  bool isNonEncrypted() const;

  // ---- asking about the contents of a file; no key is needed
  //
  // All three throw FileSystemEntryMustBeFile for a folder or link, FileSystemEntryNotFound for a stale entry, and
  // PartNotFound where a damaged package lacks the content part.

  /// Whether the content part says that it is encrypted.
  bool isEncrypted(FileSystemEntry const& entry) const;
  /// The number of bytes that getFileContentSource() gives in the same mode: with Transform those of the content
  /// before it was encrypted, with None those of the part. The two differ for encrypted contents alone; where these
  /// are too short to be decrypted, or name an unknown algorithm, both are the size of the part. Of a compressed
  /// content that getFileOutputStream() wrote, only the compressed size is known.
  std::uint64_t getSize(FileSystemEntry const& entry, TransformMode transformMode = TransformMode::Transform) const;
  /// The number of bytes that the content part takes in the package: compressed where it is compressed.
  std::uint64_t getStoredSize(FileSystemEntry const& entry) const;
  /// The CRC-32 of the content as the container declares it; absent for encrypted contents, and where
  /// model::Part::getCRC32() is.
  std::optional<std::uint32_t> getCRC32(FileSystemEntry const& entry) const;
  /// Whether the content, decrypted where it is encrypted, is what the stream gives from here to its end. Compares with
  /// getCRC32() and the size where they are known, and then reads the stream alone; throws what getFileContentSource()
  /// and its stream throw where the content must be read.
  bool hasContent(FileSystemEntry const& entry, InputStream& stream);

  // ---- the same for paths and targets as UTF-8 or std::filesystem::path (opc/Text.hpp)

  bool hasEntry(Utf8Text auto const& path) const { return hasEntry(toUTF16(path)); }
  FileSystemEntry getEntry(Utf8Text auto const& path) const { return getEntry(toUTF16(path)); }
  bool hasParent(Utf8Text auto const& path) const { return hasParent(toUTF16(path)); }
  FileSystemEntry getParent(Utf8Text auto const& path) const { return getParent(toUTF16(path)); }
  bool hasChildren(Utf8Text auto const& path) const { return hasChildren(toUTF16(path)); }
  std::vector<FileSystemEntry> getChildren(Utf8Text auto const& path) const { return getChildren(toUTF16(path)); }
  std::vector<unsigned char> readFile(Utf8Text auto const& path, std::uint64_t most = model::kMostInMemory) {
    return readFile(toUTF16(path), most);
  }
  FileSystemEntry createFolder(Utf8Text auto const& path) { return createFolder(toUTF16(path)); }
  template <AnyText Path, AnyText Target>
  requires AnyUtf8Text<Path, Target> FileSystemEntry createLink(Path const& path, Target const& target) {
    return createLink(toUTF16(path), toUTF16(target));
  }
  FileSystemEntry createFile(Utf8Text auto const& path, model::ContentType const& type, Perms::Perms_tag permissions,
                             boost::posix_time::ptime const& time) {
    return createFile(toUTF16(path), type, permissions, time);
  }
  FileSystemEntry moveEntry(FileSystemEntry const& entry, Utf8Text auto const& path) {
    return moveEntry(entry, toUTF16(path));
  }
  template <AnyText SourcePath, AnyText Path>
  requires AnyUtf8Text<SourcePath, Path> FileSystemEntry addFile(SourcePath const& sourcePath, Path const& path,
                                                                 TransformMode mode = TransformMode::None) {
    return addFile(toUTF16(sourcePath), toUTF16(path), mode);
  }
  FileSystemEntry addFile(std::unique_ptr<IContentSource> source, Utf8Text auto const& path,
                          Perms::Perms_tag permissions, boost::posix_time::ptime const& time) {
    return addFile(std::move(source), toUTF16(path), permissions, time);
  }
  FileSystemEntry addFile(std::span<unsigned char const> bytes, Utf8Text auto const& path,
                          Perms::Perms_tag permissions = Perms(0644),
                          boost::posix_time::ptime const& time = getCurrentTime()) {
    return addFile(bytes, toUTF16(path), permissions, time);
  }
  /// Bytes as std::as_bytes() gives them for a text.
  FileSystemEntry addFile(std::span<std::byte const> bytes, AnyText auto const& path,
                          Perms::Perms_tag permissions = Perms(0644),
                          boost::posix_time::ptime const& time = getCurrentTime()) {
    auto const* const data = reinterpret_cast<unsigned char const*>(bytes.data());
    return addFile(std::span(data, bytes.size()), toUTF16(path), permissions, time);
  }
  void addAll(Utf8Text auto const& sourceRoot, TransformMode mode = TransformMode::None) {
    addAll(toUTF16(sourceRoot), mode);
  }
  void extractAll(Utf8Text auto const& destinationRoot, RestoreMode restoreMode = RestoreMode::TimeAndPermissions,
                  TransformMode transformMode = TransformMode::Transform) {
    extractAll(toUTF16(destinationRoot), restoreMode, transformMode);
  }
  void extractEntries(Utf8Text auto const& destinationRoot, std::vector<FileSystemEntry> const& entries,
                      RestoreMode restoreMode = RestoreMode::TimeAndPermissions,
                      TransformMode transformMode = TransformMode::Transform) {
    extractEntries(toUTF16(destinationRoot), entries, restoreMode, transformMode);
  }
  void extractEntry(Utf8Text auto const& destinationRoot, FileSystemEntry const& entry,
                    RestoreMode restoreMode = RestoreMode::TimeAndPermissions,
                    TransformMode transformMode = TransformMode::Transform) {
    extractEntry(toUTF16(destinationRoot), entry, restoreMode, transformMode);
  }

  // ---- keeping the older manifest

  /// Whether saves also write a manifest of version 1, and keep one that was loaded; false at first. Call it before the
  /// first use. That manifest is never encrypted and shows all paths. Its schema takes URIs for link targets and for
  /// the paths of empty folders: readers of version 1 refuse a manifest with a text that is no URI ("a[1]").
  void setSaveV1Manifest(bool save);

  // ---- rules that callers may want to ask about

  /// Backslashes become slashes (of two leading ones the first is dropped), and a missing leading "/" is added.
  std::u16string normalizePath(std::u16string const& path) const;
  /// These two convert separators only: a relative name or target stays relative.
  std::u16string normalizeFileName(std::u16string const& name) const;
  std::u16string normalizeLinkTarget(std::u16string const& target) const;
  /// `path` without the leading `root` and one following "/". Compares texts, not components. Throws
  /// CouldNotMakeRelativeToSourceRoot where `path` does not begin with `root`.
  std::u16string makeRelativePath(std::u16string const& root, std::u16string const& path) const;
  /// The part name that a new file at the path would get now: "/fsroot" and the percent-encoded path, with "_1", "_2"
  /// ... inserted until no existing part clashes. While encryption is enabled, a digest of the path under the key takes
  /// the place of the path and hides it. Creates nothing.
  std::u16string makeUniquePartName(std::u16string const& path) const;
  /// Throw FileSystemEntryAlreadyExists, or FileSystemEntryNotFound. The path is taken as it is.
  void throwIfAlreadyExists(std::u16string const& path) const;
  void throwIfNotFound(std::u16string const& path) const;

 protected:
  void doLoad() override;
  /// Loads first, so that the save of a manager that was marked dirty but never used keeps the manifest. The manifest
  /// is complete before its part is written. Throws CannotChangeEncryption, and what loading throws.
  void doSave() override;
  /// The parts and relationship types of the file system as far as it is loaded; these do not load it.
  std::vector<std::u16string> doGetManagedPartNames() const override;
  std::vector<std::u16string> doGetManagedRelationshipTypes() const override;

 private:
  friend class Rekeying;

  FileSystemEntry makeEntry(FileSystemNode const& node) const;
  std::u16string findPath(std::u16string const& path) const;
  std::u16string findFreePath(std::u16string const& path) const;
  bool isCurrent(FileSystemEntry const& entry) const;
  void throwIfStale(FileSystemEntry const& entry) const;
  bool hasParentInternal(std::u16string const& path) const;
  FileSystemEntry getParentInternal(std::u16string const& path) const;
  bool hasChildrenInternal(std::u16string const& path) const;
  std::vector<FileSystemEntry> getChildrenInternal(std::u16string const& path) const;
  std::pair<FileSystemEntry, model::Part> createFileInternal(std::u16string const& path, model::ContentType const& type,
                                                             Perms::Perms_tag permissions,
                                                             boost::posix_time::ptime const& time);
  model::Part createContentPart(std::u16string const& path, model::ContentType const& type) const;
  FileSystemEntry createLinkInternal(std::u16string const& path, std::u16string const& target);
  void removeWithDescendants(std::u16string const& path);
  model::Part separate(FileSystemEntry const& entry, model::Part const& shared);
  void throwIfBelowNoFolder(std::u16string const& path) const;
  ContentParts& contentParts() const;
  std::optional<std::size_t> findNumberPosition(std::u16string const& name) const;

  /// Whether a file to be added may be a link: one that was listed as a file may not have become one.
  enum class LinkRule { Follow, Refuse };
  /// A file that is being added, at a free path.
  struct NewFile {
    std::u16string path;
    Perms::Perms_tag permissions;
    boost::posix_time::ptime time;
    std::uint64_t size = 0;  // as the disk says
  };
  std::unique_ptr<IContentSource> openFromDisk(std::u16string const& sourcePath, TransformMode mode, LinkRule rule,
                                               NewFile& file);
  void addListed(FileSystemOps& ops, std::u16string const& root, std::u16string const& file, TransformMode mode,
                 CompressionQueue* queue);
  FileSystemEntry store(MaybeCompressed content, NewFile const& file, Watch* ending = nullptr);
  std::u16string topmostMissing(std::u16string const& path) const;
  void withdraw(FileSystemEntry const& file, std::u16string const& topmost);
  std::unique_ptr<IContentSource> convertText(std::unique_ptr<IContentSource> source,
                                              std::u16string const& sourcePath) const;
  FileSystemEntry addFileInternal(std::unique_ptr<IContentSource> source, std::u16string const& path,
                                  Perms::Perms_tag permissions, boost::posix_time::ptime const& time,
                                  std::optional<std::uint64_t> size = {});
  void addLinkInternal(FileSystemOps& ops, std::u16string const& sourceRoot, std::u16string const& file,
                       std::u16string const& path);
  void selectSource(std::u16string const& path);
  void selectDestination(std::u16string const& path);

  class Extraction;  // one call of an extracting operation
  using EntryVisitor = std::function<void(FileSystemEntry const&)>;
  void extractEach(Extraction& extraction, std::function<void(EntryVisitor const&)> const& visitAll);
  void ensureDestinationRootExists(std::u16string const& root) const;

  MaybeCompressed compressedIfWanted(std::unique_ptr<IContentSource> source) const;
  std::unique_ptr<IContentSource> encrypted(MaybeCompressed content) const;
  std::unique_ptr<CompressionQueue> compressionQueue() const;
  std::optional<model::ContentType> findManifestType() const;
  model::Part getContentPart(FileSystemEntry const& entry) const;
  NamedContent getContent(FileSystemEntry const& entry) const;
  void throwIfSavingChangesEncryption() const;
  void doSaveCurrent();
  void saveManifestPart(model::ContentType const& type, std::function<void(OutputStream&)> const& write);
  std::unique_ptr<IContentSource> encryptedManifest() const;
  void doSaveV1();
  void leavePartOfAnotherKind(model::ContentType const& type);
  void upgradeFromVersion1();
  void convertVersion1ToCurrentVersion();
  void cleanupOldPartsAndRelationships();
  bool isUnused(model::PartName const& part) const;

  FileSystemOpsSelector* selector_ = nullptr;  // absent unless constructed with one; borrowed
  std::unique_ptr<LocalFileSystemOps> localOps_;
  FileSystemOps* source_;                         // borrowed, or localOps_
  FileSystemOps* destination_;                    // borrowed, or localOps_
  mutable std::unique_ptr<FileSystemTree> tree_;  // replaced by loading, which const operations do at first use
  std::unique_ptr<FileSystemManifest> manifest_;
  bool saveV1Manifest_ = false;
  std::size_t extractionThreads_ = 0;
  std::optional<TextConversion> textConversion_;  // absent: UDEToUTF8Transform
  std::string encryptionAlgorithm_;
  Compression compression_ = Compression::None;  // of contents that are encrypted
  std::shared_ptr<IVGenerator> ivGenerator_;     // empty until encryption is enabled, as are
  std::shared_ptr<IEncryptor> encryptor_;        // this one
  std::shared_ptr<IDecryptor> decryptor_;        // empty until decryption is enabled, as is
  std::shared_ptr<IDigestEngine> loadedNames_;   // this one, for the names that a manifest leaves out
  std::string digestAlgorithm_;
  std::shared_ptr<IDigestEngine> digestEngine_;  // for the names of content parts; empty until encryption is enabled
  mutable bool convertedFromV1_ = false;         // set by a load that upgraded version 1, consumed by ensureLoaded
  std::uint64_t loadedSave_ = 0;                 // the package's count of saves that the tree includes
  mutable std::unique_ptr<ContentParts> contentParts_;  // of the loaded tree, made when it is needed
};

}  // namespace opc::ztservices
