// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "io/FileHandle.hpp"
#include "opc/model/Package.hpp"
#include "package/Interned.hpp"
#include "package/PartContents.hpp"
#include "package/PartIndex.hpp"

namespace opc::model::detail {

class ManagerRegistry;

inline constexpr char16_t kRelationshipsType[] = u"application/vnd.openxmlformats-package.relationships+xml";
inline constexpr char kContentTypesItem[] = "[Content_Types].xml";

/// The file that a package is bound to.
struct PackageFile {
  std::string path{};                      // UTF-8; empty: in memory
  std::optional<FileIdentity> identity{};  // as it was opened or last saved
  bool mustBeNew = false;                  // the first save must find nothing at the path

  /// Where temporary files of the package go.
  std::string directory() const;
};

/// The content types that a package declares, besides those of its parts.
struct DeclaredTypes {
  std::map<std::string, MediaType const*> defaults{};   // by extension in lower case
  std::map<std::string, MediaType const*> overrides{};  // of what is no part, by part name as written
};

/// The data of a package, shared by the package and the handles and streams obtained from it.
class PackageState {
 public:
  explicit PackageState(PackageFile boundTo = {});
  PackageState(PackageState const&) = delete;
  PackageState& operator=(PackageState const&) = delete;
  ~PackageState();

  /// The part, with its content and the stream that may be writing it.
  void erase(PartIndex::iterator part);

  /// The relationships of a source (empty for the package), or null where it has none.
  RelationshipSet* relationshipsOf(std::string_view source);
  /// The relationships part of the source. Creates it if it is missing; throws PartNameClash.
  PartIndex::iterator relationshipsPartOf(std::string_view source);
  /// The relationships of the part have changed; without any the part goes.
  void relationshipsChanged(PartIndex::iterator part);
  /// Writes all relationships parts that have changed.
  void refreshRelationships();

  /// Throws InvalidState when the package is gone: a change would be lost.
  void requirePackage() const;
  /// The same, and PackageIsReadOnly.
  void requireWritable() const;
  /// Waits for the threads that compress. Throws what went wrong there, InvalidState while an output stream is open,
  /// and what an unclosed one could not complete.
  void requireNoOpenWrites();

  PackageFile file;
  bool isReadOnly = false;
  bool isSaving = false;
  bool isGone = false;  // the Package object, so that nothing will ever be saved
  std::uint64_t maximumWholePartBytes = OpenOptions().maximumWholePartBytes;

  MediaTypePool types;
  TextPool texts;
  PartIndex parts;
  PartContents contents;
  PartWrites writes;
  DeclaredTypes declared;
  std::shared_ptr<ManagerRegistry> managers;  // null in a package that is being made
};

}  // namespace opc::model::detail
