// SPDX-License-Identifier: Apache-2.0
#include "commands/TreeAdding.hpp"

#include <iostream>
#include <string>

#include "cli/Errors.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {

using opc::ztservices::TransformMode;

ForwardingOps::Paths namesOf(std::u16string const& package) {
  std::u16string const absolute = absolutePath(package);
  std::u16string const folder = resolvedPath(parentOf(absolute));
  return {resolvedPath(absolute), (folder == u"/" ? u"" : folder) + absolute.substr(absolute.rfind(u'/'))};
}

void printLeftOut(SourceTree const& source, char const* command) {
  for (std::string const& line : source.leftOut()) std::cerr << "ztpkg: " << command << ": " << line << '\n';
}

void addTree(opc::ztservices::FileSystemManager& manager, SourceTree& source, bool textToUTF8) {
  try {
    manager.addAll(u"/", textToUTF8 ? TransformMode::Transform : TransformMode::None);
  } catch (opc::UndecodableText const& undecodable) {
    std::u16string const file = source.diskPath(source.lastFile());
    std::string const message = "cannot store " + shown(file) + " as UTF-8: " + undecodable.what();
    throw Failure(Report{Exit::Package, "bad-text", message, file});
  }
  source.checkLastFile();
  for (std::u16string const& folder : source.folders())
    if (!manager.hasEntry(folder)) manager.createFolder(folder);
}

}  // namespace ztpkg
