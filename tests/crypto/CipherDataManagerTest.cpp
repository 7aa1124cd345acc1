// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "crypto/CipherDataSamples.hpp"

/// The entries that a manager holds, and what it writes of them.
namespace opc::ztservices {
namespace {

using namespace samples;

constexpr char kPresent[] =
    "Unable to create cipher entry. This is likely because the relationshipSelector is already present.";
constexpr char kNotFound[] = "No cipher data found for the given RelationshipSelector.";

class CipherData : public testing::Test {
 protected:
  std::unique_ptr<Package> package = Package::createInMemory();
  CipherDataManager manager{*package};

  void add(RelationshipSelector const& selector) { manager.addCipherEntry(selector, kHash, kSalt, kIV); }
  std::string saved() {
    package->save();
    return documentOf(*package);
  }
};

TEST_F(CipherData, GivesBackWhatWasAdded) {
  EXPECT_FALSE(manager.hasCipherEntry(byType()));
  add(byType());
  EXPECT_TRUE(manager.hasCipherEntry(byType()));
  expectEntry(manager.getCipherEntry(byType()), byType());
}

TEST_F(CipherData, KeepsTheFirstEntryOfASelector) {
  add(byType());
  EXPECT_THROW_MESSAGE(manager.addCipherEntry(byType(), {9}, u"other", {8}), InvalidCipherData, kPresent);
  expectEntry(manager.getCipherEntry(byType()), byType());
}

TEST_F(CipherData, TellsSelectorsApartByEachOfTheirParts) {
  for (auto const& selector : {byType(u"x"), byID(u"x"), byID(u"y"), byID(u"x", u"/part.xml")}) {
    EXPECT_FALSE(manager.hasCipherEntry(selector));
    add(selector);
    EXPECT_TRUE(manager.hasCipherEntry(selector));
  }
}

TEST_F(CipherData, RefusesAnEmptyHashFirst) {
  EXPECT_THROW_MESSAGE(manager.addCipherEntry(byType(), {}, u"", {}), Exception, "Input password hash is empty.");
  EXPECT_THROW_MESSAGE(manager.addCipherEntry(byType(), {}, kSalt, kIV), Exception, "Input password hash is empty.");
}

TEST_F(CipherData, RefusesAnEmptySaltNext) {
  EXPECT_THROW_MESSAGE(manager.addCipherEntry(byType(), kHash, u"", {}), Exception, "Input salt is empty.");
  EXPECT_THROW_MESSAGE(manager.addCipherEntry(byType(), kHash, u"", kIV), Exception, "Input salt is empty.");
}

TEST_F(CipherData, RefusesAnEmptyIVLast) {
  EXPECT_THROW_MESSAGE(manager.addCipherEntry(byType(), kHash, kSalt, {}), Exception, "Input IV is empty.");
}

TEST_F(CipherData, ChecksItsInputBeforeThePresenceOfTheSelector) {
  add(byType());
  EXPECT_THROW_MESSAGE(manager.addCipherEntry(byType(), kHash, u"", kIV), Exception, "Input salt is empty.");
}

TEST_F(CipherData, IsNotChangedByWhatItRefuses) {
  EXPECT_THROW(manager.addCipherEntry(byType(), kHash, u"", kIV), Exception);
  EXPECT_FALSE(manager.isDirty());
  EXPECT_FALSE(manager.hasCipherEntry(byType()));
}

TEST_F(CipherData, RefusesTextThatXMLCannotCarry) {
  std::u16string const nul(1, u'\0');
  for (auto const& [selector, salt] : {std::pair{byType(nul), kSalt}, {byID(u"x", u"/\xD800"), kSalt}, {byID(), nul}}) {
    try {
      manager.addCipherEntry(selector, kHash, salt, kIV);
      ADD_FAILURE() << "was taken";
    } catch (InvalidCipherData const& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with("Unable to create cipher entry. ")) << error.what();
    }
    EXPECT_FALSE(manager.hasCipherEntry(selector));
  }
}

TEST_F(CipherData, RefusesToFindWhatIsNotThere) {
  add(byType());
  EXPECT_THROW_MESSAGE(manager.getCipherEntry(byID()), CipherEntryNotFound, kNotFound);
  EXPECT_THROW_MESSAGE(manager.deleteCipherEntry(byID()), CipherEntryNotFound, kNotFound);
}

TEST_F(CipherData, DeletesOneEntry) {
  add(byType());
  add(byID());
  manager.deleteCipherEntry(byType());
  EXPECT_FALSE(manager.hasCipherEntry(byType()));
  EXPECT_TRUE(manager.hasCipherEntry(byID()));
  EXPECT_THROW_MESSAGE(manager.deleteCipherEntry(byType()), CipherEntryNotFound, kNotFound);
  add(byType());
  EXPECT_TRUE(manager.hasCipherEntry(byType()));
}

TEST_F(CipherData, HandsOutACopy) {
  add(byType());
  CipherEntry const entry = manager.getCipherEntry(byType());
  manager.deleteCipherEntry(byType());
  expectEntry(entry, byType());
}

TEST_F(CipherData, OwnsOnePartAndOneRelationshipType) {
  EXPECT_EQ(manager.getManagedPartNames(), std::vector<std::u16string>{kPart});
  EXPECT_EQ(manager.getManagedRelationshipTypes(), std::vector<std::u16string>{kRelationshipType});
}

TEST_F(CipherData, IsWrittenAsThis) {
  add(byType());
  EXPECT_EQ(saved(), zt_test::readFile(zt_test::data() / "ztCipherData.xml"));
}

TEST_F(CipherData, IsWrittenSorted) {
  std::vector<RelationshipSelector> const selectors = {byID(u"b", u"/z"), byType(u"b"), byType(u"a"), byID(u"a")};
  for (auto const& selector : selectors) add(selector);
  std::string const document = saved();
  auto const other = Package::createInMemory();
  CipherDataManager reversed(*other);
  for (auto at = selectors.rbegin(); at != selectors.rend(); ++at) reversed.addCipherEntry(*at, kHash, kSalt, kIV);
  other->save();
  EXPECT_EQ(documentOf(*other), document);
  EXPECT_LT(document.find("Value=\"a\""), document.find("Value=\"b\""));
  EXPECT_LT(document.find("SourceURI=\"/\""), document.find("SourceURI=\"/z\""));
}

TEST_F(CipherData, HasAPartWithItsTypeAndItsRelationship) {
  add(byType());
  package->save();
  EXPECT_EQ(package->getPart(PartName(kPart)).getContentType().toString(),
            u"application/vnd.corvanta.package.cipherData+xml");
  auto const found = package->getRelationshipsByType(kRelationshipType);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found.front().getTargetURI().toString(), kPart);
}

TEST_F(CipherData, SurvivesSavingAndReopening) {
  Bytes everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte.push_back(static_cast<unsigned char>(byte));
  std::vector<RelationshipSelector> const selectors = {byType(),
                                                       byType(u""),
                                                       byType(u"a \"quoted\" <&> '\t\n\r' type"),
                                                       byID(),
                                                       byID(u"\U0001F511 \x00E9", u"/d\x00E9"),
                                                       byID(u"rId1", u"")};
  std::u16string const salt = u" \t<&>\"'\r\n \x00E9\U0001F511 ";
  for (auto const& selector : selectors) manager.addCipherEntry(selector, everyByte, salt, kIV);
  auto const reopened = reopen(*package);
  CipherDataManager again(*reopened);
  for (auto const& selector : selectors) expectEntry(again.getCipherEntry(selector), selector, everyByte, salt, kIV);
  EXPECT_FALSE(again.isDirty());
}

TEST_F(CipherData, ManyEntriesSurvive) {
  for (int i = 0; i < 2000; ++i) add(byID(toString("rId" + std::to_string(i))));
  auto const reopened = reopen(*package);
  CipherDataManager again(*reopened);
  for (int i = 0; i < 2000; ++i) EXPECT_TRUE(again.hasCipherEntry(byID(toString("rId" + std::to_string(i)))));
}

TEST_F(CipherData, IsChangedAfterReopening) {
  add(byType());
  add(byID());
  auto const reopened = reopen(*package);
  CipherDataManager second(*reopened);
  second.deleteCipherEntry(byID());
  second.addCipherEntry(byID(u"rId2"), {7}, u"salt 2", {8});
  auto const last = reopen(*reopened);
  CipherDataManager third(*last);
  EXPECT_FALSE(third.hasCipherEntry(byID()));
  expectEntry(third.getCipherEntry(byType()), byType());
  expectEntry(third.getCipherEntry(byID(u"rId2")), byID(u"rId2"), {7}, u"salt 2", {8});
}

TEST_F(CipherData, GoesWithItsLastEntry) {
  add(byType());
  package->save();
  manager.deleteCipherEntry(byType());
  auto const reopened = reopen(*package);
  EXPECT_FALSE(reopened->hasPart(PartName(kPart)));
  EXPECT_TRUE(reopened->getRelationshipsByType(kRelationshipType).empty());
  EXPECT_FALSE(CipherDataManager(*reopened).hasCipherEntry(byType()));
}

TEST_F(CipherData, ComesBackAfterItsLastEntryWent) {
  add(byType());
  package->save();
  manager.deleteCipherEntry(byType());
  package->save();
  add(byType());
  auto const reopened = reopen(*package);
  EXPECT_TRUE(CipherDataManager(*reopened).hasCipherEntry(byType()));
}

TEST_F(CipherData, LeavesNothingWhereThereWasNothing) {
  add(byType());
  manager.deleteCipherEntry(byType());
  package->save();
  EXPECT_FALSE(package->hasPart(PartName(kPart)));
}

TEST_F(CipherData, IsWrittenWhereTheRelationshipLeads) {
  auto const other = packageWith(cipherData(entryXml()), u"/elsewhere.xml");
  CipherDataManager here(*other);
  here.addCipherEntry(byType(), kHash, kSalt, kIV);
  other->save();
  EXPECT_FALSE(other->hasPart(PartName(kPart)));
  EXPECT_NE(documentOf(*other, u"/elsewhere.xml").find("ByType"), std::string::npos);
  EXPECT_EQ(other->getRelationshipsByType(kRelationshipType).size(), 1U);
}

TEST_F(CipherData, TakesThePlaceOfAnOrphan) {
  addPart(*package, kPart, "stray", kPartType);
  add(byType());
  auto const reopened = reopen(*package);
  EXPECT_TRUE(CipherDataManager(*reopened).hasCipherEntry(byType()));
  EXPECT_EQ(reopened->getPart(PartName(kPart)).getContentType().toString(), kPartType);
}

TEST_F(CipherData, TakesThePlaceOfAnOrphanInAnotherCase) {
  addPart(*package, u"/Metadata/ztcipherdata.xml", "stray", kPartType);
  add(byType());
  EXPECT_NE(saved().find("ByType"), std::string::npos);
}

TEST_F(CipherData, NeverTouchesAPartOfAnotherType) {
  addPart(*package, kPart, "somebody's");
  add(byType());
  EXPECT_THROW(package->save(), model::PartNameClash);
  EXPECT_EQ(documentOf(*package), "somebody's");
}

TEST_F(CipherData, LeavesNoOrphanWhenItsLastEntryGoes) {
  addPart(*package, kPart, "stray", kPartType);
  add(byType());
  manager.deleteCipherEntry(byType());
  package->save();
  EXPECT_FALSE(package->hasPart(PartName(kPart)));
}

TEST_F(CipherData, LeavesTheOtherPartsAlone) {
  addPart(*package, u"/other.xml", "<other/>");
  package->createInternalRelationship(u"http://example.org/other", model::URI(u"/other.xml"));
  add(byType());
  package->save();
  manager.deleteCipherEntry(byType());
  package->save();
  EXPECT_EQ(documentOf(*package, u"/other.xml"), "<other/>");
  EXPECT_EQ(package->getRelationships().size(), 1U);
}

TEST_F(CipherData, SavedDirtyButUnusedStaysAsItWas) {
  auto const other = packageWith(cipherData(entryXml()));
  CipherDataManager unused(*other);
  unused.markAsDirty();
  other->save();
  expectEntry(CipherDataManager(*other).getCipherEntry(byID()), byID());
}

TEST_F(CipherData, KeepsWhatEachOfTwoManagersAdds) {
  CipherDataManager other(*package);
  EXPECT_FALSE(other.hasCipherEntry(byID()));
  add(byType());
  package->save();
  other.addCipherEntry(byID(), {7}, u"salt 2", {8});
  package->save();
  CipherDataManager reader(*package);
  expectEntry(reader.getCipherEntry(byType()), byType());
  EXPECT_EQ(reader.getCipherEntry(byID()).getSalt(), u"salt 2");
}

TEST_F(CipherData, KeepsWhatTwoManagersAddForOneSave) {
  CipherDataManager other(*package);
  add(byType());
  other.addCipherEntry(byID(), kHash, kSalt, kIV);
  package->save();
  CipherDataManager reader(*package);
  EXPECT_TRUE(reader.hasCipherEntry(byType()));
  EXPECT_TRUE(reader.hasCipherEntry(byID()));
}

TEST_F(CipherData, DeletesBesideAnotherManagerWhatItHas) {
  add(byType());
  add(byID());
  package->save();
  CipherDataManager other(*package);
  other.deleteCipherEntry(byType());
  package->save();
  manager.deleteCipherEntry(byID());
  package->save();
  EXPECT_FALSE(package->hasPart(PartName(kPart)));
}

TEST_F(CipherData, RefusesToSaveTwoChangesOfOneEntry) {
  add(byType());
  package->save();
  {
    CipherDataManager other(*package);
    other.deleteCipherEntry(byType());
    manager.deleteCipherEntry(byType());
    manager.addCipherEntry(byType(), {9}, u"mine", {8});
    EXPECT_THROW_MESSAGE(package->save(), InvalidCipherData,
                         "Another manager of the package has changed the same cipher entry.");
    EXPECT_THROW(package->save(), InvalidCipherData);
  }
  EXPECT_NO_THROW(package->save());
  EXPECT_EQ(CipherDataManager(*package).getCipherEntry(byType()).getSalt(), u"mine");
}

TEST(CipherDataRandom, GivesSaltsOf32Digits) {
  std::set<std::u16string> seen;
  for (int i = 0; i < 100; ++i) {
    std::u16string const salt = CipherDataManager::generateRandomSalt();
    EXPECT_TRUE(std::regex_match(toUTF8String(salt), std::regex("[0-9a-f]{32}")));
    seen.insert(salt);
  }
  EXPECT_EQ(seen.size(), 100U);
}

TEST(CipherDataRandom, GivesIVsOf16Bytes) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    std::string const iv = zt_test::textOf(CipherDataManager::generateRandomInitVector());
    EXPECT_EQ(iv.size(), 16U);
    seen.insert(iv);
  }
  EXPECT_EQ(seen.size(), 100U);
}

}  // namespace
}  // namespace opc::ztservices
