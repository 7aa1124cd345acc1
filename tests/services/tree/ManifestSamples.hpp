// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "services/tree/FileSystemManifest.hpp"
#include "support/TestSupport.hpp"
#include "text/SchemaBaseURI.hpp"

/// Manifests as text, and trees from and to them.
namespace opc::ztservices::manifest_samples {

inline std::string current(std::string const& entries, std::string const& version = "2.0") {
  return "<fileEntries xmlns=\"" ZT_SCHEMA_BASE_URI
         "/package/2013/filesystemManifest\" createdByPlatform=\"macx64\" createdByEncoding=\"windows-1252\" "
         "version=\"" +
         version + "\">" + entries + "</fileEntries>\n";
}

inline std::string version1(std::string const& entries) {
  return "<fileEntries xmlns=\"" ZT_SCHEMA_BASE_URI
         "/talbex/compiler/2011/fileManifest\" platform=\"wnx86\" encoding=\"Shift_JIS\">" +
         entries + "</fileEntries>\n";
}

/// A file, with further attributes as they are.
inline std::string entry(std::string const& name, std::string const& more = {}) {
  return "<fileEntry name=\"" + name + "\" content=\"/fsroot/x\" type=\"File\" " + more + "/>";
}

inline void read(std::string const& document, FileSystemTree& tree, FileSystemManifest& manifest) {
  std::vector<unsigned char> const bytes = zt_test::bytesOf(document);
  ByteArrayInAdaptor input(bytes);
  manifest.read(input, tree);
}

inline void read(std::string const& document, FileSystemTree& tree) {
  static FileSystemManifest manifest;
  read(document, tree, manifest);
}

inline std::string written(FileSystemTree const& tree) {
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor output(bytes);
  FileSystemManifest().write(tree, output);
  return zt_test::textOf(bytes);
}

inline std::string writtenV1(FileSystemTree const& tree) {
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor output(bytes);
  FileSystemManifest().writeV1(tree, output);
  return zt_test::textOf(bytes);
}

inline std::vector<std::u16string> leafPaths(FileSystemTree const& tree) {
  std::vector<std::u16string> paths;
  tree.forEachLeaf([&paths](FileSystemNode const& node) { paths.push_back(node.fullPath()); });
  return paths;
}

/// Delivers at most so many bytes at each read.
class SteppedInput final : public InputStream {
 public:
  SteppedInput(std::string text, std::size_t step) : text_(std::move(text)), step_(step) {}

  void reset() override { position_ = 0; }
  std::size_t read(void* buffer, std::size_t count) override {
    std::size_t const taken = text_.copy(static_cast<char*>(buffer), std::min(count, step_), position_);
    position_ += taken;
    return taken;
  }
  bool isEnd() override { return position_ == text_.size(); }
  void clear() override {}

 private:
  std::string text_;
  std::size_t step_;
  std::size_t position_ = 0;
};

}  // namespace opc::ztservices::manifest_samples
