// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "container/ZipTestSupport.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

/// The rules of ECMA-376-2, clause 10 and Annex C, on packages that are read: what breaks one is refused, is
/// no part, or is tolerated. Packages are made by hand, since our own writer breaks none.
namespace opc::model {
namespace {

using samples::Bytes;
using samples::contentTypes;
using samples::open;
using samples::packageOf;
using zt_test::le;
using zt_test::RawArchive;
using zt_test::RawHeader;
using zt_test::RawItem;
using zt_test::storedItem;
using Names = std::vector<std::u16string>;

Bytes rawPackage(std::vector<RawItem> items, std::string const& typeChildren = {}) {
  items.insert(items.begin(), storedItem("[Content_Types].xml", contentTypes(typeChildren)));
  return zt_test::bytesOf(RawArchive{std::move(items)}.build());
}

RawItem changed(RawItem item, std::function<void(RawHeader&)> const& change) {
  change(item.local);
  change(item.central);
  return item;
}

Names namesOfParts(Package const& package) {
  Names names;
  for (auto const& name : package.getPartNames()) names.push_back(name.toString());
  return names;
}

void expectRefused(Bytes const& bytes, std::string const& fault) {
  EXPECT_THROW_MESSAGE(open(bytes), InvalidPackage, "Invalid package: " + fault);
}

void expectClash(Bytes const& bytes, std::string const& names) { expectRefused(bytes, "Names clash: " + names); }

/// "/b.xml" cannot be read, and the rest of the package can.
void expectOnlyPartRefused(Bytes const& bytes, std::string const& fault) {
  auto const package = open(bytes);
  EXPECT_THROW_MESSAGE(samples::read(*package, u"/b.xml"), InvalidItem, "Item \"b.xml\": " + fault);
  EXPECT_EQ(samples::read(*package, u"/a.xml"), "alpha");
}

Bytes withSecond(RawItem const& second) { return rawPackage({storedItem("a.xml", "alpha"), second}); }

// 10.1.2, content types

TEST(ContentTypesStream, IsNoPart) {
  auto const package = open(packageOf({{"a.xml", ""}}));
  EXPECT_EQ(namesOfParts(*package), Names{u"/a.xml"});
  EXPECT_TRUE(package->getItemNames().empty());
}

TEST(ContentTypesStream, GivesItselfNoType) {
  expectRefused(packageOf({}, "<Override PartName='/[Content_Types].xml' ContentType='a/b'/>"),
                "[Content_Types].xml: line 1, column 292: Invalid part name: /[Content_Types].xml");
}

TEST(ContentTypesStream, IsAskedForOverridesFirst) {
  auto const package =
      open(packageOf({{"a.xml", ""}, {"b.xml", ""}}, "<Override PartName='/A.XML' ContentType='x/y'/>"));
  EXPECT_EQ(package->getPart(PartName(u"/a.xml")).getContentType().toString(), u"x/y");
  EXPECT_EQ(package->getPart(PartName(u"/b.xml")).getContentType().toString(), u"application/xml");
}

TEST(ContentTypesStream, IsAskedForTheTextBehindTheLastDotOfTheLastSegment) {
  auto const package = open(packageOf({{"a.png/b.XML", ""}, {"c.xml.jpg", ""}, {"d.xml/e", ""}, {"xml", ""}},
                                      "<Default Extension='jpg' ContentType='image/jpeg'/>"));
  EXPECT_EQ(namesOfParts(*package), (Names{u"/a.png/b.XML", u"/c.xml.jpg"}));
  EXPECT_EQ(package->getPart(PartName(u"/c.xml.jpg")).getContentType().toString(), u"image/jpeg");
}

TEST(ContentTypesStream, MakesNoPartOfWhatItGivesNoType) {
  auto const package = open(packageOf({{"a.bin", ""}, {"b", ""}, {"c.xml", ""}}));
  EXPECT_EQ(namesOfParts(*package), Names{u"/c.xml"});
  EXPECT_EQ(package->getItemNames(), (Names{u"a.bin", u"b"}));
}

TEST(ContentTypesStream, HasOneDefaultForAnExtensionInWhateverCase) {
  expectRefused(packageOf({}, "<Default Extension='XML' ContentType='application/xml'/>"),
                "[Content_Types].xml: line 1, column 287: Two defaults for the extension XML");
}

TEST(ContentTypesStream, HasOneOverrideForANameInWhateverCase) {
  expectRefused(packageOf({}, "<Override PartName='/a' ContentType='b/c'/><Override PartName='/A' ContentType='b/c'/>"),
                "[Content_Types].xml: line 1, column 317: Two overrides for the part /A");
}

TEST(ContentTypesStream, HasDefaultsWithAnExtensionAndAType) {
  expectRefused(packageOf({}, "<Default ContentType='a/b'/>"),
                "[Content_Types].xml: line 1, column 259: Missing attribute: Default/@Extension");
  expectRefused(packageOf({}, "<Default Extension='' ContentType='a/b'/>"),
                "[Content_Types].xml: line 1, column 272: A default without an extension");
  expectRefused(packageOf({}, "<Default Extension='a'/>"),
                "[Content_Types].xml: line 1, column 255: Missing attribute: Default/@ContentType");
}

TEST(ContentTypesStream, HasOverridesWithANameAndAType) {
  expectRefused(packageOf({}, "<Override ContentType='a/b'/>"),
                "[Content_Types].xml: line 1, column 260: Missing attribute: Override/@PartName");
  expectRefused(packageOf({}, "<Override PartName='/a'/>"),
                "[Content_Types].xml: line 1, column 256: Missing attribute: Override/@ContentType");
  expectRefused(packageOf({}, "<Override PartName='a.xml' ContentType='a/b'/>"),
                "[Content_Types].xml: line 1, column 277: Invalid part name: a.xml");
}

TEST(ContentTypesStream, KnowsNoMarkupCompatibility) {
  expectRefused(packageOf({},
                          "<mc:AlternateContent "
                          "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006'/>"),
                "[Content_Types].xml: line 1, column 324: Unexpected element: AlternateContent");
  std::string types = contentTypes();
  types.insert(6, " xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006' mc:Ignorable='mc'");
  expectRefused(samples::archiveOf({{"[Content_Types].xml", types}}),
                "[Content_Types].xml: line 1, column 166: Unexpected attribute: Types/@Ignorable");
}

// 10.1.3 and 10.1.4, names and pieces

TEST(LogicalItems, WithANameThatNoPartMayHaveAreNoParts) {
  auto const package = open(packageOf({{"a//b.xml", ""}, {"a./b.xml", ""}, {"a%41.xml", ""}, {"a%5cb.xml", ""}}));
  EXPECT_TRUE(package->getPartNames().empty());
  EXPECT_EQ(package->getItemNames().size(), 4U);
}

TEST(LogicalItems, WithEquivalentNamesRefuseThePackage) {
  expectClash(packageOf({{"a.xml", ""}, {"A.XML", ""}}), "a.xml and A.XML");
  expectClash(packageOf({{"%c3.xml", ""}, {"%C3.xml", ""}}), "%c3.xml and %C3.xml");
  expectClash(packageOf({{"no part", ""}, {"No Part", ""}}), "no part and No Part");
}

TEST(LogicalItems, WhoseNamesContinueThoseOfPartsRefuseThePackage) {
  expectClash(packageOf({{"a.xml", ""}, {"A.xml/b.xml", ""}}), "a.xml and A.xml/b.xml");
}

TEST(LogicalItems, AreInPiecesOrWholeButNotBoth) {
  expectClash(packageOf({{"a.xml/[0].last.piece", ""}, {"A.xml", ""}}), "A.xml and a.xml");
  expectClash(packageOf({{"a.xml/[0].piece", ""}, {"A.xml", ""}}), "A.xml and a.xml/[0].piece");
}

TEST(LogicalItems, AreJoinedFromPiecesInNumericOrderWhateverTheirPlaceCaseAndLength) {
  auto const package = open(packageOf(
      {{"A.xml/[2].PIECE", ""}, {"a.XML/[3].Last.Piece", "d"}, {"a.xml/[0].piece", ""}, {"a.xml/[1].pIece", "b"}}));
  EXPECT_EQ(namesOfParts(*package), Names{u"/a.xml"});
  EXPECT_EQ(samples::read(*package, u"/a.xml"), "bd");
}

TEST(LogicalItems, OfEmptyPiecesAloneAreEmptyParts) {
  auto const package = open(packageOf({{"a.xml/[0].piece", ""}, {"a.xml/[1].last.piece", ""}}));
  EXPECT_EQ(samples::read(*package, u"/a.xml"), "");
  EXPECT_TRUE(package->getPart(PartName(u"/a.xml")).getInputStream()->isEnd());
}

TEST(LogicalItems, WithTwoPiecesOfOneNumberRefuseThePackage) {
  expectRefused(packageOf({{"a.xml/[0].piece", ""}, {"A.xml/[0].last.piece", ""}}),
                "A.xml: two pieces have the number 0");
}

TEST(LogicalItems, WithoutTheirFirstOrLastOrAnyOtherPieceAreNoParts) {
  for (auto const& pieces : {std::pair{"[1].piece", "[2].last.piece"}, std::pair{"[0].piece", "[1].piece"},
                             std::pair{"[0].piece", "[2].last.piece"}, std::pair{"[0].last.piece", "[1].piece"},
                             std::pair{"[0].last.piece", "[1].last.piece"}}) {
    std::string const first = pieces.first, second = pieces.second;
    auto const package = open(packageOf({{"a.xml/" + first, ""}, {"a.xml/" + second, ""}}));
    EXPECT_TRUE(package->getPartNames().empty()) << first << ' ' << second;
    EXPECT_EQ(package->getItemNames().size(), 2U);
  }
}

TEST(LogicalItems, AreNotMadeOfWhatOnlyLooksLikePieces) {
  auto const package = open(packageOf({{"a.xml/[00].piece", ""}, {"a.xml/[0].lastpiece", ""}, {"a.xml", "whole"}}));
  EXPECT_EQ(namesOfParts(*package), Names{u"/a.xml"});
  EXPECT_EQ(package->getItemNames(), (Names{u"a.xml/[00].piece", u"a.xml/[0].lastpiece"}));
}

TEST(ContentTypesStream, MayBeInPieces) {
  std::string const types = contentTypes();
  auto const package = open(samples::archiveOf({{"[Content_Types].xml/[1].last.piece", types.substr(9)},
                                                {"a.xml", ""},
                                                {"[content_types].xml/[0].piece", types.substr(0, 9)}}));
  EXPECT_EQ(namesOfParts(*package), Names{u"/a.xml"});
}

TEST(ContentTypesStream, IsThereOnce) {
  expectRefused(samples::archiveOf({{"a.xml", ""}}), "Not a package: it has no content types");
  expectRefused(samples::archiveOf({{"[Content_Types].xml", contentTypes()}, {"[CONTENT_TYPES].XML", contentTypes()}}),
                "[Content_Types].xml: there is more than one");
  expectRefused(
      samples::archiveOf({{"[Content_Types].xml", contentTypes()}, {"[Content_Types].xml/[0].last.piece", ""}}),
      "[Content_Types].xml: there is more than one");
  expectRefused(samples::archiveOf({{"sub/[Content_Types].xml", contentTypes()}}),
                "Not a package: it has no content types");
}

// 10.2, ZIP

TEST(ZipItems, OfOneNameRefuseThePackage) { expectClash(packageOf({{"a.xml", ""}, {"a.xml", ""}}), "a.xml and a.xml"); }

TEST(ZipItems, OutsideASCIIAreNoParts) {
  auto const package = open(packageOf({{"\xC3\xA4.xml", ""}, {"\x84.xml", ""}}));
  EXPECT_TRUE(package->getPartNames().empty());
  EXPECT_EQ(package->getItemNames().size(), 2U);
}

TEST(ZipItems, ThatBeginWithASlashAreNoParts) {
  auto const package = open(packageOf({{"/a.xml", "abs"}, {"a.xml", "rel"}}));
  EXPECT_EQ(samples::read(*package, u"/a.xml"), "rel");
  EXPECT_EQ(package->getItemNames(), Names{u"/a.xml"});
}

TEST(ZipItems, ThatAreFoldersAreNoParts) {
  auto const package = open(packageOf({{"a.xml/", ""}, {"a.xml/b.xml", ""}}));
  EXPECT_EQ(namesOfParts(*package), Names{u"/a.xml/b.xml"});
  EXPECT_EQ(package->getItemNames(), Names{u"a.xml/"});
}

/// The package with those attributes of MS-DOS on its item of that name.
Bytes marked(Bytes bytes, std::string const& name, char attributes = '\x10') {
  std::size_t const entry = std::string(bytes.begin(), bytes.end()).rfind(name) - 46;
  bytes[entry + 5] = 0;  // made on MS-DOS
  bytes[entry + 38] = static_cast<unsigned char>(attributes);
  return bytes;
}

TEST(ZipItems, ThatMSDOSMarksAsFoldersOrLabelsAreNoParts) {
  for (char const attributes : {'\x10', '\x08', '\x18'}) {
    Bytes bytes = marked(rawPackage({storedItem("a.xml", "alpha"), storedItem("b.xml", "")}), "b.xml", attributes);
    std::size_t const entry = bytes.size() - 22 - 46 - 5;  // the last of the directory
    auto const package = open(bytes);
    EXPECT_EQ(namesOfParts(*package), Names{u"/a.xml"});
    EXPECT_EQ(package->getItemNames(), Names{u"b.xml"});
    EXPECT_EQ(open(package->saveToBytes())->getItemNames(), Names{u"b.xml"});
    bytes[entry + 5] = 3;  // on Unix these bits may be anything
    EXPECT_EQ(namesOfParts(*open(bytes)).size(), 2U);
  }
}

TEST(ZipItems, WithContentAreNoFoldersWhateverMarksThem) {
  auto const package = open(marked(withSecond(storedItem("b.xml", "beta")), "b.xml"));
  EXPECT_EQ(samples::read(*package, u"/b.xml"), "beta");
}

TEST(ZipItems, OfRelationshipsAreNoFoldersWhateverMarksThem) {
  std::string const relationships = samples::relationships(samples::relationship("r", "a.xml"));
  auto const full = open(marked(withSecond(storedItem("_rels/.rels", relationships)), "_rels/.rels"));
  EXPECT_EQ(full->getRelationships().size(), 1U);
  auto const empty = open(marked(withSecond(storedItem("_rels/.rels", "")), "_rels/.rels"));
  empty->createInternalRelationship(u"urn:x", URI(u"a.xml"));
  EXPECT_EQ(open(empty->saveToBytes())->getRelationships().size(), 1U);
}

TEST(ZipItems, ThatAreFoldersShareTheirNamesWithFoldersAloneInAnyOrder) {
  RawItem const folder = storedItem("docs", ""), file = storedItem("DOCS", "x");
  expectClash(marked(rawPackage({folder, file}), "docs"), "docs and DOCS");
  expectClash(marked(rawPackage({file, folder}), "docs"), "DOCS and docs");
  RawItem const piece = storedItem("DOCS/[0].piece", "x");
  expectClash(marked(rawPackage({folder, piece}), "docs"), "docs and DOCS/[0].piece");
  expectClash(marked(rawPackage({piece, folder}), "docs"), "docs and DOCS/[0].piece");
  auto const package = open(marked(marked(rawPackage({folder, storedItem("DOCS", "")}), "docs"), "DOCS"));
  EXPECT_EQ(package->getItemNames().size(), 2U);
}

TEST(ZipItems, ThatAreEncryptedAreRefusedAndThePackageIsNot) {
  for (std::uint16_t const flag : std::initializer_list<std::uint16_t>{1u << 0, 1u << 6, 1u << 13})
    expectOnlyPartRefused(withSecond(changed(storedItem("b.xml", "beta"), [&](RawHeader& h) { h.flags = flag; })),
                          "encrypted");
}

TEST(ZipItems, OfUnknownMethodsAreRefusedAndThePackageIsNot) {
  for (std::uint16_t const method :
       std::initializer_list<std::uint16_t>{1, 2, 6, 7, 9, 10, 11, 12, 14, 93, 95, 99, 65535})
    expectOnlyPartRefused(withSecond(changed(storedItem("b.xml", "beta"), [&](RawHeader& h) { h.method = method; })),
                          "unknown compression method " + std::to_string(method));
}

TEST(ZipItems, ThatThePackageItselfNeedsMustNotBeEncrypted) {
  auto const encrypt = [](RawHeader& h) { h.flags = 1; };
  expectRefused(
      zt_test::bytesOf(RawArchive{{changed(storedItem("[Content_Types].xml", contentTypes()), encrypt)}}.build()),
      "Item \"[Content_Types].xml\": encrypted");
  expectRefused(withSecond(changed(storedItem("_rels/.rels", samples::relationships("")), encrypt)),
                "Item \"_rels/.rels\": encrypted");
}

TEST(ZipItems, MayHaveAGrowthHint) {
  std::string const hint = le(0xA220, 2) + le(9, 2) + le(0xA028, 2) + le(5, 2) + std::string(5, '\0');
  for (auto name : {"b.xml", "b.xml/[0].last.piece"}) {
    RawItem item = storedItem(name, "beta");
    item.local.extra = hint;
    EXPECT_EQ(samples::read(*open(withSecond(item)), u"/b.xml"), "beta");
    item.central.extra = hint;
    EXPECT_EQ(samples::read(*open(withSecond(item)), u"/b.xml"), "beta");
  }
}

TEST(ZipItems, MayHaveLongerNamesFieldsAndCommentsThanTheyShould) {
  RawItem item = storedItem("b.xml", "beta");
  item.central.extra = le(0x1234, 2) + le(40'000, 2) + std::string(40'000, 'x');
  item.comment = std::string(40'000, 'c');
  EXPECT_EQ(samples::read(*open(withSecond(item)), u"/b.xml"), "beta");
}

TEST(ZipItems, WithErrorsThatShowLateAreReportedByTheirReader) {
  std::string const content = zt_test::mixed((8u << 20) + 1000);
  RawItem const item = changed(zt_test::deflatedItem("b.xml", content), [](RawHeader& h) { h.crc ^= 1; });
  auto const package = open(withSecond(item));
  auto const input = package->getPart(PartName(u"/b.xml")).getInputStream();
  EXPECT_THROW_MESSAGE(zt_test::readAll(*input), InvalidItem, "Item \"b.xml\": wrong CRC");
}

// Annex C

TEST(ZipHeaders, OfOneItemMustAgree) {
  std::vector<std::function<void(RawHeader&)>> const changes{
      [](RawHeader& h) { h.name = "c.xml"; }, [](RawHeader& h) { h.method = 8; },  [](RawHeader& h) { h.flags = 1; },
      [](RawHeader& h) { h.crc ^= 1; },       [](RawHeader& h) { h.stored += 1; }, [](RawHeader& h) { h.size += 1; }};
  for (auto const& change : changes) {
    RawItem item = storedItem("b.xml", "beta");
    change(item.local);
    expectRefused(withSecond(item), "Item \"b.xml\": its local header disagrees with the directory");
  }
}

TEST(ZipHeaders, MayLeaveSizesAndCRCToADescriptor) {
  RawItem const item = storedItem("b.xml", "beta");
  std::string const values = le(item.central.crc, 4) + le(4, 4) + le(4, 4);
  for (auto const& descriptor : {values, "PK\7\10" + values})
    EXPECT_EQ(samples::read(*open(withSecond(streamedItem(item, descriptor))), u"/b.xml"), "beta");
}

TEST(ZipHeaders, MustAgreeWithTheirDescriptor) {
  RawItem const item = storedItem("b.xml", "beta");
  std::string const wrong = le(item.central.crc, 4) + le(4, 4) + le(5, 4);
  for (auto const& descriptor : {wrong, "PK\7\10" + wrong, std::string()})
    expectRefused(withSecond(streamedItem(item, descriptor)),
                  "Item \"b.xml\": its data descriptor disagrees with the directory");
}

TEST(ZipHeaders, MayNotSayThatSizesHaveTheirTopBitSet) {
  RawItem item = storedItem("b.xml", "beta");
  for (std::uint64_t const size : {std::uint64_t{1} << 63, UINT64_MAX}) {
    item.central.size = 0xFFFFFFFF;
    item.central.extra = le(1, 2) + le(8, 2) + le(size, 8);
    expectRefused(withSecond(item), "Damaged ZIP archive: Item \"b.xml\": its size is beyond what the format allows");
  }
  item.central.size = 4;
  item.central.stored = 0xFFFFFFFF;
  expectRefused(withSecond(item), "Damaged ZIP archive: Item \"b.xml\": it does not fit into the file");
}

TEST(ZipHeaders, MayHaveOffsetsBeyondTheFileNeither) {
  RawItem item = storedItem("b.xml", "beta");
  item.central.offset = 1000;
  expectRefused(withSecond(item), "Damaged ZIP archive: Item \"b.xml\": it does not fit into the file");
}

/// A directory that ends in its digital signature.
std::string signedArchive(std::string const& signature) {
  RawArchive archive{{storedItem("[Content_Types].xml", contentTypes()), storedItem("a.xml", "alpha")}};
  archive.beforeEnd = signature;
  std::string const bytes = archive.build();
  std::uint64_t const size = 2 * 46 + 19 + 5 + signature.size();
  return zt_test::patched(bytes, 10, size, 4);
}

TEST(ZipDirectory, MayBeSigned) {
  for (std::string const& data : {std::string(), std::string(300, 's')}) {
    std::string const signature = "PK\5\5" + le(data.size(), 2) + data;
    EXPECT_EQ(samples::read(*open(zt_test::bytesOf(signedArchive(signature))), u"/a.xml"), "alpha");
  }
}

TEST(ZipDirectory, HoldsNothingElseBehindItsEntries) {
  std::string const fault = "Damaged ZIP archive: its directory holds more than its items";
  expectRefused(zt_test::bytesOf(signedArchive("PK\5\5" + le(3, 2) + "ss")), fault);
  expectRefused(zt_test::bytesOf(signedArchive("PK\5\5" + le(1, 2) + "ss")), fault);
  expectRefused(zt_test::bytesOf(signedArchive("PK\5")), fault);
  expectRefused(zt_test::bytesOf(signedArchive(std::string(6, '\0'))), fault);
}

TEST(ZipDirectory, CountsItsEntriesInZip64RecordsWhereTheyAreMany) {
  std::vector<samples::Item> items;
  for (int i = 0; i < 65'536; ++i) items.push_back({std::to_string(i) + ".xml", ""});
  auto const package = open(packageOf(items));
  EXPECT_EQ(package->getPartNames().size(), items.size());
  EXPECT_EQ(samples::read(*package, u"/65535.xml"), "");
}

TEST(ZipDirectory, HasNoMoreThanTwoThousandMillionEntries) {
  std::string const many = le(std::uint64_t{1} << 31, 8);
  std::string end64 = "PK\6\6" + le(44, 8) + le(45, 2) + le(45, 2) + le(0, 8) + many + many + le(0, 8) + le(0, 8);
  std::string const locator = "PK\6\7" + le(0, 4) + le(0, 8) + le(1, 4);
  std::string const end = "PK\5\6" + le(0, 4) + le(0xFFFF, 2) + le(0xFFFF, 2) + le(0, 4) + le(0, 4) + le(0, 2);
  OpenOptions options;
  options.maximumItems = UINT64_MAX;
  EXPECT_THROW_MESSAGE(Package::openInMemory(zt_test::bytesOf(end64 + locator + end), AccessMode::ReadOnly, options),
                       InvalidPackage, "Invalid package: Damaged ZIP archive: it has more than 2147483647 items");
}

TEST(ZipDirectory, IsNotThatOfAnArchiveInItsComment) {
  RawArchive archive{{storedItem("[Content_Types].xml", contentTypes())}};
  archive.comment = archive.build();
  expectRefused(zt_test::bytesOf(archive.build()), "Damaged ZIP archive: an end record within the comment");
}

TEST(ZipDirectory, MayStandInAFileThatBeginsWithSomethingElse) {
  for (bool const counted : {false, true}) {
    RawArchive archive{{storedItem("[Content_Types].xml", contentTypes()), storedItem("a.xml", "alpha")}};
    archive.prefix = "a program";
    archive.offsetsCountPrefix = counted;
    EXPECT_EQ(samples::read(*open(zt_test::bytesOf(archive.build())), u"/a.xml"), "alpha");
  }
}

}  // namespace
}  // namespace opc::model
