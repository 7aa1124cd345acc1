// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "opc/Export.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Streams.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/Part.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {

/// Bytes to be stored in a package, and their content type. One thread at a time; the stream is read once. Sources own
/// what they read from unless they say otherwise.
class ZT_API IContentSource {
 public:
  virtual ~IContentSource();
  /// The content type of the bytes that getInputStream() delivers.
  virtual model::ContentType getContentType() = 0;
  /// The same stream at every call. The source owns it, and it lives as long as the source.
  virtual InputStream& getInputStream() = 0;

 protected:
  IContentSource() = default;
  IContentSource(IContentSource const&) = delete;
  IContentSource& operator=(IContentSource const&) = delete;
};

/// A standard stream of the caller, from its current position on. The caller keeps it alive for the life of the source.
class ZT_API StreamContentSource final : public IContentSource {
 public:
  StreamContentSource(std::istream& stream, model::ContentType const& type);

  model::ContentType getContentType() override;
  InputStream& getInputStream() override;

 private:
  model::ContentType contentType_;
  std::unique_ptr<InputStream> adaptor_;
};

/// An existing part: its bytes and its content type as they are when the source is made. Throws what
/// model::Part::getInputStream() throws.
class ZT_API PartContentSource final : public IContentSource {
 public:
  explicit PartContentSource(model::Part const& part);

  model::ContentType getContentType() override;
  InputStream& getInputStream() override;

 private:
  model::ContentType contentType_;
  std::unique_ptr<InputStream> stream_;
};

/// A file on disk, which the constructor opens. Without a content type it has that of the extension table for the path,
/// or getTALBEXDefaultContentType(). Without operations it uses the local disk; operations are needed only during
/// construction. Throws CouldNotOpenFile ("Could not open file: " and the path; its error code is empty).
class ZT_API FileContentSource final : public IContentSource {
 public:
  explicit FileContentSource(std::u16string const& path);
  FileContentSource(std::u16string const& path, FileSystemOps& operations);
  FileContentSource(std::u16string const& path, model::ContentType const& type);
  FileContentSource(std::u16string const& path, model::ContentType const& type, FileSystemOps& operations);
  /// A file that is open already, or null where it could not be opened. The path is for the message alone.
  FileContentSource(std::u16string const& path, model::ContentType const& type, std::unique_ptr<std::istream> file);

  model::ContentType getContentType() override;
  InputStream& getInputStream() override;

 private:
  std::shared_ptr<std::istream> file_;
  std::unique_ptr<StreamContentSource> inner_;  // declared after file_: it goes first
};

}  // namespace opc::ztservices
