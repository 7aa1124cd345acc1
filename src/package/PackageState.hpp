// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "io/FileHandle.hpp"
#include "io/Watch.hpp"
#include "opc/model/Package.hpp"
#include "package/Interned.hpp"
#include "package/PartContents.hpp"
#include "package/PartIndex.hpp"

namespace opc::model::detail {

inline constexpr char16_t kRelationshipsType[] = u"application/vnd.openxmlformats-package.relationships+xml";
inline constexpr char kContentTypesItem[] = "[Content_Types].xml";

/// The path as absolute UTF-8, so that a later change of the working directory does not move the package.
std::string absolutePath(std::u16string const& path);

/// The file that a package is bound to.
struct PackageFile {
  std::string path{};                      // UTF-8; empty: in memory
  std::optional<FileIdentity> identity{};  // of the opened or last saved file
  bool mustBeNew = false;                  // the first save must find nothing at the path

  /// A file that no package has been read from or saved to. Throws CouldNotSavePackage for an empty path (ENOENT), one
  /// with a NUL (EINVAL), and with Existing::Refuse where something is at the path (EEXIST).
  static PackageFile forNew(std::u16string const& path, Existing existing);

  /// The directory for temporary files of the package.
  std::string directory() const;
};

/// The content types that a package declares, besides those of its parts.
struct DeclaredTypes {
  std::map<std::string, MediaType const*> defaults{};   // by extension in lower case
  std::map<std::string, MediaType const*> overrides{};  // of names without a part, as written
};

}  // namespace opc::model::detail

namespace opc::model {

class ManagerRegistry;

/// The data of a package. The package shares it with its handles and streams.
class PackageState {
 public:
  using Purpose = zip::ContentStore::Purpose;

  explicit PackageState(detail::PackageFile boundTo = {}, Purpose purpose = Purpose::Changes);
  /// A package over the state.
  static std::unique_ptr<Package> makePackage(std::shared_ptr<PackageState> state);
  static PackageState& of(Package& package);
  PackageState(PackageState const&) = delete;
  PackageState& operator=(PackageState const&) = delete;
  ~PackageState();

  /// Erases the part and its content, and detaches an output stream that is open for it.
  void erase(detail::PartIndex::iterator part);

  /// Gives the content of one part to another one, whose own goes. Throws PartNotFound.
  void moveContent(PartName const& from, PartName const& to);

  /// The relationships of a source (empty for the package), or null where it has none.
  detail::RelationshipSet* relationshipsOf(std::string_view source);
  /// The relationships part of the source. Creates it if it is missing; throws PartNameClash.
  detail::PartIndex::iterator relationshipsPartOf(std::string_view source);
  /// Notes that the relationships have changed. Without any, the part is removed.
  void relationshipsChanged(detail::PartIndex::iterator part);
  /// Writes all changed relationships parts.
  void refreshRelationships();

  /// Throws InvalidState when the package is destroyed, since a change would be lost.
  void requirePackage() const;
  /// The same, and PackageIsReadOnly.
  void requireWritable() const;
  /// Waits for the threads that compress. Throws their failure, InvalidState while an output stream is open, and the
  /// failure of a stream that was destroyed unclosed.
  void requireNoOpenWrites();

  detail::PackageFile file;
  bool isReadOnly = false;
  bool isChanged = true;  // since it was opened or last saved; a new package has to be written
  bool isSaving = false;
  bool isGone = false;  // the Package object is destroyed, so nothing can be saved any more
  CompressionLevel level = CompressionLevel::Default;
  unsigned threads = 0;  // that compress parts
  Monitor monitor;
  std::shared_ptr<Watch> watch;  // of the operation that the monitor watches; else null

  detail::MediaTypePool types;
  detail::TextPool texts;
  detail::PartIndex parts;
  detail::PartContents contents;
  detail::PartWrites writes;
  detail::DeclaredTypes declared;
  std::shared_ptr<ManagerRegistry> managers;  // null until the package is complete
};

}  // namespace opc::model
