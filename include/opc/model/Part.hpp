// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Streams.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/Relationship.hpp"

namespace opc::model {

/// How the container holds the bytes of a new part.
enum class CompressionType {
  Stored = 0,  ///< uncompressed, for content that does not shrink; holds while the package object lives
  Markup = 1,  ///< for XML, which shrinks well: deflated at CompressionLevel::Default at least
  Content = 2  ///< for any content: deflated at the package's level. Content and Markup that do not shrink are stored
};

/// The wishes of a caller about the layout of a new part in its container. Package::createPart asks once and keeps no
/// reference.
class ZT_API IPhysicalPartInfo {
 public:
  virtual ~IPhysicalPartInfo();
  virtual CompressionType getCompressionType() const = 0;
  /// Expected size in bytes, 0 when unknown. A hint only: a part may become larger or smaller.
  virtual unsigned long getSizeHint() const = 0;
};

/// Fixed wishes. A value; thread-safe as values are.
class ZT_API StandardPartInfo final : public IPhysicalPartInfo {
 public:
  explicit StandardPartInfo(CompressionType type, unsigned long sizeHint = 0) : type_(type), sizeHint_(sizeHint) {}

  CompressionType getCompressionType() const override { return type_; }
  unsigned long getSizeHint() const override { return sizeHint_; }

 private:
  CompressionType type_;
  unsigned long sizeHint_;
};

/// A part of a package (ECMA-376-2, 9.1): a cheap handle that stands for the part of its name, also when the part is
/// deleted and created again. Copies stand for the same part. Every operation except getName() throws PartNotFound
/// while there is no such part. One thread at a time uses it together with its package; the parts of a
/// read-only package may be read on several threads, each with a handle of its own. When the package is gone, the
/// part can still be read, and changes throw InvalidState.
class ZT_API Part : public RelationshipSource {
 public:
  PartName const& getName() const { return source(); }
  /// The type that the part was created with, or that the package's content types give it (ECMA-376-2, 9.1.2).
  ContentType getContentType() const;

  /// The length in bytes, uncompressed and as the container stores it. For a part that nothing has written, these are
  /// the container's declarations, which reading verifies; for others, those of the last write that was closed. May
  /// wait for the package's threads, and throws their failure.
  std::uint64_t getSize() const;
  std::uint64_t getStoredSize() const;

  /// The CRC-32 of the part's bytes as the container declares it, which reading verifies; absent for a part in pieces
  /// and for one that was written since the package was opened or saved.
  std::optional<std::uint32_t> getCRC32() const;

  /// A stream over the part's bytes as they are now, owned by the caller; there may be any number of them. It stays
  /// usable when the part is rewritten or deleted, after a save and when the package is gone. Length and CRC-32 are
  /// verified before the stream reports its end, and for parts of up to 8 MiB before it delivers the first byte.
  /// Opening or reading throws InvalidItem for damaged content, CouldNotOpenPackage where the file can no longer be
  /// read.
  std::unique_ptr<InputStream> getInputStream() const;
  /// The same from that offset in bytes on, or at its end where the part is shorter; reset() goes back to there. Of a
  /// part above 8 MiB that this library wrote, only the chunks of 1 to 8 MiB that are wanted are read, each verified by
  /// a CRC of its own; of others, what precedes the offset is read and skipped. With `threads`, the stream starts that
  /// many, which read and inflate the next chunks meanwhile; for parts without chunks, and for those that were written
  /// since the package was opened, it starts none. The bytes and exceptions are the same.
  std::unique_ptr<InputStream> getInputStreamAt(std::uint64_t offset, std::size_t threads = 0) const;

  /// A stream that replaces the part's bytes, owned by the caller, who closes it. The new bytes take effect at close();
  /// until then, and when writing or close() fails, the part keeps its former bytes. At most one is open for a part.
  /// Parts can be written again any number of times.
  ///
  /// Throws InvalidState while another stream is open for the part, and for a relationships part, which the package
  /// writes itself; PackageIsReadOnly. A write after close() throws StreamError, also where close() failed. close()
  /// throws InvalidState when the package is gone, and PartNotFound when the part was deleted meanwhile, even if there
  /// is a new part of that name. A stream that is destroyed unclosed is completed, or abandoned during unwinding
  /// (OutputStream::close); the package's next save() throws the failure. OutputStream::abandon() leaves the part as it
  /// is.
  std::unique_ptr<OutputStream> getOutputStream() const;

  /// Whether both stand for the same part name of the same package object.
  friend ZT_API bool operator==(Part const& a, Part const& b);

 private:
  friend class Package;
  Part(std::shared_ptr<PackageState> package, PartName name)
      : RelationshipSource(std::move(package), std::move(name)) {}

  void* entry() const;

  mutable void* entry_ = nullptr;       // of the package's index, where it was found the last time,
  mutable std::uint64_t erasures_ = 0;  // when the index had erased that many
};

/// How many bytes readAll() and FileSystemManager::readFile() hold at most, if the caller sets no other limit (1 GiB).
inline constexpr std::uint64_t kMostInMemory = std::uint64_t{1} << 30;

/// All bytes of a part. Throws opc::Exception, naming the part, where it has more than `most` bytes, before it reads
/// any; and what Part::getInputStream() and its stream throw.
ZT_API std::vector<unsigned char> readAll(Part const& part, std::uint64_t most = kMostInMemory);

}  // namespace opc::model

template <>
struct std::hash<opc::model::Part> {
  std::size_t operator()(opc::model::Part const& part) const noexcept {
    return std::hash<opc::model::PartName>()(part.getName());
  }
};
