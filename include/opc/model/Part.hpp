// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "opc/Export.hpp"
#include "opc/Streams.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/Relationship.hpp"

namespace opc::model {

/// How the bytes of a new part are to be held in its container.
enum class CompressionType {
  Stored = 0,  ///< as they are, whatever is written while the package object lives
  Markup = 1,  ///< deflated, and stored only where they do not shrink
  Content = 2  ///< today as Markup
};

/// How a new part is to be laid out in its container.
class ZT_API IPhysicalPartInfo {
 public:
  virtual ~IPhysicalPartInfo();
  virtual CompressionType getCompressionType() const = 0;
  /// Expected size in bytes, 0 when not known; a hint only.
  virtual unsigned long getSizeHint() const = 0;
};

class ZT_API StandardPartInfo final : public IPhysicalPartInfo {
 public:
  explicit StandardPartInfo(CompressionType type, unsigned long sizeHint = 0) : type_(type), sizeHint_(sizeHint) {}

  CompressionType getCompressionType() const override { return type_; }
  unsigned long getSizeHint() const override { return sizeHint_; }

 private:
  CompressionType type_;
  unsigned long sizeHint_;
};

/// A part of a package (ECMA-376-2, 9.1): a cheap handle that stands for the part of its name. Every
/// operation throws PartNotFound once the part is deleted. Used by one thread at a time with its package.
class ZT_API Part : public RelationshipSource {
 public:
  PartName const& getName() const { return source(); }
  ContentType getContentType() const;

  /// Uncompressed and stored length in bytes.
  std::uint64_t getSize() const;
  std::uint64_t getStoredSize() const;

  /// A stream over the part's bytes as they are now, owned by the caller; it stays usable when the part is
  /// rewritten or deleted, after a save and when the package is gone. Length and CRC are verified before
  /// the end is reported, for parts of up to 8 MiB before the first byte is handed out; InvalidItem.
  std::unique_ptr<InputStream> getInputStream() const;

  /// A stream that replaces the part's bytes, owned by the caller. The new bytes count from close() on;
  /// until then, and when writing fails, the part keeps its former bytes. A write after close(), even one
  /// that threw, is a StreamError. At most one is open for a part (InvalidState); when the package is gone
  /// close() throws InvalidState. Throws PackageIsReadOnly; relationships parts are written by the package alone
  /// (InvalidState). When the part is deleted meanwhile, close() throws PartNotFound, even if there is a new
  /// part of that name.
  std::unique_ptr<OutputStream> getOutputStream() const;

 private:
  friend class Package;
  Part(std::shared_ptr<detail::PackageState> package, PartName name)
      : RelationshipSource(std::move(package), std::move(name)) {}
};

}  // namespace opc::model
