// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "container/Archive.hpp"
#include "container/ContentStore.hpp"
#include "container/Deflate.hpp"
#include "opc/model/Package.hpp"
#include "package/PartIndex.hpp"

namespace opc::model::detail {

zip::Effort effortOf(CompressionLevel level);

/// The unfinished writes of a package's parts: open output streams, at most one for each part, and failures of streams
/// that were destroyed unclosed, which the next save reports.
class PartWrites {
 public:
  /// The write of one stream, which shares it with the package.
  struct Write {
    bool isOpen = true;
    bool isDeleted = false;  // the part was deleted meanwhile
    std::exception_ptr failure;
  };

  /// Throws InvalidState, naming the part, while a stream is open for it.
  std::shared_ptr<Write> begin(std::string const& name);
  /// The part has its new content. Forgets a former failure.
  void complete(std::string_view name) noexcept;
  /// The part keeps its content. Keeps a former failure.
  void abandon(std::string_view name, Write& write) noexcept;
  /// The part is deleted. Forgets a failure and detaches an open stream.
  void deletePart(std::string_view name) noexcept;

  /// Throws InvalidState while a stream is open, else the first failure.
  void requireNone() const;

 private:
  std::map<std::string, std::shared_ptr<Write>, std::less<>> writes_;  // by part name
};

/// The bytes of a package's parts: in the archive that was opened or last saved, whole or in pieces, or in a store of
/// later writes. A changed relationships part is written when it is read.
class PartContents {
 public:
  /// The items of one part, in order.
  using Pieces = std::vector<std::uint32_t>;

  /// Temporary files go into `directory` (UTF-8; empty: the system's temporary directory).
  PartContents(std::string directory, zip::ContentStore::Purpose purpose) : store_(std::move(directory), purpose) {}

  /// For PackageReader.
  void read(std::shared_ptr<zip::Archive const> archive) { archive_ = std::move(archive); }
  static void setItem(PartRecord& record, std::uint32_t item);
  void setPieces(PartRecord& record, Pieces pieces);

  /// Null in a new package before its first save.
  std::shared_ptr<zip::Archive const> const& archive() const { return archive_; }
  Pieces const& piecesOf(PartRecord const& record) const { return pieces_[record.number]; }

  /// With `threads`, a content of the archive that has chunks is inflated on that many.
  std::unique_ptr<InputStream> open(PartTable::reference part, std::uint64_t offset = 0, std::size_t threads = 0);
  std::uint64_t sizeOf(PartTable::reference part);
  std::uint64_t storedSizeOf(PartTable::reference part);
  /// Of a part that is one item of the archive.
  std::optional<std::uint32_t> crcOf(PartTable::reference part);
  /// The content of a part that is not in the archive; empty before the first write.
  zip::Content written(PartRecord const& record);

  /// A stream for new content of the part. Waits for threads that still work on its content.
  std::unique_ptr<zip::ContentStore::Writer> write(PartTable::const_reference part);
  /// Gives the part a finished content.
  void replace(PartRecord& record, zip::ContentStore::Number number) noexcept;
  /// Gives a part the content of another one, which has none then.
  void move(PartRecord& from, PartRecord& to);
  void drop(PartRecord& record) noexcept;
  /// Notes that the part's relationships have changed.
  void relationshipsChanged(PartRecord& record) noexcept;
  /// Writes the relationships of the part, if they have changed.
  void refresh(PartTable::reference part);
  /// Writes content that belongs to no part.
  zip::Content writeApart(std::function<void(OutputStream&)> const& writeTo) const;

  zip::ContentStore& store() { return store_; }
  void setEffort(zip::Effort effort) { effort_ = effort; }

  /// Reads from an archive that holds all contents from now on, with these items as pieces, and restarts the store in
  /// that directory. The caller updates the records. Does nothing when it throws.
  void moveTo(std::shared_ptr<zip::Archive const> archive, std::vector<Pieces> pieces, std::string const& directory);
  std::vector<Pieces> const& allPieces() const { return pieces_; }

 private:
  zip::Effort effortFor(PartRecord const& record) const;
  std::uint64_t sumOverItems(PartRecord const& record, std::uint64_t zip::Entry::*size) const;

  std::shared_ptr<zip::Archive const> archive_;
  std::vector<Pieces> pieces_;
  zip::ContentStore store_;
  zip::Effort effort_ = zip::Effort::Default;
};

}  // namespace opc::model::detail
