// SPDX-License-Identifier: Apache-2.0
// Packs a directory without hidden files, through disk operations of its own: custom_disk DIRECTORY PACKAGE
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "opc/ztservices.hpp"

using namespace opc;

namespace {

class WithoutHidden final : public ForwardingFileSystemOps {
 public:
  using ForwardingFileSystemOps::ForwardingFileSystemOps;

  void getFiles(std::u16string const& root, Paths& files, bool recursive, ErrorCode& error) override {
    inner().getFiles(root, files, recursive, error);
    std::erase_if(files, [&](auto const& path) { return path.find(u"/.", root.size()) != path.npos; });
  }
};

/// Chooses by the path that is added from or extracted to; here it is the same for all.
class Selector final : public FileSystemOpsSelector {
 public:
  FileSystemOps& getForPath(std::u16string const&) override { return withoutHidden_; }

 private:
  LocalFileSystemOps disk_;
  WithoutHidden withoutHidden_{disk_};
};

}  // namespace

int main(int count, char** arguments) try {
  if (count != 3) throw Exception("usage: custom_disk DIRECTORY PACKAGE");
  Selector selector;
  auto const package = model::Package::create(arguments[2]);
  ztservices::FileSystemManager files(*package, selector);
  files.addAll(arguments[1]);
  package->save();
  std::cout << files.getAllLeafs().size() << " files and links\n";
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
