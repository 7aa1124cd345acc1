// SPDX-License-Identifier: Apache-2.0
#include "FuzzTarget.hpp"
#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/PartNameRules.hpp"

/// Two names, a line each: what is true of part names, of two of them together, and of references.
namespace zt_fuzz {
namespace {

#include <string>
#include <string_view>
#include <vector>

using namespace opc::model;

bool canBeCreated(Package& package, PartName const& name) {
  return isAccepted<InvalidPartName, PartNameClash>(
      [&] { package.createPart(name, ContentType(u"application/xml"), StandardPartInfo(CompressionType::Markup)); });
}

bool clashesWith(PartName const& existing, PartName const& name) {
  auto const package = Package::createInMemory();
  if (!canBeCreated(*package, existing)) return false;
  std::u16string clashing;
  bool const clashes = package->isPartDerivedFromExistingPartName(name, clashing);
  require(!clashes || !clashing.empty(), "a clash tells the other name");
  if (name.isValid()) require(canBeCreated(*package, name) != clashes, "a valid name that clashes is no part's");
  return clashes;
}

void requireName(PartName const& name) {
  std::string const narrow = detail::narrowName(name.toString());
  require(narrow.size() == name.toString().size(), "positions agree");
  require(name.isEquivalentTo(name), "a name is equivalent to itself");
  if (!name.isValid()) return;
  require(detail::wideName(narrow) == name.toString(), "a valid name is plain ASCII");
  if (name.isRelationshipsPart()) {
    require(detail::equalIgnoringCase(detail::relationshipsNameOf(detail::sourceNameOf(narrow)), narrow),
            "the source's relationships are these");
    return;
  }
  require(detail::sourceNameOf(detail::relationshipsNameOf(narrow)) == narrow, "relationships are of their source");
  URI const resolved = URI(name.toString()).resolvedAgainst(URI(u"/some/base.xml"));
  require(resolved == name.getURI(), "a valid name is a reference to itself");
}

void requireClash(PartName const& a, PartName const& b) {
  require(a.isEquivalentTo(b) == b.isEquivalentTo(a), "names are equivalent in both directions");
  if (!a.isValid() || !b.isValid() || a.isRelationshipsPart() || b.isRelationshipsPart()) return;
  bool const clash = clashesWith(a, b);
  require(clash || !a.isEquivalentTo(b), "equivalent names clash");
  std::u16string clashing;
  auto const package = Package::createInMemory();
  if (canBeCreated(*package, a) && canBeCreated(*Package::createInMemory(), b))
    require(clash == clashesWith(b, a), "names clash in both directions");
}

void requireReference(std::u16string const& reference, PartName const& base) {
  isAccepted<InvalidURI>([&] {
    URI const target = URI(reference).resolvedAgainst(base.isValid() ? base.getURI() : URI(u"/a/b.xml"));
    require(target.toString().starts_with(u'/'), "a resolved reference is absolute");
    for (char16_t const c : target.toString()) require(c > 0x20 && c < 0x7F, "a URI is plain ASCII");
    if (PartName(target).isValid())
      require(target.resolvedAgainst(URI(u"/x/y")) == target, "the name of a part stays what it is");
  });
  isAccepted<opc::InvalidText>([&] {
    for (char16_t const c : URI::encodeComponent(reference, "")) require(c > 0x20 && c < 0x7F, "an encoding is ASCII");
  });
}

void requireAll(std::u16string const& a, std::u16string const& b) {
  requireName(PartName(a));
  requireName(PartName(b));
  requireClash(PartName(a), PartName(b));
  requireReference(a, PartName(b));
  requireReference(b, PartName(a));
}

void run(Bytes const& input) {
  auto const [a, b] = lineAndRest(input);
  requireAll({a.begin(), a.end()}, {b.begin(), b.end()});
  requireAll(unitsOf(a), unitsOf(b));
}

std::vector<Bytes> seeds() {
  return {bytesOf("/a/b.xml\n/A/B.xml/c"), bytesOf("/_rels/.rels\n/a/_rels/b.xml.rels"),
          bytesOf("../x/./%7e%C3%A9?q#f\n/a/b%20c"), bytesOf(std::string_view("\0/\0a\n\0/", 7))};
}

Registration const registration("part_name", run, seeds);

}  // namespace
}  // namespace zt_fuzz
