// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include "opc/Export.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Streams.hpp"
#include "opc/Text.hpp"
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
  /// The same for a path as UTF-8 (opc/Text.hpp).
  explicit FileContentSource(Utf8Text auto const& path) : FileContentSource(toUTF16(path)) {}
  FileContentSource(Utf8Text auto const& path, model::ContentType const& type)
      : FileContentSource(toUTF16(path), type) {}
  /// A file that is open already, or null where it could not be opened. The path is for the message alone.
  FileContentSource(std::u16string const& path, model::ContentType const& type, std::unique_ptr<std::istream> file);

  model::ContentType getContentType() override;
  InputStream& getInputStream() override;

 private:
  std::shared_ptr<std::istream> file_;
  std::unique_ptr<StreamContentSource> inner_;  // declared after file_: it goes first
};

/// The character set of one text.
struct TextFinding {
  std::string charset = {};  ///< "UTF-8" also for plain ASCII; empty if it is unknown
  std::string reason = {};   ///< why it is unknown; empty if it is known
};

/// Text of another content source: as UTF-8 if its character set is known, otherwise byte for byte. UTF-8 stays byte
/// for byte too, and a byte-order mark is neither added nor removed. The content type of a known text gains the
/// parameter that UDEToUTF8Transform gives it; that of an unknown text stays as it is.
///
/// Text that is neither UTF-8 nor marked or evident UTF-16 or UTF-32 is in the character set that the caller names.
/// Without a name the set must be evident, as for UDEToUTF8Transform.
///
/// The first call of any function reads the source. Up to 8 MiB are held in memory and read once. A longer text is
/// read twice, in pieces, which reset() of its stream must allow. One thread at a time.
class ZT_API TextContentSource final : public IContentSource {
 public:
  /// Throws opc::Exception for a null source and opc::UndecodableText for a name that ICU does not know. An empty name
  /// names no character set.
  explicit TextContentSource(std::unique_ptr<IContentSource> source, std::string charset = {});
  ~TextContentSource() override;

  /// Whether a text may be said to be in this character set. Case and punctuation of names do not matter.
  static bool isKnownCharset(std::string const& name);

  /// What the text was found to be in. This and the other functions throw what the wrapped source throws.
  TextFinding const& getFinding();
  model::ContentType getContentType() override;
  InputStream& getInputStream() override;

 private:
  class Text;

  Text& text();

  std::unique_ptr<IContentSource> source_;
  std::string charset_;
  std::unique_ptr<Text> text_;  // reads from source_ and goes first; empty until it is needed
};

/// How operations that add files treat texts (FileSystemManager::setTextConversion).
struct TextConversion {
  std::string charset = {};  ///< of texts that are not UTF-8, by a name that ICU knows; empty to find it out
  /// Called for each text, before its entry is made, on the thread that adds it; may be empty. What it throws ends the
  /// operation without that entry.
  std::function<void(std::u16string const& sourcePath, TextFinding const& finding)> report = {};
};

}  // namespace opc::ztservices
