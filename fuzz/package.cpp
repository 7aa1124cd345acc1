// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>
#include <vector>

#include "Mutators.hpp"
#include "Packages.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/PackageReader.hpp"

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

/// Whether a reader that lists all faults finds one that makes a package unusable.
bool isListedAsUnusable(Bytes const& input) {
  OpenOptions const limits = smallLimits();
  CollectedFaults faults;
  zip::Reader container(zip::makeMemoryBytes(input), limits.maximumItems, faults);
  detail::PackageReader reader(std::make_shared<PackageState>(), container, limits, faults);
  if (reader.checkTotalSize()) {
    reader.identify();
    container.readItems();
    reader.readRelationships();
  }
  return faults.isRefused;
}

void run(Bytes const& input) {
  auto const package = openOrRefuse(input);
  require(!package == isListedAsUnusable(input), "a list has an unusable package exactly where opening refuses it");
  if (!package) return;
  requireKept(*package);
  std::u16string clashing;
  if (package->isPartDerivedFromExistingPartName(PartName(u"/added/part.txt"), clashing)) return;
  // A piece of relationships, of which others are missing, keeps the package from having relationships of its own.
  if (!isAccepted<PartNameClash>([&] { addPart(*package); })) return;
  requireKept(*package);
}

std::vector<Bytes> seeds() { return {samplePackage(), Package::createInMemory()->saveToBytes()}; }

Registration const registration("package", run, seeds, changeContainer);

}  // namespace
}  // namespace zt_fuzz
