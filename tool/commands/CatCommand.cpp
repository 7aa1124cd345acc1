// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "cli/Errors.hpp"
#include "commands/Commands.hpp"
#include "disk/FileSystems.hpp"

namespace ztpkg {

void cat(CatOptions const& options, Output& out) {
  auto const package = openFileSystem(options.package);
  opc::ztservices::FileSystemManager manager(*package);
  enableDecryption(manager, options.key, options.package);
  load(manager, options.package);
  auto const entry = findEntry(manager, options.path);
  std::u16string const path = entry.getPathName();
  if (!entry.isFile()) {
    std::string const kind = entry.isLink() ? " is a link, to " + shown(entry.getContentName()) : " is a folder";
    throw Failure(Report{Exit::Package, "not-a-file", shown(path) + kind, path});
  }
  throwIfKeyIsMissing(manager, entry);
  try {
    auto const source = manager.getFileContentSource(entry, opc::ztservices::TransformMode::Transform);
    opc::StreamHelper::copyStreamToStream(source->getInputStream(), out);
  } catch (opc::ztservices::CouldNotTransformContentData const&) {
    throw Failure(cannotDecrypt(shown(path), path));
  }
}

}  // namespace ztpkg
