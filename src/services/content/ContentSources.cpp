// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/ContentSources.hpp"

#include <istream>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/ztservices/ContentTypes.hpp"

namespace opc::ztservices {

using model::ContentType;

namespace {

FileSystemOps& localOperations() {
  static std::shared_ptr<LocalFileSystemOps> const operations = std::make_shared<LocalFileSystemOps>();
  return *operations;
}

ContentType typeByExtension(std::u16string const& path, FileSystemOps& operations) {
  static ContentType const otherwise = getTALBEXDefaultContentType();
  return lookupContentType(operations, path, otherwise);
}

std::unique_ptr<std::istream> openFile(std::u16string const& path, FileSystemOps& operations) {
  boost::system::error_code error;
  auto file = operations.createInputStream(path, std::ios::in | std::ios::binary, error);
  return error ? nullptr : std::move(file);
}

std::unique_ptr<std::istream> throwIfNotOpen(std::u16string const& path, std::unique_ptr<std::istream> file) {
  if (!file) throw CouldNotOpenFile("Could not open file: " + toUDEString(path));
  return file;
}

}  // namespace

IContentSource::~IContentSource() = default;

StreamContentSource::StreamContentSource(std::istream& stream, ContentType const& type)
    : contentType_(type), adaptor_(std::make_unique<StdIStreamAdaptor>(stream)) {}

ContentType StreamContentSource::getContentType() { return contentType_; }
InputStream& StreamContentSource::getInputStream() { return *adaptor_; }

PartContentSource::PartContentSource(model::Part const& part)
    : contentType_(part.getContentType()), stream_(part.getInputStream()) {
  if (!stream_->isEnd()) return;
  stream_->clear();
  stream_->reset();
}

ContentType PartContentSource::getContentType() { return contentType_; }
InputStream& PartContentSource::getInputStream() { return *stream_; }

FileContentSource::FileContentSource(std::u16string const& path) : FileContentSource(path, localOperations()) {}

FileContentSource::FileContentSource(std::u16string const& path, FileSystemOps& operations)
    : FileContentSource(path, typeByExtension(path, operations), operations) {}

FileContentSource::FileContentSource(std::u16string const& path, ContentType const& type)
    : FileContentSource(path, type, localOperations()) {}

FileContentSource::FileContentSource(std::u16string const& path, ContentType const& type, FileSystemOps& operations)
    : FileContentSource(path, type, openFile(path, operations)) {}

FileContentSource::FileContentSource(std::u16string const& path, ContentType const& type,
                                     std::unique_ptr<std::istream> file)
    : file_(throwIfNotOpen(path, std::move(file))), inner_(std::make_unique<StreamContentSource>(*file_, type)) {}

ContentType FileContentSource::getContentType() { return inner_->getContentType(); }
InputStream& FileContentSource::getInputStream() { return inner_->getInputStream(); }

}  // namespace opc::ztservices
