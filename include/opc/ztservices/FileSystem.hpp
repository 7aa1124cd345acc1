// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "opc/Export.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Streams.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/DataManager.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/URI.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/Encryption.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {

class IDecryptor;
class IDigestEngine;
class IEncryptor;
struct FileSystemNode;
class FileSystemTree;
class FileSystemManifest;

/// None copies contents unchanged. Transform turns text into UTF-8 where it is added (UDEToUTF8Transform), and
/// decrypts what is encrypted where it is extracted.
enum class TransformMode : std::uint32_t { None = 0, Transform = 1 };

/// What extraction restores beside contents.
enum class RestoreMode : std::uint32_t { None = 0, TimeAndPermissions = 1 };

/// One file, folder or symbolic link of a package's file system: an immutable snapshot that does not see
/// later changes and outlives its manager. Copies share the snapshot.
class ZT_API FileSystemEntry {
 public:
  explicit FileSystemEntry(FileSystemNode const& node);

  bool isFile() const;
  bool isLink() const;
  bool isFolder() const;

  /// The last component of the path; "/" for the root.
  std::u16string getBaseName() const;
  /// The absolute path, with "/" between components.
  std::u16string getPathName() const;
  /// The name of the content part of a file, the target of a link, the path of a folder.
  std::u16string getContentName() const;
  /// Unknown permissions (0xFFFF) or the unknown time (not-a-date-time) where none are recorded.
  Perms::Perms_tag getPermissions() const;
  boost::posix_time::ptime getLastModifiedTime() const;

  static Perms::Perms_tag getUnknownPermissions();
  static boost::posix_time::ptime getUnknownTime();
  static std::u16string getRootName();

  /// Kind, path, permissions and time; the content name is not compared, and two unknown times are equal.
  friend ZT_API bool operator==(FileSystemEntry const& a, FileSystemEntry const& b);

 private:
  struct Impl;
  std::shared_ptr<Impl const> impl_;
};

/// Keeps a whole file system in a package: the contents of each file in a part of its own under
/// "/fsroot", the tree in a manifest part that is written when the package is saved.
///
/// Paths are absolute within the package. Operations that create or add take backslashes for separators,
/// put a missing leading "/" in front and keep one of several leading ones, as manifests are read too; those
/// that look up convert separators only. Repeated slashes elsewhere are kept. A path or link
/// target that holds what XML 1.0 cannot carry (controls other than tab, line feed and carriage return,
/// lone surrogates, U+FFFE, U+FFFF), or is longer than 131,072 UTF-16 code units, is refused by every
/// creating and adding operation (InvalidEntryName).
///
/// The manager loads the manifest at its first use and keeps references to the package and to the disk
/// operations that it is given; it must not outlive them. One thread at a time. After an exception nothing
/// is rolled back: what was added, deleted or written before stays; the package's file changes only at
/// save(). Where loading fails the next operation tries again.
///
/// Two managers on one package do not see each other's changes: each writes the manifest from its own tree
/// when it is dirty at a save, in order of construction, so that the last dirty one decides what the
/// package's file system is. Content parts that this leaves unreferenced stay in the package.
///
/// An entry whose path was deleted, or has since become another kind of entry or another file's part or
/// link's target, is stale: the operations that take it throw FileSystemEntryNotFound and change nothing
/// (hasParent, getParent, hasChildren and getChildren ask about the path alone: where that is gone,
/// hasChildren is false, getChildren is empty, hasParent is false and getParent throws
/// FileSystemEntryHasNoParent).
///
/// Contents and manifest may be encrypted with AES-256-GCM. What is encrypted says so in the content type of its
/// part; the names of encrypted contents' parts do not show the paths. Nothing hides sizes and the number of files,
/// and nothing binds contents to their entries: docs/threat-model.md tells what that means.
class ZT_API FileSystemManager : public model::DataManager {
 public:
  /// Disk operations for adding and extracting; borrowed.
  FileSystemManager(model::Package& package, FileSystemOps& source, FileSystemOps& destination);
  /// The selector, borrowed, chooses the operations for the roots that are added from or extracted to.
  FileSystemManager(model::Package& package, FileSystemOpsSelector& selector);
  /// The local disk for both.
  explicit FileSystemManager(model::Package& package);
  ~FileSystemManager() override;

  static model::URI getPartURI();
  static model::URI getPartURIV1();
  static model::ContentType getPartContentType();
  static model::ContentType getPartContentTypeV1();
  static std::u16string getRelationshipType();
  static std::u16string getRelationshipTypeV1();

  FileSystemOps& getSourceFSImpl() const;
  FileSystemOps& getDestFSImpl() const;

  // ---- looking up

  void ensureLoaded() const;
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
  /// Every file, link and empty folder, in code-unit order of path; the root is none.
  std::vector<FileSystemEntry> getAllLeafs() const;
  /// The same, and every entry but the root in the same order, handed over one at a time: of trees whose paths
  /// together are too much for memory too. The visitor must not change the file system; what it throws ends the visit.
  void visitLeafs(std::function<void(FileSystemEntry const&)> const& visitor) const;
  void visitEntries(std::function<void(FileSystemEntry const&)> const& visitor) const;
  /// Throws FileSystemEntryMustBeLink.
  std::u16string getLinkTarget(FileSystemEntry const& entry) const;

  /// Of the manifest that was loaded, or of this build for a new file system.
  std::u16string getVersion() const;
  std::u16string getCreatedByPlatform() const;
  std::u16string getCreatedByEncoding() const;

  // ---- changing the tree; missing ancestor folders are created, without permissions or times

  /// The three throw FileSystemEntryAlreadyExists.
  FileSystemEntry createFolder(std::u16string const& path);
  FileSystemEntry createLink(std::u16string const& path, std::u16string const& target);
  FileSystemEntry createFile(std::u16string const& path, model::ContentType const& type, Perms::Perms_tag permissions,
                             boost::posix_time::ptime const& time);
  /// Throw FileSystemEntryMustBeFile, -Folder, -Link. An entry goes with everything below it, which comes
  /// first: also below a file or link, where manifests of other makers may have entries. The root is emptied
  /// and stays.
  void deleteFile(FileSystemEntry const& entry);
  void deleteFolder(FileSystemEntry const& entry);
  void deleteLink(FileSystemEntry const& entry);
  /// A stream that replaces the file's stored bytes as they are, owned by the caller, who closes it: nothing that
  /// is written here is encrypted.
  std::unique_ptr<OutputStream> getFileOutputStream(FileSystemEntry const& entry);

  // ---- adding from and extracting to a disk

  /// Adds one file with its permissions and time. Throws CouldNotOpenFile, CouldNotGetPermissions,
  /// CouldNotGetLastModifiedTime, FileSystemEntryAlreadyExists; opc::Exception for a null source. With
  /// TransformMode::Transform a file whose content type equals getTextContentType() becomes UTF-8;
  /// opc::UndecodableText where that cannot be done. When reading, transforming or writing the content fails,
  /// the entry stays, with an empty part.
  FileSystemEntry addFile(std::u16string const& sourcePath, std::u16string const& path, TransformMode mode);
  FileSystemEntry addFile(std::unique_ptr<IContentSource> source, std::u16string const& path,
                          Perms::Perms_tag permissions, boost::posix_time::ptime const& time);
  /// Adds every file and symbolic link below the root, in code-unit order of path; empty folders are not
  /// added. An absolute link target below the root becomes absolute within the package; one outside it
  /// throws CouldNotMakeRelativeToSourceRoot. All paths are checked before the first is added
  /// (InvalidEntryName). Throws CouldNotGetSourceFilesAndLinks, and as addFile.
  void addAll(std::u16string const& sourceRoot, TransformMode mode);

  /// Extracts all leaves; existing files are overwritten, existing folders accepted. Throws the
  /// CouldNotCreate..., CouldNotWriteFile and CouldNotSet... exceptions with the code of what the disk refused.
  ///
  /// Throws UnsafeEntryPath, before anything is made, for a path that might lead elsewhere than below the
  /// root: one that has a ".." segment; one that, without its empty and "." segments, is the path of a link
  /// of the package or lies below it; and one with a symbolic link on the disk among its folders below the
  /// root. The root itself may be a link. What happens to a link in the place of a file is the disk
  /// operations' matter: LocalFileSystemOps refuses it.
  void extractAll(std::u16string const& destinationRoot, RestoreMode restoreMode, TransformMode transformMode);
  /// The same for some entries, in the order given; of a folder only the folder itself. UnsafeEntryPath looks
  /// at the links among them, and those that were extracted before are found on the disk.
  void extractEntries(std::u16string const& destinationRoot, std::vector<FileSystemEntry> const& entries,
                      RestoreMode restoreMode, TransformMode transformMode);
  void extractEntry(std::u16string const& destinationRoot, FileSystemEntry const& entry, RestoreMode restoreMode,
                    TransformMode transformMode);
  /// The stored contents of a file. With TransformMode::Transform they are decrypted where they are encrypted:
  /// CouldNotDecryptContent before enableDecryption(); from the source's getInputStream(), before the first byte,
  /// CouldNotTransformContentData where the key is another one or anything was changed. Throws
  /// FileSystemEntryMustBeFile, PartNotFound where a damaged package lacks the content part.
  std::unique_ptr<IContentSource> getFileContentSource(FileSystemEntry const& entry, TransformMode transformMode);

  // ---- encryption; keys have 32 bytes, and opc::Exception refuses others

  /// From now on contents that are added, and the manifest, are stored encrypted, each under an initialization
  /// vector of its own. `ivBytes` are the fixed portion of deterministic ones (8 bytes or more, of which 8 count),
  /// which must never serve twice under one key: calling this again begins the sequence again. For random ones they
  /// are a seed, of 8 bytes or more, or none.
  ///
  /// What was added before stays as it is, as does what a package of version 1 holds. Throws InvalidIVBytesSize, and
  /// CannotChangeEncryption where the package has a plain manifest; what was enabled before then stays enabled. There
  /// is no way back: a save throws CannotChangeEncryption where the package has an encrypted manifest and encryption
  /// is not enabled, or a plain one (of another manager) and it is.
  void enableEncryption(std::vector<unsigned char> const& key, IVMode ivMode,
                        std::vector<unsigned char> const& ivBytes);
  /// From now on encrypted contents and manifests can be read, where this is their key.
  void enableDecryption(std::vector<unsigned char> const& key);
  bool isEncryptionEnabled() const;
  bool isDecryptionEnabled() const;
  /// Whether the package has a manifest (of the current version) that is encrypted, or one that is not. A package
  /// without one is neither. Throw PartNotFound where a damaged package lacks the manifest's part.
  bool isEncrypted() const;
  bool isNonEncrypted() const;

  // ---- keeping the older manifest

  /// Whether saves also write a manifest of version 1, and a loaded one is kept; false at first. That manifest is
  /// never encrypted, and shows all paths. Its schema takes URIs for link targets and for the paths of empty folders:
  /// where one is none ("a[1]"), readers of version 1 refuse the manifest.
  void setSaveV1Manifest(bool save);

  // ---- rules that callers may want to ask about

  std::u16string normalizePath(std::u16string const& path) const;
  std::u16string normalizeFileName(std::u16string const& name) const;
  std::u16string normalizeLinkTarget(std::u16string const& target) const;
  /// `path` without the leading `root` and one following "/"; throws CouldNotMakeRelativeToSourceRoot.
  std::u16string makeRelativePath(std::u16string const& root, std::u16string const& path) const;
  /// The part name that a new file at the path would get. While encryption is enabled it is made of a digest of the
  /// path under the key, and does not show the path.
  std::u16string makeUniquePartName(std::u16string const& path) const;
  void throwIfAlreadyExists(std::u16string const& path) const;
  void throwIfNotFound(std::u16string const& path) const;

 protected:
  void doLoad() override;
  void doSave() override;
  /// Of the file system as far as it is loaded; does not load it.
  std::vector<std::u16string> doGetManagedPartNames() const override;
  std::vector<std::u16string> doGetManagedRelationshipTypes() const override;

 private:
  FileSystemEntry makeEntry(FileSystemNode const& node) const;
  std::u16string findPath(std::u16string const& path) const;
  std::u16string findFreePath(std::u16string const& path) const;
  void throwIfStale(FileSystemEntry const& entry) const;
  bool hasParentInternal(std::u16string const& path) const;
  FileSystemEntry getParentInternal(std::u16string const& path) const;
  bool hasChildrenInternal(std::u16string const& path) const;
  std::vector<FileSystemEntry> getChildrenInternal(std::u16string const& path) const;
  std::pair<FileSystemEntry, model::Part> createFileInternal(std::u16string const& path, model::ContentType const& type,
                                                             Perms::Perms_tag permissions,
                                                             boost::posix_time::ptime const& time);
  FileSystemEntry createLinkInternal(std::u16string const& path, std::u16string const& target);
  void removeWithDescendants(std::u16string const& path);

  FileSystemEntry addFileInternal(std::unique_ptr<IContentSource> source, std::u16string const& path,
                                  Perms::Perms_tag permissions, boost::posix_time::ptime const& time);
  void addLinkInternal(FileSystemOps& ops, std::u16string const& sourceRoot, std::u16string const& file,
                       std::u16string const& path);
  void selectSource(std::u16string const& path);
  void selectDestination(std::u16string const& path);

  void extractEntryInternal(std::u16string const& root, FileSystemEntry const& entry, RestoreMode restoreMode,
                            TransformMode transformMode);
  void extractFileInternal(std::u16string const& root, FileSystemEntry const& entry, RestoreMode restoreMode,
                           TransformMode transformMode);
  void extractFolderInternal(std::u16string const& root, FileSystemEntry const& entry);
  void extractLinkInternal(std::u16string const& root, FileSystemEntry const& entry);
  void ensureDestinationRootExists(std::u16string const& root);
  std::u16string ensureDestinationParentExists(std::u16string const& root, std::u16string const& path);

  std::optional<model::ContentType> findManifestType() const;
  void throwIfSavingChangesEncryption() const;
  void doSaveCurrent();
  void doSaveV1();
  void upgradeFromVersion1();
  void convertVersion1ToCurrentVersion();
  void cleanupOldPartsAndRelationships();

  FileSystemOpsSelector* selector_ = nullptr;  // absent unless constructed with one; borrowed
  std::unique_ptr<LocalFileSystemOps> localOps_;
  FileSystemOps* source_;                         // borrowed, or localOps_
  FileSystemOps* destination_;                    // borrowed, or localOps_
  std::u16string destinationParent_;              // the last one that an extraction made sure of
  mutable std::unique_ptr<FileSystemTree> tree_;  // replaced by loading, which const operations do at first use
  std::unique_ptr<FileSystemManifest> manifest_;
  bool saveV1Manifest_ = false;
  std::string encryptionAlgorithm_;
  std::shared_ptr<IVGenerator> ivGenerator_;  // empty until encryption is enabled, as are
  std::shared_ptr<IEncryptor> encryptor_;     // this one
  std::shared_ptr<IDecryptor> decryptor_;     // empty until decryption is enabled
  std::string digestAlgorithm_;
  std::shared_ptr<IDigestEngine> digestEngine_;  // for the names of content parts; empty until encryption is enabled
  mutable bool convertedFromV1_ = false;         // set by a load that upgraded version 1, consumed by ensureLoaded
};

}  // namespace opc::ztservices
