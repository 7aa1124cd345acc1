// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

using samples::create;
using samples::open;

constexpr char kCoreType[] = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
std::u16string const kU16Type(kCoreType, kCoreType + sizeof kCoreType - 1);

std::string coreRelationship(std::string const& id, std::string const& target, std::string const& more = {}) {
  return "<Relationship Id='" + id + "' Type='" + kCoreType + "' Target='" + target + "' " + more + "/>";
}

std::string core(std::string const& children, std::string const& rootAttributes = {}) {
  return "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
         "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
         "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' " +
         rootAttributes + ">" + children + "</cp:coreProperties>";
}

std::unique_ptr<Package> packageAround(std::string const& coreXml) {
  return open(samples::packageOf(
      {{"_rels/.rels", samples::relationships(coreRelationship("c", "p/core.xml"))}, {"p/core.xml", coreXml}}));
}

CoreProperties readChildren(std::string const& children) {
  return PackageHelper::getCoreProperties(*packageAround(core(children)));
}

std::string faultOfCore(std::string const& coreXml) {
  try {
    PackageHelper::getCoreProperties(*packageAround(coreXml));
  } catch (InvalidPartContent const& error) {
    return error.what();
  }
  return "none";
}

CoreProperties everything() {
  CoreProperties p;
  p.setCategory(u"category");
  p.setContentStatus(u"status");
  p.setContentType(u"Document");
  p.setCreated(convertStringToTime(u"2024-02-29T23:59:58.125006Z"));
  p.setCreator(u"\u00c9l\u00e8ve \U0001F600");
  p.setDescription(u"  two\n lines\r\t<&>\"' ]]> ");
  p.setIdentifier(u"id");
  p.setKeywords({{u"one", u"en"}, {u" two ", u""}, {u"", u"fr"}});
  p.setLanguage(u"de-AT");
  p.setLastModifiedBy(u"me");
  p.setLastPrinted(convertStringToTime(u"2001-01-01T00:00:00Z"));
  p.setModified(convertStringToTime(u"2024-03-01T00:00:00Z"));
  p.setRevision(u"7");
  p.setSubject(u"subject");
  p.setTitle(u" ");
  p.setVersion(u"1.0");
  return p;
}

void expectEqual(CoreProperties const& a, CoreProperties const& b) {
  EXPECT_EQ(a.getCategory(), b.getCategory());
  EXPECT_EQ(a.getContentStatus(), b.getContentStatus());
  EXPECT_EQ(a.getContentType(), b.getContentType());
  EXPECT_EQ(convertTimeToString(a.getCreated()), convertTimeToString(b.getCreated()));
  EXPECT_EQ(a.getCreator(), b.getCreator());
  EXPECT_EQ(a.getDescription(), b.getDescription());
  EXPECT_EQ(a.getIdentifier(), b.getIdentifier());
  EXPECT_EQ(a.getKeywords(), b.getKeywords());
  EXPECT_EQ(a.getLanguage(), b.getLanguage());
  EXPECT_EQ(a.getLastModifiedBy(), b.getLastModifiedBy());
  EXPECT_EQ(convertTimeToString(a.getLastPrinted()), convertTimeToString(b.getLastPrinted()));
  EXPECT_EQ(convertTimeToString(a.getModified()), convertTimeToString(b.getModified()));
  EXPECT_EQ(a.getRevision(), b.getRevision());
  EXPECT_EQ(a.getSubject(), b.getSubject());
  EXPECT_EQ(a.getTitle(), b.getTitle());
  EXPECT_EQ(a.getVersion(), b.getVersion());
}

TEST(CoreProperties, AreAbsentWithoutAPart) {
  expectEqual(PackageHelper::getCoreProperties(*Package::createInMemory()), CoreProperties());
  auto const dangling =
      open(samples::packageOf({{"_rels/.rels", samples::relationships(coreRelationship("c", "none.xml"))}}));
  expectEqual(PackageHelper::getCoreProperties(*dangling), CoreProperties());
}

TEST(CoreProperties, ComeBackAsTheyWereWritten) {
  auto const package = Package::createInMemory();
  PackageHelper::createOrUpdateCoreProperties(*package, everything());
  expectEqual(PackageHelper::getCoreProperties(*open(package->saveToBytes())), everything());
}

TEST(CoreProperties, ComeBackOneByOne) {
  auto const package = Package::createInMemory();
  for (auto keyword : {CoreProperties::Keyword{u"a, b", u""}, {u"a", u"en"}, {u" ", u""}, {u"", u""}}) {
    CoreProperties p;
    p.setKeywords({keyword});
    PackageHelper::createOrUpdateCoreProperties(*package, p);
    expectEqual(PackageHelper::getCoreProperties(*package), p);
  }
}

TEST(CoreProperties, MakeTheirPartOnce) {
  auto const package = Package::createInMemory();
  PackageHelper::createOrUpdateCoreProperties(*package, everything());
  PackageHelper::createOrUpdateCoreProperties(*package, CoreProperties());
  ASSERT_EQ(package->getRelationships().size(), 1U);
  EXPECT_EQ(package->getRelationships()[0].getType(), kU16Type);
  EXPECT_EQ(package->getRelationships()[0].getTargetURI(), URI(u"/docProps/core.xml"));
  EXPECT_EQ(package->getPart(PartName(u"/docProps/core.xml")).getContentType().toString(),
            u"application/vnd.openxmlformats-package.core-properties+xml");
  expectEqual(PackageHelper::getCoreProperties(*package), CoreProperties());
}

TEST(CoreProperties, AreWrittenInOneForm) {
  auto const package = Package::createInMemory();
  CoreProperties p;
  p.setTitle(u"t");
  p.setCreated(convertStringToTime(u"2024-01-02T03:04:05Z"));
  PackageHelper::createOrUpdateCoreProperties(*package, p);
  EXPECT_EQ(samples::read(*package, u"/docProps/core.xml"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
            "<cp:coreProperties xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\""
            " xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:dcterms=\"http://purl.org/dc/terms/\""
            " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n\n"
            "  <dc:title>t</dc:title>\n\n"
            "  <dcterms:created xsi:type=\"dcterms:W3CDTF\">2024-01-02T03:04:05Z</dcterms:created>\n\n"
            "</cp:coreProperties>\n");
}

TEST(CoreProperties, KeepTheNameOfAnExistingPart) {
  auto const package = packageAround(core("<dc:title>old</dc:title>"));
  CoreProperties p = PackageHelper::getCoreProperties(*package);
  p.setTitle(u"new");
  PackageHelper::createOrUpdateCoreProperties(*package, p);
  EXPECT_FALSE(package->hasPart(PartName(u"/docProps/core.xml")));
  EXPECT_EQ(PackageHelper::getCoreProperties(*package).getTitle(), u"new");
}

TEST(CoreProperties, FindAFreeNameForTheirPart) {
  auto const package = Package::createInMemory();
  create(*package, u"/DOCPROPS");
  PackageHelper::createOrUpdateCoreProperties(*package, everything());
  EXPECT_TRUE(package->hasPart(PartName(u"/docProps1/core.xml")));
}

TEST(CoreProperties, StepRoundThoseOfOtherPrograms) {
  std::string const others = core("<dc:creator>Ada</dc:creator>");
  std::string const types =
      "<Override PartName='/docProps/core.xml' "
      "ContentType='application/vnd.openxmlformats-package.core-properties+xml'/>";
  for (std::string const target : {"/docProps/core.xml", "/nothing"}) {
    auto const package = open(samples::packageOf(
        {{"_rels/.rels", samples::relationships(samples::relationship("o", target))}, {"docProps/core.xml", others}},
        types));
    PackageHelper::createOrUpdateCoreProperties(*package, everything());
    EXPECT_EQ(samples::read(*package, u"/docProps/core.xml"), others) << target;
    EXPECT_TRUE(package->hasPart(PartName(u"/docProps1/core.xml")));
    expectEqual(PackageHelper::getCoreProperties(*package), everything());
  }
}

TEST(CoreProperties, ThatXmlCannotCarryChangeNothing) {
  auto const package = Package::createInMemory();
  CoreProperties p;
  p.setTitle(u"\x01");
  EXPECT_THROW(PackageHelper::createOrUpdateCoreProperties(*package, p), InvalidXMLDocument);
  EXPECT_TRUE(package->getPartNames().empty());
}

TEST(CoreProperties, AreTheFirstOfSeveral) {
  auto const package = open(samples::packageOf(
      {{"_rels/.rels", samples::relationships(coreRelationship("x", "http://x", "TargetMode='External'") +
                                              coreRelationship("b", "b.xml") + coreRelationship("a", "a.xml"))},
       {"a.xml", core("<dc:title>a</dc:title>")},
       {"b.xml", core("<dc:title>b</dc:title>")}}));
  EXPECT_EQ(PackageHelper::getCoreProperties(*package).getTitle(), u"b");
}

TEST(CoreProperties, FollowATargetInAnotherCase) {
  auto const package =
      open(samples::packageOf({{"_rels/.rels", samples::relationships(coreRelationship("a", "CORE.xml"))},
                               {"core.xml", core("<dc:title>a</dc:title>")}}));
  EXPECT_EQ(PackageHelper::getCoreProperties(*package).getTitle(), u"a");
}

TEST(CoreProperties, ReadKeywordsMixedWithText) {
  auto const p = readChildren(
      "<cp:keywords xml:lang='en'> <cp:value>one</cp:value>, two &amp; <![CDATA[three]]>"
      "<cp:value xml:lang='fr'> quatre </cp:value><cp:value xml:lang=''/></cp:keywords>");
  EXPECT_EQ(p.getKeywords(), (std::vector<CoreProperties::Keyword>{
                                 {u"one", u"en"}, {u", two & three", u"en"}, {u" quatre ", u"fr"}, {u"", u""}}));
}

TEST(CoreProperties, ReadTimesInEveryForm) {
  auto const created = [](std::string const& text) {
    return convertTimeToString(
        readChildren("<dcterms:created xsi:type='dcterms:W3CDTF'>" + text + "</dcterms:created>").getCreated());
  };
  EXPECT_EQ(created("2006"), u"2006-01-01T00:00:00Z");
  EXPECT_EQ(created("\n 2006-10-13T18:06+02:00 "), u"2006-10-13T16:06:00Z");
  EXPECT_EQ(convertTimeToString(readChildren("<cp:lastPrinted>2006-10-13T18:06:00</cp:lastPrinted>").getLastPrinted()),
            u"2006-10-13T18:06:00Z");
}

TEST(CoreProperties, KeepTheContentTypeOfTheFirstEdition) {
  auto const package = packageAround(core("<cp:contentType>Document</cp:contentType><dc:title>t</dc:title>"));
  CoreProperties p = PackageHelper::getCoreProperties(*package);
  EXPECT_EQ(p.getContentType(), u"Document");
  p.setTitle(u"new");
  PackageHelper::createOrUpdateCoreProperties(*package, p);
  EXPECT_EQ(PackageHelper::getCoreProperties(*package).getContentType(), u"Document");
}

TEST(CoreProperties, KeepWhatIsThereWhenOneIsSet) {
  auto const package = Package::createInMemory();
  PackageHelper::createOrUpdateCoreProperties(*package, everything());
  CoreProperties p = PackageHelper::getCoreProperties(*package), expected = everything();
  p.setTitle(u"new");
  expected.setTitle(u"new");
  PackageHelper::createOrUpdateCoreProperties(*package, p);
  expectEqual(PackageHelper::getCoreProperties(*open(package->saveToBytes())), expected);
}

TEST(CoreProperties, ReadValuesToTheLetter) {
  auto const p = readChildren(
      "<dc:title> \n a\t<![CDATA[<b>]]>&#13;<!-- no --> &amp; </dc:title>"
      "<dc:creator>one\r\ntwo</dc:creator><dc:subject/>");
  EXPECT_EQ(p.getTitle(), u" \n a\t<b>\r & ");
  EXPECT_EQ(p.getCreator(), u"one\ntwo");
  EXPECT_EQ(p.getSubject(), u"");
}

TEST(CoreProperties, KeepTimesToTheMicrosecond) {
  auto const created = [](std::string const& text) {
    return convertTimeToString(
        readChildren("<dcterms:created xsi:type='dcterms:W3CDTF'>" + text + "</dcterms:created>").getCreated());
  };
  EXPECT_EQ(created("2024-01-02T03:04:05.000001Z"), u"2024-01-02T03:04:05.000001Z");
  EXPECT_EQ(created("2024-01-02T03:04:05.123456789-00:30"), u"2024-01-02T03:34:05.123456Z");
}

TEST(CoreProperties, TakeSpecialTimesForAbsentOnes) {
  auto const package = Package::createInMemory();
  CoreProperties p;
  p.setCreated(boost::posix_time::pos_infin);
  p.setModified(boost::posix_time::not_a_date_time);
  PackageHelper::createOrUpdateCoreProperties(*package, p);
  EXPECT_TRUE(PackageHelper::getCoreProperties(*package).getCreated().is_not_a_date_time());
}

// ECMA-376-2, 11.2
TEST(CoreProperties, HaveOneRelationshipAtTheMost) {
  auto const package = Package::createInMemory();
  Part part = create(*package, u"/a.xml");
  package->createInternalRelationship(kU16Type, URI(u"a.xml"));
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(kU16Type, URI(u"b.xml")), InvalidRelationship,
                       "The package already has a core-properties relationship");
  EXPECT_THROW(package->createExternalRelationship(kU16Type, u"http://x"), InvalidRelationship);
  EXPECT_EQ(package->getRelationships().size(), 1U);
  part.createInternalRelationship(kU16Type, URI(u"b.xml"));
  EXPECT_NO_THROW(part.createInternalRelationship(kU16Type, URI(u"c.xml")));
}

TEST(CoreProperties, ReplaceRelationshipsThatLeadNowhere) {
  auto const package = open(samples::packageOf(
      {{"_rels/.rels", samples::relationships(coreRelationship("x", "http://x", "TargetMode='External'") +
                                              coreRelationship("y", "none.xml") + samples::relationship("z", "z"))}}));
  PackageHelper::createOrUpdateCoreProperties(*package, everything());
  ASSERT_EQ(package->getRelationships().size(), 2U);
  EXPECT_EQ(package->getRelationships()[0].getID(), u"z");
  EXPECT_EQ(package->getRelationships()[1].getTargetURI(), URI(u"/docProps/core.xml"));
  expectEqual(PackageHelper::getCoreProperties(*package), everything());
}

TEST(CoreProperties, OfSeveralAreChangedWhereTheyAreRead) {
  auto const package = open(samples::packageOf(
      {{"_rels/.rels", samples::relationships(coreRelationship("b", "b.xml") + coreRelationship("a", "a.xml"))},
       {"a.xml", core("<dc:title>a</dc:title>")},
       {"b.xml", core("<dc:title>b</dc:title>")}}));
  PackageHelper::createOrUpdateCoreProperties(*package, everything());
  EXPECT_EQ(package->getRelationships().size(), 2U);
  EXPECT_EQ(samples::read(*package, u"/a.xml"), core("<dc:title>a</dc:title>"));
  expectEqual(PackageHelper::getCoreProperties(*package), everything());
}

TEST(CoreProperties, WithADocumentTypeAreRefusedAlone) {
  auto const package = packageAround("<!DOCTYPE x [<!ENTITY e 'e'>]>" + core("<dc:title>&e;</dc:title>"));
  EXPECT_THROW(PackageHelper::getCoreProperties(*package), InvalidPartContent);
  EXPECT_EQ(open(package->saveToBytes())->getPartNames(), package->getPartNames());
}

TEST(CoreProperties, ResolveThePrefixOfTheTimeType) {
  EXPECT_EQ(faultOfCore(core("<t:created xmlns:t='http://purl.org/dc/terms/' xsi:type='t:W3CDTF'>2006</t:created>")),
            "none");
  EXPECT_EQ(faultOfCore(core("<dcterms:created xmlns:q='urn:q' xsi:type='q:W3CDTF'>2006</dcterms:created>")),
            "/p/core.xml: xsi:type must be dcterms:W3CDTF: dcterms:created");
}

TEST(CoreProperties, RefuseWhatTheyMustNotHold) {
  auto const fault = [](std::string const& children) { return faultOfCore(core(children)); };
  std::string const at = "/p/core.xml: ";
  EXPECT_EQ(fault("<dc:title>a</dc:title><dc:title>b</dc:title>"), at + "Repeated element: dc:title");
  EXPECT_EQ(fault("<cp:keywords/><cp:keywords/>"), at + "Repeated element: cp:keywords");
  EXPECT_EQ(fault("<dc:titel>a</dc:titel>"), at + "Unexpected element: dc:titel");
  EXPECT_EQ(fault("<dcterms:issued>2006</dcterms:issued>"), at + "Unexpected element: dcterms:issued");
  EXPECT_EQ(fault("<title>a</title>"), at + "Unexpected element: title");
  EXPECT_EQ(fault("text"), at + "Unexpected text: cp:coreProperties");
  EXPECT_EQ(fault("<dc:title>a<b/></dc:title>"), at + "Unexpected element: b");
  EXPECT_EQ(fault("<dc:title xml:lang='en'>a</dc:title>"), at + "Unexpected attribute xml:lang: dc:title");
  EXPECT_EQ(fault("<dc:title xsi:type='x'>a</dc:title>"), at + "Unexpected attribute xsi:type: dc:title");
  EXPECT_EQ(fault("<dcterms:created>2006</dcterms:created>"), at + "xsi:type must be dcterms:W3CDTF: dcterms:created");
  EXPECT_EQ(fault("<dcterms:modified xsi:type='dcterms:W3CDTF'>soon</dcterms:modified>"),
            at + "Invalid time \"soon\": dcterms:modified");
  EXPECT_EQ(fault("<cp:lastPrinted>2006-10-13</cp:lastPrinted>"), at + "Invalid time \"2006-10-13\": cp:lastPrinted");
  EXPECT_EQ(fault("<cp:keywords><cp:other/></cp:keywords>"), at + "Unexpected element: cp:other");
  EXPECT_EQ(fault("<cp:keywords x='1'/>"), at + "Unexpected attribute x: cp:keywords");
}

TEST(CoreProperties, RefuseMarkupCompatibility) {
  std::string const mc = "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006' ";
  EXPECT_EQ(faultOfCore(core("", mc)), "/p/core.xml: Markup compatibility is not allowed: cp:coreProperties");
  EXPECT_EQ(faultOfCore(core("<dc:title " + mc + ">x</dc:title>")),
            "/p/core.xml: Markup compatibility is not allowed: dc:title");
}

TEST(CoreProperties, RefuseAttributesOfTheRoot) {
  EXPECT_EQ(faultOfCore(core("", "xml:lang='en'")), "/p/core.xml: Unexpected attribute xml:lang: cp:coreProperties");
}

TEST(CoreProperties, RefuseOtherDocuments) {
  for (auto text : {"", "no xml", "<other/>", "<coreProperties/>"})
    EXPECT_TRUE(faultOfCore(text).starts_with("/p/core.xml: ")) << text;
}

TEST(Target, IsFoundInAnotherCase) {
  auto const package = open(samples::packageOf(
      {{"_rels/.rels", samples::relationships(coreRelationship("a", "P/CORE.xml"))}, {"p/core.xml", core("")}}));
  Relationship const relationship = package->getRelationshipsByType(kU16Type).front();
  EXPECT_EQ(PackageHelper::findTarget(*package, relationship)->getName().toString(), u"/p/core.xml");
  EXPECT_EQ(PackageHelper::getTarget(*package, relationship).getName().toString(), u"/p/core.xml");
}

TEST(Target, IsNoPartWhereItIsMissingOrOutside) {
  auto const package = packageAround(core(""));
  for (Relationship const& relationship :
       {package->createInternalRelationship(u"http://x", URI(u"/gone.xml")),
        package->createExternalRelationship(u"http://x", u"http://example.org/p/core.xml"),
        package->createExternalRelationship(u"http://x", u"/p/core.xml")}) {
    EXPECT_FALSE(PackageHelper::findTarget(*package, relationship));
    EXPECT_THROW_MESSAGE(PackageHelper::getTarget(*package, relationship), PartNotFound,
                         "Part not found: " + toUTF8String(relationship.getTargetURI().toString()));
  }
}

TEST(DeleteRelationshipsAndTargets, DeletesBoth) {
  auto const package = Package::createInMemory();
  for (auto name : {u"/a", u"/b", u"/c"}) create(*package, name);
  package->createInternalRelationship(u"urn:x", URI(u"a"));
  package->createInternalRelationship(u"urn:x", URI(u"/B#f"));
  package->createInternalRelationship(u"urn:y", URI(u"c"));
  PackageHelper::deleteRelationshipsAndTargets(*package, u"urn:x");
  EXPECT_EQ(package->getRelationships().size(), 1U);
  EXPECT_EQ(package->getPartNames(), (std::vector<PartName>{PartName(u"/_rels/.rels"), PartName(u"/c")}));
}

TEST(DeleteRelationshipsAndTargets, CopesWithTargetsThatAreNoParts) {
  std::string const nowhere = samples::relationships(samples::relationship("r1", "//host/x"));
  auto const package = open(samples::packageOf({{"_rels/.rels", nowhere}}));
  create(*package, u"/a");
  for (auto target : {u"a", u"a", u"none"}) package->createInternalRelationship(u"urn:x", URI(target));
  package->createExternalRelationship(u"urn:x", u"/a");
  PackageHelper::deleteRelationshipsAndTargets(*package, u"urn:x");
  EXPECT_TRUE(package->getPartNames().empty());
  EXPECT_NO_THROW(PackageHelper::deleteRelationshipsAndTargets(*package, u"urn:x"));
}

TEST(CoreProperties, AreNotUnpackedWhereTheyAreTooLong) {
  auto const package = packageAround(core("<dc:title>" + std::string(17u << 20, ' ') + "</dc:title>"));
  EXPECT_THROW_MESSAGE(PackageHelper::getCoreProperties(*package), InvalidPartContent,
                       "/p/core.xml: The document is longer than 16777216 bytes");
}

TEST(CoreProperties, LeaveNoPartWithoutARelationship) {
  auto const package = Package::createInMemory();
  create(*package, u"/_rels");  // in the way of the relationships
  EXPECT_THROW(PackageHelper::createOrUpdateCoreProperties(*package, everything()), PartNameClash);
  EXPECT_EQ(package->getPartNames(), std::vector<PartName>{PartName(u"/_rels")});
}

}  // namespace
}  // namespace opc::model
