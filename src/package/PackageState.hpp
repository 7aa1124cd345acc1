// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "container/Archive.hpp"
#include "container/DeflateQueue.hpp"
#include "container/Spool.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/PartName.hpp"
#include "package/Interned.hpp"
#include "package/PartTable.hpp"

namespace opc::model::detail {

class ManagerRegistry;

inline constexpr char16_t kRelationshipsType[] = u"application/vnd.openxmlformats-package.relationships+xml";
inline constexpr char kContentTypesItem[] = "[Content_Types].xml";

/// One output stream of a part: under way, or being deflated, or what it could not complete when it was destroyed
/// unclosed.
struct PartWrite {
  bool isOpen = true;
  bool isDeflating = false;  // closed, and its content is not the part's yet
  bool isDeleted = false;    // the part was deleted meanwhile
  std::exception_ptr failure;
};

/// An item of the archive that is no part. It is kept, and no part may take its name.
struct LooseItem {
  std::uint32_t index;
  std::uint16_t nameLength;  // of a piece: without what makes it one
  bool isUntyped;            // giving its extension a content type would make it a part
};

/// The data of a package, shared by the package and the handles and streams obtained from it. Names of
/// parts are narrow strings with their leading slash (PartNameRules.hpp).
class PackageState {
 public:
  PackageState();
  PackageState(PackageState const&) = delete;
  PackageState& operator=(PackageState const&) = delete;
  ~PackageState();

  /// The part of an equivalent name, or parts.end().
  PartTable::iterator find(std::string_view name);
  /// The part of exactly that name, or parts.end().
  PartTable::iterator findExactly(PartName const& name);
  /// The same; throws PartNotFound.
  PartTable::iterator get(PartName const& name);
  static std::string nameOf(PartTable::const_iterator part);
  static PartName partNameOf(PartTable::const_iterator part);

  /// The name of an existing part or item because of which a part of that name cannot be: the shortest that
  /// the name equals or continues, else the first that continues it.
  std::optional<std::string> existingClash(std::string_view name);
  /// The same, and what the name's own segments forbid (Package::isPartDerivedFromExistingPartName).
  std::optional<std::u16string> clash(std::u16string const& name);

  /// Neither checks anything about the name.
  PartTable::iterator insert(std::string_view name, MediaType const* type);
  /// The part, and the stream that may be writing it.
  void erase(PartTable::iterator part);

  std::unique_ptr<InputStream> openContent(PartTable::iterator part);
  std::uint64_t sizeOf(PartTable::iterator part);
  std::uint64_t storedSizeOf(PartTable::iterator part);
  /// Writes an outdated relationships part into the spool.
  void refresh(PartTable::iterator part);
  void refreshAll();
  /// What a record in the spool, or nowhere, stands for.
  zip::Content contentOf(PartRecord const& record) const;
  void setContent(PartRecord& record, zip::Content const& content);
  /// Waits for the threads that deflate what was written to the part, if any do.
  void awaitContent(PartTable::const_iterator part);

  /// The relationships of a source (empty for the package), or null where it has none.
  RelationshipSet* relationshipsOf(std::string_view source);
  /// The relationships part of the source, made where there is none; throws PartNameClash.
  PartTable::iterator relationshipsPartOf(std::string_view source);
  /// The relationships of the part have changed; without any the part goes.
  void relationshipsChanged(PartTable::iterator part);

  /// Binds the package to a file, or with an empty path to memory, and starts a spool near it.
  void bind(std::string newPath);
  /// So many threads that deflate, and with any at all those that write what was deflated.
  void setThreads(std::size_t count);
  /// For what is written from now on: in the directory of the package's file.
  std::shared_ptr<zip::Spool> makeSpool() const;

  /// Throws InvalidState when the package is gone: a change would be lost.
  void requirePackage() const;
  /// The same, and PackageIsReadOnly.
  void requireWritable() const;
  /// Waits for the threads that deflate. Throws what went wrong there, InvalidState while an output stream is open,
  /// and what an unclosed one could not complete.
  void requireNoOpenWrites();

  std::string_view nameOf(LooseItem const& item) const;

  std::string path;  // UTF-8; empty: in memory
  bool isReadOnly = false;
  bool mustBeNew = false;                // the first save must find nothing at the path
  std::optional<FileIdentity> identity;  // of the file at the path, as it was opened or last saved
  bool isSaving = false;
  bool isGone = false;  // the Package object, so that nothing will ever be saved
  zip::Effort effort = zip::Effort::Default;
  bool hasThreads = false;  // before the spool, which begins as it says
  std::uint64_t maximumWholePartBytes = OpenOptions().maximumWholePartBytes;

  std::shared_ptr<zip::Archive const> archive;            // what was opened or last saved; null for a new package
  std::shared_ptr<zip::Spool> spool;                      // takes what is written since
  std::vector<std::shared_ptr<zip::Spool const>> spools;  // where that has come to be
  MediaTypePool types;
  TextPool texts;
  PartTable parts;
  std::vector<std::vector<std::uint32_t>> pieces;                         // items of the parts that are in pieces
  std::vector<LooseItem> items;                                           // in the order of NameLess
  std::map<std::string, MediaType const*> defaults;                       // by extension in lower case
  std::map<std::string, MediaType const*> overrides;                      // of what is no part, by part name as written
  std::map<std::string, std::shared_ptr<PartWrite>, std::less<>> writes;  // by part name
  zip::DeflateQueue deflating;
  std::shared_ptr<ManagerRegistry> managers;  // null in a package that is being made

 private:
  std::uint16_t numberOf(std::shared_ptr<zip::Spool const> const& contentSpool);
  LooseItem const* findItem(std::string_view key) const;
  /// What the other says, by whoever has looked up the first part that does not stand before one of that name.
  std::optional<std::string> existingClash(std::string_view name, PartTable::iterator next);
  /// The part alone, which no stream is writing.
  void eraseRecord(PartTable::iterator part) noexcept;

  /// A name that clashes with nothing, as far as was seen since the last insert() or erase(), and the part before which
  /// one of that name will stand: who asks about a name goes on to use it.
  struct FreeName {
    std::string name;
    PartTable::iterator next;
  };
  std::optional<FreeName> free_;
};

}  // namespace opc::model::detail
