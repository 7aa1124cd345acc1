// SPDX-License-Identifier: Apache-2.0
#include "services/tree/FileSystemManagerTestSupport.hpp"

#include <cstring>
#include <ios>
#include <istream>
#include <streambuf>

#include "text/SchemaBaseURI.hpp"

namespace zt_test {

using boost::system::error_code;

namespace {

/// Takes what is written to the file, but fails while writing or at commit().
class FaultyFile final : public opc::FileOutputStream {
 public:
  FaultyFile(bool failsWriting, error_code code) : FileOutputStream(&buffer_), buffer_(failsWriting), code_(code) {}

  void commit(error_code& error) override { error = code_; }

 private:
  class Buffer final : public std::streambuf {
   public:
    explicit Buffer(bool fails) : fails_(fails) {}

   private:
    int_type overflow(int_type) override { return fails_ ? traits_type::eof() : 0; }
    std::streamsize xsputn(char const*, std::streamsize count) override { return fails_ ? 0 : count; }

    bool fails_;
  };

  Buffer buffer_;
  error_code code_;
};

}  // namespace

std::size_t FailingSource::read(void* buffer, std::size_t) {
  if (started_) throw opc::StreamError("reading fails");
  started_ = true;
  std::memcpy(buffer, "abc", 3);
  return 3;
}

bool FaultyDisk::fails(Operation operation, error_code& error) const {
  if (operation != failing_) return false;
  error = code_;
  return true;
}

bool FaultyDisk::exists(std::u16string const& path, error_code& error) {
  return !fails(Operation::Exists, error) && LocalFileSystemOps::exists(path, error);
}

void FaultyDisk::getFiles(std::u16string const& root, std::vector<std::u16string>& files, bool recursive,
                          error_code& error) {
  if (!fails(Operation::GetFiles, error)) LocalFileSystemOps::getFiles(root, files, recursive, error);
}

void FaultyDisk::createFolder(std::u16string const& path, error_code& error) {
  if (!fails(Operation::CreateFolder, error)) LocalFileSystemOps::createFolder(path, error);
}

void FaultyDisk::createFolders(std::u16string const& path, error_code& error) {
  if (!fails(Operation::CreateFolders, error)) LocalFileSystemOps::createFolders(path, error);
}

void FaultyDisk::createSymlink(std::u16string const& target, std::u16string const& linkPath, error_code& error) {
  if (!fails(Operation::CreateSymlink, error)) LocalFileSystemOps::createSymlink(target, linkPath, error);
}

std::unique_ptr<std::istream> FaultyDisk::createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                            error_code& error) {
  if (fails(Operation::CreateInputStream, error)) return nullptr;
  return LocalFileSystemOps::createInputStream(path, mode, error);
}

std::unique_ptr<opc::FileOutputStream> FaultyDisk::createOutputStream(std::u16string const& path,
                                                                      std::ios::openmode mode, error_code& error) {
  if (fails(Operation::CreateOutputStream, error)) return nullptr;
  if (failing_ == Operation::Write || failing_ == Operation::Commit)
    return std::make_unique<FaultyFile>(failing_ == Operation::Write, code_);
  return LocalFileSystemOps::createOutputStream(path, mode, error);
}

opc::Perms::Perms_tag FaultyDisk::getPermissions(std::u16string const& path, error_code& error) {
  if (fails(Operation::GetPermissions, error)) return opc::Perms::NotKnown;
  return LocalFileSystemOps::getPermissions(path, error);
}

void FaultyDisk::setPermissions(std::u16string const& path, opc::Perms::Perms_tag permissions, error_code& error) {
  if (!fails(Operation::SetPermissions, error)) LocalFileSystemOps::setPermissions(path, permissions, error);
}

boost::posix_time::ptime FaultyDisk::getLastModifiedTime(std::u16string const& path, error_code& error) {
  if (fails(Operation::GetLastModifiedTime, error)) return {};
  return LocalFileSystemOps::getLastModifiedTime(path, error);
}

void FaultyDisk::setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                     error_code& error) {
  if (!fails(Operation::SetLastModifiedTime, error)) LocalFileSystemOps::setLastModifiedTime(path, time, error);
}

std::u16string numbered(std::u16string text, std::size_t number) {
  return text.append(opc::toString(std::to_string(number)));
}

std::unique_ptr<Package> reopen(Package& package, AccessMode mode) {
  return Package::openInMemory(package.saveToBytes(), mode);
}

FileSystemEntry addText(FileSystemManager& manager, std::u16string const& path, std::string const& text) {
  return manager.addFile(std::make_unique<TextSource>(text), path, FileSystemEntry::getUnknownPermissions(),
                         FileSystemEntry::getUnknownTime());
}

FileSystemEntry createPlainFile(FileSystemManager& manager, std::u16string const& path) {
  return manager.createFile(path, ContentType(u"application/octet-stream"), FileSystemEntry::getUnknownPermissions(),
                            FileSystemEntry::getUnknownTime());
}

std::string textAt(FileSystemManager& manager, std::u16string const& path) {
  return readAll(manager.getFileContentSource(manager.getEntry(path), TransformMode::None)->getInputStream());
}

std::vector<std::u16string> contentParts(Package const& package) {
  std::vector<std::u16string> names;
  for (PartName const& name : package.getPartNames())
    if (name.toString().starts_with(u"/fsroot")) names.push_back(name.toString());
  return names;
}

std::vector<std::u16string> pathsOf(std::vector<FileSystemEntry> const& entries) {
  std::vector<std::u16string> paths;
  for (FileSystemEntry const& entry : entries) paths.push_back(entry.getPathName());
  return paths;
}

std::vector<std::u16string> leafs(FileSystemManager const& manager) { return pathsOf(manager.getAllLeafs()); }

void addPart(Package& package, std::u16string const& name, std::u16string const& type, std::string const& text) {
  auto const output = package
                          .createPart(PartName(name), ContentType(type),
                                      opc::model::StandardPartInfo(opc::model::CompressionType::Content))
                          .getOutputStream();
  output->write(text.data(), text.size());
  output->close();
}

std::string textOfPart(Package const& package, std::u16string const& name) {
  return readAll(*package.getPart(PartName(name)).getInputStream());
}

std::unique_ptr<Package> foreignPackage(std::string const& entries) {
  auto package = Package::createInMemory();
  addPart(*package, u"/c", u"a/b", "content");
  addPart(*package, u"/fsroot/c", u"a/b", "shared");
  addPart(*package, u"/word/document.xml", u"application/xml", "document");
  addPart(*package, u"/m.xml", FileSystemManager::getPartContentType().toString(),
          "<fileEntries xmlns=\"" ZT_SCHEMA_BASE_URI
          "/package/2013/filesystemManifest\" createdByEncoding=\"x\" createdByPlatform=\"y\" version=\"2.0\">" +
              entries + "</fileEntries>");
  package->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(u"/m.xml"));
  return package;
}

std::string entryOf(std::string const& name, std::string const& content, std::string const& kind) {
  return "<fileEntry name=\"" + name + "\" content=\"" + content + "\" type=\"" + kind + "\"/>";
}

opc::Perms::Perms_tag permissionsOf(std::u16string const& path) {
  boost::system::error_code error;
  return opc::LocalFileSystemOps().getPermissions(path, error);
}

boost::posix_time::ptime timeOf(std::u16string const& path) {
  boost::system::error_code error;
  return opc::LocalFileSystemOps().getLastModifiedTime(path, error);
}

}  // namespace zt_test
