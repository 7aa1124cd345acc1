// SPDX-License-Identifier: Apache-2.0
#include "Mutators.hpp"
#include "Packages.hpp"
#include "opc/model/PackageHelper.hpp"

/// The relationships of a package and of a part of it.
namespace zt_fuzz {
namespace {

#include <string>
#include <vector>

using namespace opc::model;

void requireTargets(Package const& package) {
  for (Relationship const& relationship : package.getRelationships())
    if (auto const part = PackageHelper::findTarget(package, relationship))
      require(package.hasPart(part->getName()), "what a relationship leads to is there");
}

void run(Bytes const& input) {
  std::string const document = textOf(input);
  for (char const* const item : {"_rels/.rels", "b/_rels/c.xml.rels"}) {
    auto const package = openOrRefuse(
        archiveOf({{"[Content_Types].xml", contentTypes()}, {item, document}, {"a.xml", "a"}, {"b/c.xml", "c"}}));
    if (!package) continue;
    requireTargets(*package);
    requireKept(*package);
    package->createExternalRelationship(u"urn:added", u"http://example.org/");
    requireKept(*package);
  }
}

std::vector<Bytes> seeds() {
  return {bytesOf(relationships("<Relationship Id=\"rId1\" Type=\"urn:x\" Target=\"b/c.xml\"/>"
                                "<Relationship Id=\"r\" Type=\"urn:x\" Target=\"/A.xml#f\" TargetMode=\"Internal\"/>"
                                "<Relationship Id=\"e\" Type=\"urn:x\" Target=\"x y\" TargetMode=\"External\"/>")),
          bytesOf(relationships("<Relationship xmlns:mc=\"http://schemas.openxmlformats.org/markup-compatibility/2006\""
                                " xmlns:n=\"urn:n\" mc:Ignorable=\"n\" n:a=\"b\" Id=\"rId2\" Type=\"urn:x\""
                                " Target=\"../%41.xml\"/>"))};
}

Registration const registration("relationships", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
