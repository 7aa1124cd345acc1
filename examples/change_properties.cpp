// SPDX-License-Identifier: Apache-2.0
// Shows title and author of an office document, and gives it another title: change_properties DOCUMENT TITLE
#include <exception>
#include <iostream>

#include "opc/ztservices.hpp"

using namespace opc;

int main(int count, char** arguments) try {
  if (count != 3) throw Exception("usage: change_properties DOCUMENT TITLE");
  auto const document = model::Package::open(arguments[1], model::AccessMode::ReadWrite);
  model::CoreProperties properties = model::PackageHelper::getCoreProperties(*document);
  std::cout << "title: " << toUTF8String(properties.getTitle()) << '\n'
            << "author: " << toUTF8String(properties.getCreator()) << '\n';
  properties.setTitle(toUTF16(arguments[2]));
  properties.setModified(getCurrentTime());
  model::PackageHelper::createOrUpdateCoreProperties(*document, properties);
  document->save();  // every other part stays byte for byte
} catch (std::exception const& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
