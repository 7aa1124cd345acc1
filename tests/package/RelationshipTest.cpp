// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "opc/model/Exceptions.hpp"
#include "opc/model/Relationship.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

using samples::create;
using samples::open;
using samples::packageOf;

std::u16string ids(RelationshipSource const& source) {
  std::u16string all;
  for (auto const& relationship : source.getRelationships()) all += relationship.getID() + u" ";
  return all;
}

TEST(Relationship, IsWhatItWasMadeOf) {
  auto const package = Package::createInMemory();
  Part part = create(*package, u"/a/b.xml");
  Relationship const made = part.createInternalRelationship(u"urn:t", URI(u"../c.xml?q#f"), u"x");
  EXPECT_EQ(made.getID(), u"x");
  EXPECT_EQ(made.getType(), u"urn:t");
  EXPECT_EQ(made.getMode(), TargetMode::Internal);
  EXPECT_EQ(made.getTargetText(), u"../c.xml?q#f");
  EXPECT_EQ(made.getTargetURI(), URI(u"/c.xml"));
}

TEST(Relationship, KeepsExternalTargetsToTheLetter) {
  auto const package = Package::createInMemory();
  std::u16string const target = u"file:///c:\\a b\u00e4\t&\"<\nx?#..";
  EXPECT_EQ(package->createExternalRelationship(u"urn:t", target).getTargetURI(), URI(target));
  auto const read = open(package->saveToBytes())->getRelationships().at(0);
  EXPECT_EQ(read.getTargetText(), target);
  EXPECT_EQ(read.getMode(), TargetMode::External);
}

TEST(Relationship, SaysWhenItsTargetCannotBeResolved) {
  std::string const relationships = samples::relationships(samples::relationship("r1", "//host/a"));
  auto const package = open(samples::packageOf({{"_rels/.rels", relationships}}));
  EXPECT_THROW_MESSAGE(package->getRelationships().at(0).getTargetURI(), InvalidURI,
                       "URI cannot be resolved to a part: //host/a");
}

TEST(Relationship, OutlivesItsPackage) {
  auto package = Package::createInMemory();
  Relationship const made = package->createInternalRelationship(u"urn:t", URI(u"a"));
  package->deleteRelationship(u"rId1");
  package.reset();
  EXPECT_EQ(made.getID(), u"rId1");
  EXPECT_EQ(made.getTargetURI(), URI(u"/a"));
}

TEST(RelationshipSource, NumbersItsRelationships) {
  auto const package = Package::createInMemory();
  for (int i = 0; i < 3; ++i) package->createInternalRelationship(u"urn:t", URI(u"a"));
  EXPECT_EQ(ids(*package), u"rId1 rId2 rId3 ");
  package->deleteRelationship(u"rId2");
  EXPECT_EQ(package->createExternalRelationship(u"urn:t", u"a").getID(), u"rId2");
  EXPECT_EQ(ids(*package), u"rId1 rId3 rId2 ");
}

TEST(RelationshipSource, SelectsByTypeToTheLetter) {
  auto const package = Package::createInMemory();
  for (auto type : {u"urn:a", u"urn:b", u"urn:A", u"urn:a"}) package->createInternalRelationship(type, URI(u"x"));
  auto const found = package->getRelationshipsByType(u"urn:a");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].getID(), u"rId1");
  EXPECT_EQ(found[1].getID(), u"rId4");
  EXPECT_TRUE(package->getRelationshipsByType(u"urn:").empty());
}

TEST(RelationshipSource, CopiesStandForTheSameSource) {
  auto const package = Package::createInMemory();
  RelationshipSource copy(*package);
  copy.createInternalRelationship(u"urn:t", URI(u"a"));
  EXPECT_EQ(ids(*package), u"rId1 ");
}

TEST(RelationshipSource, RefusesBadIds) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(u"urn:t", URI(u"a"), u"x");
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(u"urn:t", URI(u"a"), u"x"), InvalidRelationship,
                       "Relationship id is taken: x");
  EXPECT_THROW_MESSAGE(package->createExternalRelationship(u"urn:t", u"a", u"1 x"), InvalidRelationship,
                       "Invalid relationship id: 1 x");
  EXPECT_EQ(ids(*package), u"x ");
}

TEST(RelationshipSource, RefusesBadTargets) {
  auto const package = Package::createInMemory();
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(u"urn:t", URI(u"http://a")), InvalidRelationship,
                       "Invalid relationship target: http://a");
  for (auto target : {u"_rels/.rels", u"/a/_RELS/b.RELS#x", u"x/../_rels/.rels", u"a b", u"a\n", u"a\xD800", u"a\\b",
                      u"100%", u"a%4", u"%zz", u"a[1]", u"%5Frels/a.%72els"})
    EXPECT_THROW(package->createInternalRelationship(u"urn:t", URI(target)), InvalidRelationship);
  for (auto target : {u"a\x01", u"\xFFFE", u"\xDC00"})
    EXPECT_THROW(package->createExternalRelationship(u"urn:t", target), InvalidRelationship);
  EXPECT_TRUE(package->getPartNames().empty());
}

TEST(RelationshipSource, RefusesBadTypes) {
  auto const package = Package::createInMemory();
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(u"", URI(u"a")), InvalidRelationship,
                       "Invalid relationship type: ");
  EXPECT_THROW(package->createInternalRelationship(u"a b", URI(u"a")), InvalidRelationship);
  for (auto type : {u"type", u"/type", u"1a:b", u":b", u"urn:", u"#t", u"//host/type"})
    EXPECT_THROW(package->createInternalRelationship(type, URI(u"a")), InvalidRelationship);
  EXPECT_THROW(package->createInternalRelationship(u"urn:%a", URI(u"a")), InvalidRelationship);
  EXPECT_THROW(package->createExternalRelationship(u"a\x01", u"a"), InvalidRelationship);
}

TEST(RelationshipSource, SaysWhichRelationshipItDoesNotHave) {
  auto const package = Package::createInMemory();
  Part part = create(*package, u"/a");
  EXPECT_THROW_MESSAGE(package->deleteRelationship(u"rId1"), RelationshipNotFound,
                       "Relationship not found: rId1 of the package");
  EXPECT_THROW_MESSAGE(part.deleteRelationship(u"x\n"), RelationshipNotFound, "Relationship not found: x\\n of /a");
}

TEST(RelationshipSource, ShowsAsAPartWhileItHasRelationships) {
  auto const package = Package::createInMemory();
  Part part = create(*package, u"/a/b");
  part.createInternalRelationship(u"urn:t", URI(u"c"));
  Part const relationships = package->getPart(PartName(u"/a/_rels/b.rels"));
  EXPECT_EQ(relationships.getContentType().toString(), u"application/vnd.openxmlformats-package.relationships+xml");
  EXPECT_EQ(samples::read(relationships).size(), relationships.getSize());
  EXPECT_GT(relationships.getStoredSize(), 0U);
  part.deleteRelationship(u"rId1");
  EXPECT_FALSE(package->hasPart(PartName(u"/a/_rels/b.rels")));
}

TEST(RelationshipSource, IsReadAsItWouldBeWrittenNow) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(u"urn:t", URI(u"c"));
  package->createExternalRelationship(u"urn:u", u"d&", u"x");
  EXPECT_EQ(samples::read(*package, u"/_rels/.rels"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
            "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">\n\n"
            "  <Relationship Id=\"rId1\" Target=\"c\" Type=\"urn:t\"/>\n\n"
            "  <Relationship Id=\"x\" Target=\"d&amp;\" TargetMode=\"External\" Type=\"urn:u\"/>\n\n"
            "</Relationships>\n");
}

TEST(RelationshipSource, KeepsUntouchedRelationshipsByteForByte) {
  std::string const text = "<!-- ours --> " + samples::relationships(samples::relationship("r", "a"));
  auto const package = open(packageOf({{"_rels/.rels", text}, {"_rels/a.rels", text}, {"a", "a"}},
                                      "<Override PartName='/a' ContentType='a/b'/>"));
  EXPECT_EQ(samples::read(*package, u"/_rels/.rels"), text);
  package->createInternalRelationship(u"urn:t", URI(u"b"));
  auto const again = open(package->saveToBytes());
  EXPECT_EQ(samples::read(*again, u"/_rels/a.rels"), text);
  EXPECT_EQ(ids(*again), u"r rId1 ");
}

TEST(RelationshipSource, OfARelationshipsPartHasNone) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(u"urn:t", URI(u"a"));
  Part part = package->getPart(PartName(u"/_rels/.rels"));
  EXPECT_TRUE(part.getRelationships().empty());
  EXPECT_THROW_MESSAGE(part.createInternalRelationship(u"urn:t", URI(u"a")), InvalidRelationship,
                       "A relationships part has no relationships: /_rels/.rels");
}

TEST(RelationshipSource, CannotHaveRelationshipsWhereAPartStandsInTheWay) {
  auto const package = Package::createInMemory();
  create(*package, u"/_RELS");
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(u"urn:t", URI(u"a")), PartNameClash,
                       "Part name /_rels/.rels clashes with existing /_RELS");
  EXPECT_TRUE(package->getRelationships().empty());
}

TEST(RelationshipSource, StandsInTheWayOfParts) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(u"urn:t", URI(u"a"));
  EXPECT_THROW(create(*package, u"/_rels"), PartNameClash);
  EXPECT_THROW(create(*package, u"/_rels/.rels/x"), PartNameClash);
  package->deleteRelationship(u"rId1");
  EXPECT_NO_THROW(create(*package, u"/_rels"));
}

TEST(RelationshipSource, CarriesTwentyThousandRelationships) {
  auto const package = Package::createInMemory();
  for (int i = 0; i < 20000; ++i) package->createInternalRelationship(u"urn:t", URI(u"a"));
  auto const again = open(package->saveToBytes());
  EXPECT_EQ(again->createInternalRelationship(u"urn:t", URI(u"a")).getID(), u"rId20001");
  for (auto const& relationship : again->getRelationships()) again->deleteRelationship(relationship.getID());
  EXPECT_TRUE(again->getPartNames().empty());
}

TEST(RelationshipSelector, IsAValue) {
  RelationshipSelector const selector(URI(u"/a"), RelationshipSelectorType::ByID, u"rId1");
  EXPECT_EQ(selector.getSourceURI(), URI(u"/a"));
  EXPECT_EQ(selector.getSelectorType(), RelationshipSelectorType::ByID);
  EXPECT_EQ(selector.getSelectionCriteria(), u"rId1");
  EXPECT_EQ(selector, RelationshipSelector(URI(u"/a"), RelationshipSelectorType::ByID, u"rId1"));
  EXPECT_FALSE(selector == RelationshipSelector(URI(u"/a"), RelationshipSelectorType::ByType, u"rId1"));
  EXPECT_FALSE(selector == RelationshipSelector(URI(u"/b"), RelationshipSelectorType::ByID, u"rId1"));
}

TEST(Relationship, IsNotMadeForATargetThatNothingResolves) {
  auto const package = Package::createInMemory();
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(u"urn:x", URI(u"//host/x")), InvalidRelationship,
                       "Invalid relationship target: //host/x");
}

}  // namespace
}  // namespace opc::model
