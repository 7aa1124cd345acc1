// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <iostream>
#include <string>

#include "opc/Strings.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/FileSystem.hpp"

/// Adds a file system of a folder and a file to each package named: add-file-system PACKAGE...
int main(int count, char** arguments) {
  try {
    for (int i = 1; i < count; ++i) {
      auto const package =
          opc::model::Package::open(opc::toString(std::string(arguments[i]), false), opc::model::AccessMode::ReadWrite);
      opc::ztservices::FileSystemManager manager(*package);
      manager.createFolder(u"/folder");
      manager.addFile(opc::toString(std::string(arguments[i]), false), u"/folder/itself.bin",
                      opc::ztservices::TransformMode::None);
      package->save();
    }
  } catch (std::exception const& error) {
    std::cerr << "add-file-system: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
