// SPDX-License-Identifier: Apache-2.0
#include "crypto/CipherDataSamples.hpp"

#include <gtest/gtest.h>

#include "support/TestSupport.hpp"

namespace opc::ztservices::samples {

void writePart(model::Part const& part, std::string const& content) {
  auto const output = part.getOutputStream();
  output->write(content.data(), content.size());
  output->close();
}

model::Part addPart(Package& package, std::u16string const& name, std::string const& content, char16_t const* type) {
  auto const part = package.createPart(PartName(name), model::ContentType(type),
                                       model::StandardPartInfo(model::CompressionType::Markup));
  writePart(part, content);
  return part;
}

std::unique_ptr<Package> packageWith(std::string const& document, std::u16string const& name) {
  auto package = Package::createInMemory();
  addPart(*package, name, document);
  package->createInternalRelationship(kRelationshipType, model::URI(name));
  return package;
}

std::unique_ptr<Package> reopen(Package& package) {
  return Package::openInMemory(package.saveToBytes(), model::AccessMode::ReadWrite);
}

std::string documentOf(Package const& package, std::u16string const& name) {
  return zt_test::readAll(*package.getPart(PartName(name)).getInputStream());
}

void load(std::string const& document) {
  auto const package = packageWith(document);
  CipherDataManager(*package).load();
}

void expectEntry(CipherEntry const& entry, RelationshipSelector const& selector, Bytes const& hash,
                 std::u16string const& salt, Bytes const& iv) {
  EXPECT_EQ(entry.getRelationshipSelector(), selector);
  EXPECT_EQ(entry.getHash(), hash);
  EXPECT_EQ(entry.getSalt(), salt);
  EXPECT_EQ(entry.getIV(), iv);
}

}  // namespace opc::ztservices::samples
