// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"

/// Markup compatibility in relationships (ECMA-376-2, 9.3.4; ECMA-376-3, 10).
namespace opc::model {
namespace {

using samples::open;
using samples::relationship;

std::string const kStart =
    "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships' "
    "xmlns:r='http://schemas.openxmlformats.org/package/2006/relationships' xmlns:x='urn:x' xmlns:y='urn:y' "
    "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006' ";

std::string document(std::string const& rootAttributes, std::string const& children) {
  return kStart + rootAttributes + ">" + children + "</Relationships>";
}

std::string const kIgnorable = "mc:Ignorable='x'";

/// The ids of a package's relationships, or the fault that refuses them.
std::string readDocument(std::string const& xml) {
  try {
    std::string ids;
    for (auto const& r : open(samples::packageOf({{"_rels/.rels", xml}}))->getRelationships())
      ids += toUTF8String(r.getID()) + " ";
    return ids;
  } catch (InvalidPackage const& error) {
    std::string const fault = samples::withoutPosition(error.what()), start = "Invalid package: /_rels/.rels: ";
    return fault.starts_with(start) ? fault.substr(start.size()) : fault;
  }
}

std::string readWith(std::string const& rootAttributes, std::string const& children) {
  return readDocument(document(rootAttributes, children));
}

std::string alternatives(std::string const& children) {
  return "<mc:AlternateContent>" + children + "</mc:AlternateContent>";
}

std::string choice(std::string const& requirements, std::string const& id) {
  return "<mc:Choice Requires='" + requirements + "'>" + relationship(id, "t") + "</mc:Choice>";
}

std::string fallback(std::string const& id) { return "<mc:Fallback>" + relationship(id, "t") + "</mc:Fallback>"; }

TEST(MarkupCompatibility, LeavesPlainDocumentsAlone) {
  EXPECT_EQ(readWith("", relationship("a", "t") + " " + relationship("b", "t")), "a b ");
}

TEST(MarkupCompatibility, LeavesOutIgnorableElementsWithTheirContent) {
  EXPECT_EQ(readWith(kIgnorable, relationship("a", "t") + "<x:e mc:MustUnderstand='y'>text" + relationship("b", "t") +
                                     "<x:f/></x:e>" + relationship("c", "t")),
            "a c ");
}

TEST(MarkupCompatibility, LeavesOutIgnorableAttributes) {
  EXPECT_EQ(readWith(kIgnorable + " x:a='1'", relationship("a", "t", "x:Id='z' x:b='2'")), "a ");
}

TEST(MarkupCompatibility, LeavesOutIgnorableContentOfARelationship) {
  EXPECT_EQ(readWith(kIgnorable, "<Relationship Id='a' Type='urn:t' Target='t'><x:e/>text</Relationship>"), "a ");
}

TEST(MarkupCompatibility, RefusesForeignMarkupThatIsNotIgnorable) {
  EXPECT_EQ(readWith("", "<x:e/>"), "Unexpected element: e");
  EXPECT_EQ(readWith(kIgnorable, "<y:e/>"), "Unexpected element: e");
  EXPECT_EQ(readWith(kIgnorable, relationship("a", "t", "y:b='2'")), "Unexpected attribute: Relationship/@b");
}

TEST(MarkupCompatibility, IgnoresWithinTheElementThatSaysSoAlone) {
  EXPECT_EQ(readWith("", relationship("a", "t", "x:b='1' mc:Ignorable='x'")), "a ");
  EXPECT_EQ(readWith("", relationship("a", "t", "mc:Ignorable='x'") + "<x:e/>"), "Unexpected element: e");
}

TEST(MarkupCompatibility, TakesSeveralPrefixesWithAnyWhiteSpace) {
  EXPECT_EQ(readWith("mc:Ignorable=' x&#10;&#9;y '", "<x:e/><y:e/>"), "");
  EXPECT_EQ(readWith("mc:Ignorable=''", "<x:e/>"), "Unexpected element: e");
}

TEST(MarkupCompatibility, RefusesPrefixesThatAreNotDeclared) {
  EXPECT_EQ(readWith("mc:Ignorable='none'", ""), "Undeclared prefix: none");
  EXPECT_EQ(readWith("mc:MustUnderstand='none'", ""), "Undeclared prefix: none");
  EXPECT_EQ(readWith("", alternatives(choice("none", "a"))), "Undeclared prefix: none");
  EXPECT_EQ(readWith("mc:ProcessContent='none:e'", ""), "Undeclared prefix: none");
}

TEST(MarkupCompatibility, FindsTheNamespaceOfAPrefixWhereItIsUsed) {
  EXPECT_EQ(readWith(kIgnorable, "<x:e xmlns:x='urn:other'/>"), "Unexpected element: e");
  EXPECT_EQ(readWith(kIgnorable, "<z:e xmlns:z='urn:x'/>"), "");
  EXPECT_EQ(readWith("", "<x:e xmlns:x='urn:other' mc:Ignorable='x'/>"), "");
  EXPECT_EQ(
      readWith("", relationship("a", "t", "xmlns:x='urn:other'") + alternatives(choice("x", "b") + fallback("c"))),
      "a c ");
}

TEST(MarkupCompatibility, ForgetsTheDeclarationsOfWhatItLeavesOut) {
  std::string const declared =
      "<x:e xmlns:y='http://schemas.openxmlformats.org/package/2006/relationships'><x:f "
      "xmlns:x='urn:inner'/></x:e>";
  EXPECT_EQ(readWith(kIgnorable, declared + alternatives(choice("y", "a") + fallback("b"))), "b ");
}

TEST(MarkupCompatibility, ProcessesTheContentOfIgnorableElements) {
  std::string const inner = relationship("a", "t");
  EXPECT_EQ(readWith(kIgnorable + " mc:ProcessContent='x:e'", "<x:e>" + inner + "</x:e><x:f>" + inner + "</x:f>"),
            "a ");
  EXPECT_EQ(readWith(kIgnorable + " mc:ProcessContent='x:*'", "<x:e><x:f x:y='1'>" + inner + "</x:f></x:e>"), "a ");
  EXPECT_EQ(readWith(kIgnorable, "<x:e mc:ProcessContent='x:e'>" + inner + "</x:e><x:e>" + inner + "</x:e>"), "a ");
  EXPECT_EQ(readWith(kIgnorable + " mc:ProcessContent='x:e'", "<x:e>text</x:e>"), "Unexpected text");
}

TEST(MarkupCompatibility, ProcessesNoContentOfWhatIsNotIgnorable) {
  EXPECT_EQ(readWith("mc:ProcessContent='x:e'", ""), "Content to be processed of what is not ignorable: x:e");
  EXPECT_EQ(readWith(kIgnorable + " mc:ProcessContent='x:'", ""), "Invalid name: x:");
  EXPECT_EQ(readWith(kIgnorable + " mc:ProcessContent='e'", ""), "Invalid name: e");
}

TEST(MarkupCompatibility, RefusesWhatMustBeUnderstoodAndIsNot) {
  EXPECT_EQ(readWith("mc:MustUnderstand='r x'", ""), "Markup that must be understood is not: r x");
  EXPECT_EQ(readWith("mc:MustUnderstand='r'", relationship("a", "t", "mc:MustUnderstand='r'")), "a ");
  EXPECT_EQ(readWith("", relationship("a", "t", "mc:MustUnderstand='x' mc:Ignorable='x'")),
            "Markup that must be understood is not: x");
  EXPECT_EQ(readWith(kIgnorable + " mc:ProcessContent='x:e'", "<x:e mc:MustUnderstand='y'/>"),
            "Markup that must be understood is not: y");
}

TEST(MarkupCompatibility, ChoosesTheFirstAlternativeThatIsUnderstood) {
  EXPECT_EQ(readWith("", alternatives(choice("x", "a") + choice("r", "b") + choice("r", "c") + fallback("d"))), "b ");
  EXPECT_EQ(readWith("", alternatives(choice("r x", "a") + choice("x", "b") + fallback("c"))), "c ");
  EXPECT_EQ(readWith("", alternatives(choice("x", "a")) + relationship("b", "t")), "b ");
}

TEST(MarkupCompatibility, DoesNotLookIntoWhatIsNotChosen) {
  EXPECT_EQ(
      readWith("", alternatives(choice("r", "a") +
                                "<mc:Fallback mc:MustUnderstand='x'><y:e mc:Ignorable='none'/>text</mc:Fallback>")),
      "a ");
}

TEST(MarkupCompatibility, TakesAlternativesWithinAlternatives) {
  EXPECT_EQ(readWith("", alternatives(choice("x", "a") + "<mc:Fallback>" + relationship("b", "t") +
                                      alternatives(choice("x", "c") + fallback("d")) + "</mc:Fallback>")),
            "b d ");
}

TEST(MarkupCompatibility, IgnoresAmongAlternatives) {
  EXPECT_EQ(readWith(kIgnorable + " mc:ProcessContent='x:e'",
                     "<mc:AlternateContent x:a='1'><x:e>text</x:e> <mc:Choice Requires='r' x:a='1'>" +
                         relationship("a", "t") + "</mc:Choice></mc:AlternateContent>"),
            "a ");
}

TEST(MarkupCompatibility, RefusesFaultyAlternatives) {
  auto const of = [](std::string const& children) { return readWith("", alternatives(children)); };
  EXPECT_EQ(of(""), "Alternate content without a choice");
  EXPECT_EQ(of(fallback("a")), "Alternate content without a choice");
  EXPECT_EQ(of(choice("x", "a") + fallback("b") + choice("r", "c")), "A choice behind the fallback");
  EXPECT_EQ(of(choice("x", "a") + fallback("b") + fallback("c")), "More than one fallback");
  EXPECT_EQ(of("<mc:Choice/>"), "Missing attribute: Choice/@Requires");
  EXPECT_EQ(of("<mc:Choice Requires=' '/>"), "Missing attribute: Choice/@Requires");
  EXPECT_EQ(of("<mc:Choice Requires='r' a='1'/>"), "Unexpected attribute: Choice/@a");
  EXPECT_EQ(of("<mc:Choice Requires='r' xml:space='preserve'/>"), "Unexpected attribute: Choice/@space");
  EXPECT_EQ(of(choice("r", "a") + "<mc:Fallback Requires='r'/>"), "Unexpected attribute: Fallback/@Requires");
  EXPECT_EQ(of(choice("r", "a") + relationship("b", "t")), "Unexpected element: Relationship");
  EXPECT_EQ(of(choice("r", "a") + "<x:e/>"), "Unexpected element: e");
  EXPECT_EQ(of(alternatives(choice("r", "a"))), "Unexpected element: AlternateContent");
  EXPECT_EQ(of(choice("r", "a") + "text"), "Unexpected text");
  EXPECT_EQ(readWith("", "<mc:AlternateContent a='1'/>"), "Unexpected attribute: AlternateContent/@a");
}

TEST(MarkupCompatibility, RefusesOtherMarkupOfItsNamespace) {
  EXPECT_EQ(readWith("", choice("r", "a")), "Unexpected element: Choice");
  EXPECT_EQ(readWith("", "<mc:Other/>"), "Unexpected element: Other");
  EXPECT_EQ(readWith("mc:Other=''", ""), "Unexpected compatibility attribute: Other");
  EXPECT_EQ(readWith("mc:PreserveElements='x:*' mc:PreserveAttributes='x:*'", relationship("a", "t")), "a ");
}

TEST(MarkupCompatibility, LeavesOneRootElement) {
  std::string const mc =
      "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006' xmlns:x='urn:x' "
      "xmlns:r='http://schemas.openxmlformats.org/package/2006/relationships'";
  std::string const one = samples::relationships(relationship("a", "t"));
  auto const root = [&](std::string const& children) {
    return readDocument("<mc:AlternateContent " + mc + ">" + children + "</mc:AlternateContent>");
  };
  EXPECT_EQ(root("<mc:Choice Requires='r'>" + one + "</mc:Choice>"), "a ");
  EXPECT_EQ(root("<mc:Choice Requires='r'>" + one + one + "</mc:Choice>"), "More than one root element is left");
  EXPECT_EQ(root("<mc:Choice Requires='x'>" + one + "</mc:Choice>"), "No element is left");
  EXPECT_EQ(root("<mc:Choice Requires='r'>text</mc:Choice>"), "Unexpected text");
  EXPECT_EQ(readDocument("<x:e " + mc + " mc:Ignorable='x'/>"), "No element is left");
}

TEST(MarkupCompatibility, KeepsWhatItLeftOutUntilThePartIsRewritten) {
  std::string const xml = document(kIgnorable, relationship("a", "t", "x:b='1'") + "<x:e/>");
  auto const package = open(samples::packageOf({{"_rels/.rels", xml}}));
  EXPECT_EQ(samples::read(*open(package->saveToBytes()), u"/_rels/.rels"), xml);
  package->createExternalRelationship(u"urn:t", u"b");
  std::string const written = samples::read(*package, u"/_rels/.rels");
  EXPECT_EQ(written.find("x:b"), std::string::npos) << written;
  EXPECT_EQ(written.find("markup-compatibility"), std::string::npos) << written;
}

TEST(MarkupCompatibility, BearsManyNestedElements) {
  std::string deep;
  for (int i = 0; i < 200; ++i) deep += "<x:e>";
  deep += relationship("a", "t");
  for (int i = 0; i < 200; ++i) deep += "</x:e>";
  EXPECT_EQ(readWith(kIgnorable, deep), "");
  EXPECT_EQ(readWith(kIgnorable + " mc:ProcessContent='x:*'", deep), "a ");
}

TEST(MarkupCompatibility, BearsLongLists) {
  std::string prefixes, declarations, children;
  for (int i = 0; i < 4000; ++i) declarations += " xmlns:p" + std::to_string(i) + "='urn:" + std::to_string(i) + "'";
  for (int i = 0; i < 100'000; ++i) prefixes += "p" + std::to_string(i % 4000) + " ";
  for (int i = 0; i < 20'000; ++i) children += "<p" + std::to_string(i % 4000) + ":e a='1'/>";
  EXPECT_EQ(readWith(declarations + " mc:Ignorable='" + prefixes + "'", children + relationship("a", "t")), "a ");
}

// ECMA-376-2, 10.1.2.5
TEST(MarkupCompatibility, IsNotForContentTypes) {
  std::string const mc = "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006' xmlns:x='urn:x'";
  auto const fault = [](std::string const& children) -> std::string {
    try {
      open(samples::packageOf({}, children));
    } catch (InvalidPackage const& error) {
      return samples::withoutPosition(error.what());
    }
    return "none";
  };
  std::string const start = "Invalid package: [Content_Types].xml: ";
  EXPECT_EQ(fault("<Default Extension='a' ContentType='b/c' " + mc + " mc:Ignorable='x'/>"),
            start + "Unexpected attribute: Default/@Ignorable");
  EXPECT_EQ(fault("<mc:AlternateContent " + mc + "/>"), start + "Unexpected element: AlternateContent");
}

}  // namespace
}  // namespace opc::model
