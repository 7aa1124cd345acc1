// SPDX-License-Identifier: Apache-2.0
#include "Packages.hpp"

/// Whole packages: opened, read through, saved; then with a part more.
namespace zt_fuzz {
namespace {

using namespace opc::model;

void addPart(Package& package) {
  Part const part = package.createPart(PartName(u"/added/part.txt"), ContentType(u"text/plain"),
                                       StandardPartInfo(CompressionType::Markup));
  auto const output = part.getOutputStream();
  output->write("added", 5);
  output->close();
  package.createInternalRelationship(u"urn:added", part.getName().getURI());
}

void run(Bytes const& input) {
  auto const package = openOrRefuse(input);
  if (!package) return;
  requireKept(*package);
  std::u16string clashing;
  if (package->isPartDerivedFromExistingPartName(PartName(u"/added/part.txt"), clashing)) return;
  addPart(*package);
  requireKept(*package);
}

std::vector<Bytes> seeds() { return {samplePackage(), Package::createInMemory()->saveToBytes()}; }

Registration const registration("package", run, seeds);

}  // namespace
}  // namespace zt_fuzz
