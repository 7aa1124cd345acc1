// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

using samples::create;
using samples::open;
using samples::packageOf;
using samples::read;

/// What the package says of the name, or "free".
std::u16string clash(Package const& package, std::u16string const& name) {
  std::u16string existing = u"free";
  bool const clashes = package.isPartDerivedFromExistingPartName(PartName(name), existing);
  EXPECT_EQ(clashes, existing != u"free");
  return existing;
}

std::unique_ptr<Package> packageOfParts(std::vector<std::u16string> const& names) {
  auto package = Package::createInMemory();
  for (auto const& name : names) create(*package, name);
  return package;
}

TEST(Package, CreatesEmptyParts) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a.xml", "", u"text/xml; x=1");
  EXPECT_EQ(part.getName(), PartName(u"/a.xml"));
  EXPECT_EQ(part.getContentType().toString(), u"text/xml; x=1");
  EXPECT_EQ(part.getSize(), 0U);
  EXPECT_EQ(part.getStoredSize(), 0U);
  EXPECT_TRUE(part.getInputStream()->isEnd());
}

TEST(Package, HasPartsByTheirExactNames) {
  auto const package = packageOfParts({u"/a.xml"});
  EXPECT_TRUE(package->hasPart(PartName(u"/a.xml")));
  for (auto name : {u"/A.xml", u"a.xml", u"/a.xm", u"/a.xml/", u"", u"/", u"/\u00e4", u"/\xD800"})
    EXPECT_FALSE(package->hasPart(PartName(name)));
}

TEST(Package, ListsPartsByCodeUnit) {
  auto const package = packageOfParts({u"/b", u"/a/x", u"/a.x", u"/B2", u"/a!"});
  EXPECT_EQ(package->getPartNames(), (std::vector<PartName>{PartName(u"/B2"), PartName(u"/a!"), PartName(u"/a.x"),
                                                            PartName(u"/a/x"), PartName(u"/b")}));
}

TEST(Package, SaysWhichPartItDoesNotHave) {
  auto const package = packageOfParts({u"/a"});
  EXPECT_THROW_MESSAGE(package->getPart(PartName(u"/A")), PartNotFound, "Part not found: /A");
  EXPECT_THROW_MESSAGE(package->deletePart(PartName(u"/b\n")), PartNotFound, "Part not found: /b\\n");
}

TEST(Package, RefusesInvalidPartNames) {
  auto const package = Package::createInMemory();
  for (auto name : {u"", u"a", u"/a b", u"/a.", u"/a//b", u"/\u00e4", u"/a/"})
    EXPECT_THROW(create(*package, name), InvalidPartName);
  EXPECT_THROW_MESSAGE(create(*package, u"/a\u202e"), InvalidPartName, "Invalid part name: /a\\u{202E}");
  EXPECT_THROW_MESSAGE(create(*package, u"/a/_rels/b.rels"), InvalidPartName,
                       "Part name is reserved for relationships: /a/_rels/b.rels");
}

TEST(Package, RefusesNamesThatAreTooLongWithoutCallingThemAClash) {
  auto const package = Package::createInMemory();
  std::u16string const longest = u"/" + std::u16string(65535, u'a');
  EXPECT_EQ(clash(*package, longest + u"a"), u"free");
  EXPECT_THROW_MESSAGE(create(*package, longest + u"a"), InvalidPartName,
                       "Part name of 65537 characters is too long: /" + std::string(63, 'a') + "...");
  create(*package, longest, "content");
  EXPECT_EQ(read(*open(package->saveToBytes()), longest), "content");
}

TEST(Package, RefusesClashingNames) {
  auto const package = packageOfParts({u"/a/b.xml"});
  EXPECT_THROW_MESSAGE(create(*package, u"/A/b.xml"), PartNameClash,
                       "Part name /A/b.xml clashes with existing /a/b.xml");
  EXPECT_THROW_MESSAGE(create(*package, u"/a"), PartNameClash, "Part name /a clashes with existing /a/b.xml");
  EXPECT_THROW_MESSAGE(create(*package, u"/a/b.xml/c"), PartNameClash,
                       "Part name /a/b.xml/c clashes with existing /a/b.xml");
  EXPECT_EQ(package->getPartNames().size(), 1U);
}

TEST(Package, TellsClashesByCaseAndDerivation) {
  auto const package = packageOfParts({u"/Fs/a", u"/Fs/b/c", u"/Fs/b/d"});
  EXPECT_EQ(clash(*package, u"/fs/A"), u"/Fs/a");
  EXPECT_EQ(clash(*package, u"/Fs/a"), u"/Fs/a");
  EXPECT_EQ(clash(*package, u"/fs/a/x/y"), u"/Fs/a");
  EXPECT_EQ(clash(*package, u"/fs/B"), u"/Fs/b/c");
  EXPECT_EQ(clash(*package, u"/fs"), u"/Fs/a");
  for (auto name : {u"/Fs/ab", u"/Fs/b/cc", u"/f", u"/Fs/b!", u"/Fs/c/a"}) EXPECT_EQ(clash(*package, name), u"free");
}

TEST(Package, ReportsTheShortestPrefixFirst) {
  // Foreign packages cannot hold derived names, so that there is one existing prefix at most; a bad segment
  // may come before or behind it.
  auto const package = packageOfParts({u"/a/b"});
  EXPECT_EQ(clash(*package, u"/a/b/c./d"), u"/a/b");
  EXPECT_EQ(clash(*package, u"/x./a/b"), u"/x.");
}

TEST(Package, CallsBadSegmentsClashes) {
  auto const package = Package::createInMemory();
  EXPECT_EQ(clash(*package, u"/fsroot/_rels/x.rels"), u"/fsroot/_rels");
  EXPECT_EQ(clash(*package, u"/fsroot/_RELS/X.Rels"), u"/fsroot/_RELS");
  EXPECT_EQ(clash(*package, u"/fsroot/a//b"), u"/fsroot/a/");
  EXPECT_EQ(clash(*package, u"/fsroot/a/"), u"/fsroot/a/");
  EXPECT_EQ(clash(*package, u"/fsroot/../b"), u"/fsroot/..");
  EXPECT_EQ(clash(*package, u"/fsroot/foo./b.c"), u"/fsroot/foo.");
  EXPECT_EQ(clash(*package, u"/fsroot/foo."), u"/fsroot/foo.");
  for (auto name :
       {u"/fsroot/_rels/a", u"/fsroot/_rels", u"/fsroot/a.rels", u"/fsroot/_rels/a.rels/b", u"/a%2F", u"/\u00e4"})
    EXPECT_EQ(clash(*package, name), u"free");
}

TEST(Package, LeavesTheClashingNameAloneWhereThereIsNone) {
  std::u16string existing = u"as it was";
  EXPECT_FALSE(Package::createInMemory()->isPartDerivedFromExistingPartName(PartName(u"/a"), existing));
  EXPECT_EQ(existing, u"as it was");
}

TEST(Package, TakesANameThatWasFoundFreeBeforeThePartBehindItWent) {
  auto const package = packageOfParts({u"/a/c"});
  EXPECT_EQ(clash(*package, u"/a/b"), u"free");
  package->deletePart(PartName(u"/a/c"));
  create(*package, u"/a/b");
  package->createInternalRelationship(u"urn:x", URI(u"/a/b"));
  EXPECT_EQ(clash(*package, u"/_rel"), u"free");
  package->deleteRelationship(u"rId1");
  create(*package, u"/_rel");
  EXPECT_EQ(package->getPartNames(), (std::vector<PartName>{PartName(u"/_rel"), PartName(u"/a/b")}));
}

TEST(Package, AsksAgainAboutANameThatWasFreeBefore) {
  auto const package = packageOfParts({u"/x"});
  EXPECT_EQ(clash(*package, u"/a/b"), u"free");
  create(*package, u"/a");
  EXPECT_EQ(clash(*package, u"/a/b"), u"/a");
  EXPECT_THROW(create(*package, u"/a/b"), PartNameClash);
  package->deletePart(PartName(u"/a"));
  EXPECT_EQ(clash(*package, u"/a/b"), u"free");
  create(*package, u"/a/b");
  EXPECT_EQ(clash(*package, u"/a/b"), u"/a/b");
  EXPECT_EQ(clash(*package, u"/_rels"), u"free");
  package->getPart(PartName(u"/x")).createInternalRelationship(u"urn:x", URI(u"a/b"));
  EXPECT_EQ(clash(*package, u"/_rels"), u"/_rels/x.rels");
}

TEST(Package, ClashesWithItemsOfAnEquivalentName) {
  auto const package = open(packageOf({{"Sig.p7s", "s"}, {"folder/", ""}}));
  EXPECT_EQ(clash(*package, u"/sig.P7S"), u"/Sig.p7s");
  EXPECT_EQ(clash(*package, u"/sig.p7s/a"), u"free");
  EXPECT_EQ(clash(*package, u"/folder"), u"free");
  EXPECT_THROW_MESSAGE(create(*package, u"/Sig.p7s"), PartNameClash,
                       "Part name /Sig.p7s clashes with existing /Sig.p7s");
}

TEST(Package, AgreesWithASimpleModelOfClashes) {
  std::vector<std::u16string> const segments = {u"/a", u"/A", u"/b", u"/a.b", u"/_rels"};
  std::vector<std::u16string> all;
  for (auto const& x : segments) {
    all.push_back(x);
    for (auto const& y : segments) {
      all.push_back(x + y);
      for (auto const& z : segments) all.push_back(x + y + z);
    }
  }
  auto const lower = [](std::u16string text) {
    std::replace(text.begin(), text.end(), u'A', u'a');
    return text;
  };
  for (std::size_t seed = 1; seed < 40; ++seed) {
    auto const package = Package::createInMemory();
    std::vector<std::u16string> made;
    for (std::size_t i = 0; i < all.size(); ++i) {
      auto const& name = all[i * seed % all.size()];
      bool const clashes = std::any_of(made.begin(), made.end(), [&](auto const& other) {
        auto const p = lower(name), q = lower(other);
        return p == q || p.starts_with(q + u"/") || q.starts_with(p + u"/");
      });
      ASSERT_EQ(clash(*package, name) != u"free", clashes);
      if (clashes || i % 3 != 0) continue;
      create(*package, name);
      made.push_back(name);
    }
  }
}

TEST(Package, DeletesPartsWithTheirRelationships) {
  auto const package = packageOfParts({u"/a.xml"});
  package->getPart(PartName(u"/a.xml")).createInternalRelationship(u"urn:x", URI(u"b"));
  EXPECT_EQ(package->getPartNames().size(), 2U);
  package->deletePart(PartName(u"/a.xml"));
  EXPECT_TRUE(package->getPartNames().empty());
  EXPECT_TRUE(create(*package, u"/A.xml").getRelationships().empty());
}

TEST(Package, LeavesRelationshipsToADeletedPart) {
  auto const package = packageOfParts({u"/a.xml"});
  package->createInternalRelationship(u"urn:x", URI(u"a.xml"));
  package->deletePart(PartName(u"/a.xml"));
  EXPECT_EQ(package->getRelationships().size(), 1U);
}

TEST(Package, DoesNotLetRelationshipsPartsBeDeletedOrWritten) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(u"urn:x", URI(u"a"));
  PartName const name(u"/_rels/.rels");
  EXPECT_THROW_MESSAGE(package->deletePart(name), InvalidState,
                       "A relationships part is written by its package alone: /_rels/.rels");
  EXPECT_THROW_MESSAGE(package->getPart(name).getOutputStream(), InvalidState,
                       "A relationships part is written by its package alone: /_rels/.rels");
}

TEST(Package, HandlesFollowTheNameOfTheirPart) {
  auto const package = packageOfParts({u"/a"});
  Part const part = package->getPart(PartName(u"/a"));
  package->deletePart(part.getName());
  for (int i = 0; i < 2; ++i) {
    EXPECT_THROW_MESSAGE(part.getContentType(), PartNotFound, "Part not found: /a");
    EXPECT_THROW(part.getSize(), PartNotFound);
    EXPECT_THROW(part.getStoredSize(), PartNotFound);
    EXPECT_THROW(part.getInputStream(), PartNotFound);
    EXPECT_THROW(part.getOutputStream(), PartNotFound);
    EXPECT_THROW(part.getRelationships(), PartNotFound);
    EXPECT_THROW(part.getRelationshipsByType(u"x"), PartNotFound);
    EXPECT_THROW(Part(part).createInternalRelationship(u"x", URI(u"b")), PartNotFound);
    EXPECT_THROW(Part(part).deleteRelationship(u"x"), PartNotFound);
  }
  create(*package, u"/a", "again");
  EXPECT_EQ(read(part), "again");
}

TEST(Package, ReadOnlyRefusesEveryChange) {
  auto const package = open(packageOf({{"a.xml", "a"}}), AccessMode::ReadOnly);
  EXPECT_TRUE(package->isReadOnly());
  EXPECT_THROW_MESSAGE(create(*package, u"/b.xml"), PackageIsReadOnly, "The package is read-only");
  EXPECT_THROW(package->deletePart(PartName(u"/a.xml")), PackageIsReadOnly);
  EXPECT_THROW(package->getPart(PartName(u"/a.xml")).getOutputStream(), PackageIsReadOnly);
  EXPECT_THROW(package->createInternalRelationship(u"x", URI(u"a")), PackageIsReadOnly);
  EXPECT_THROW(package->createExternalRelationship(u"x", u"a"), PackageIsReadOnly);
  EXPECT_THROW(package->deleteRelationship(u"a"), PackageIsReadOnly);
  EXPECT_THROW(package->save(), PackageIsReadOnly);
}

TEST(Package, PartsOutliveThePackageObject) {
  auto package = packageOfParts({u"/a"});
  Part const part = create(*package, u"/b", "text");
  package.reset();
  EXPECT_EQ(read(part), "text");
}

}  // namespace
}  // namespace opc::model
