// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/PackageHelper.hpp"
#include "package/ModelSamples.hpp"

/// What other producers leave in packages opens, and is kept to the letter when something else is changed.
namespace opc::model {
namespace {

using samples::open;
using samples::packageOf;
using samples::relationship;

/// Saved after a part and a relationship were added, and opened again.
std::unique_ptr<Package> changed(samples::Bytes const& bytes) {
  auto const package = open(bytes);
  samples::create(*package, u"/ours.xml");
  package->createInternalRelationship(u"urn:ours", URI(u"ours.xml"));
  return open(package->saveToBytes());
}

std::string contentOf(samples::Bytes const& bytes, std::string const& item) {
  for (auto const& one : samples::itemsOf(bytes))
    if (one.name == item) return one.content;
  return "no such item";
}

TEST(ForeignPackage, KeepsItemsThatAreNoParts) {
  std::vector<samples::Item> const items = {{".signature.p7s", "untyped"},       {"[trash]/0000.dat", "trash"},
                                            {"docs/read me.xml", "raw space"},   {"folder/", ""},
                                            {"[trash]/0001.xml", "typed trash"}, {"a\\b.xml", "backslash"}};
  auto const package = open(packageOf(items));
  EXPECT_EQ(package->getItemNames().size(), items.size());
  EXPECT_EQ(changed(packageOf(items))->getItemNames(), package->getItemNames());
  samples::create(*package, u"/ours.p7s", "typed", u"application/pkcs7-signature");
  auto const saved = package->saveToBytes();
  for (auto const& item : items) EXPECT_EQ(contentOf(saved, item.name), item.content);
  EXPECT_EQ(open(saved)->getItemNames(), package->getItemNames());
}

TEST(ForeignPackage, KeepsContentTypesWithTheirParametersInOrder) {
  std::u16string const type = u"Text/X-Y ; z=\"q \\\"w\" ;A=1;b=2";
  std::string const types =
      "<Default Extension='Bin' ContentType='a/b;z=1;a=2'/>"
      "<Override PartName='/a.xml' ContentType='Text/X-Y ; z=&quot;q \\&quot;w&quot; ;A=1;b=2'/>";
  auto const package = changed(packageOf({{"a.xml", "a"}, {"b.BIN", "b"}}, types));
  EXPECT_EQ(package->getPart(PartName(u"/a.xml")).getContentType().toString(), type);
  EXPECT_EQ(package->getPart(PartName(u"/b.BIN")).getContentType().toString(), u"a/b;z=1;a=2");
}

TEST(ForeignPackage, KeepsExternalTargetsThatAreNoUris) {
  std::vector<std::u16string> const targets = {u"http://exa mple/ a%zz|<>",
                                               u"file:///C:\\a\\b.doc",
                                               u"mailto:a\u00a0",
                                               u"",
                                               u"NULL",
                                               u"http://[",
                                               u"\\\\server\\share\\a b",
                                               u"#a#b"};
  auto const package = Package::createInMemory();
  for (auto const& target : targets) package->createExternalRelationship(u"urn:x", target);
  auto const found = changed(package->saveToBytes())->getRelationshipsByType(u"urn:x");
  ASSERT_EQ(found.size(), targets.size());
  for (std::size_t i = 0; i < targets.size(); ++i) {
    EXPECT_EQ(found[i].getTargetText(), targets[i]);
    EXPECT_EQ(found[i].getMode(), TargetMode::External);
  }
}

TEST(ForeignPackage, KeepsInternalTargetsThatAreNoReferences) {
  std::vector<std::string> const targets = {"NULL", "", "a b.xml", "..\\x\\y.xml", "%zz", "a[1].xml", "//host/x", "#f"};
  std::string children;
  for (std::size_t i = 0; i < targets.size(); ++i) children += relationship("r" + std::to_string(i), targets[i]);
  auto const package = changed(packageOf({{"_rels/.rels", samples::relationships(children)}}));
  auto const found = package->getRelationshipsByType(u"urn:x");
  ASSERT_EQ(found.size(), targets.size());
  for (std::size_t i = 0; i < targets.size(); ++i) {
    EXPECT_EQ(toUTF8String(found[i].getTargetText()), targets[i]);
    EXPECT_EQ(found[i].getID(), toString("r" + std::to_string(i)));
  }
}

TEST(ForeignPackage, FollowsBackslashesToTheirPart) {
  auto const package =
      open(packageOf({{"_rels/.rels", samples::relationships(relationship("a", "docs\\a.xml"))}, {"docs/a.xml", "a"}}));
  EXPECT_EQ(samples::read(*package, package->getRelationships().at(0).getTargetURI().toString()), "a");
}

TEST(ForeignPackage, KeepsSeveralPartsOfCoreProperties) {
  std::string const type = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
  std::string const children = "<Relationship Id='b' Type='" + type + "' Target='b.xml'/><Relationship Id='a' Type='" +
                               type + "' Target='a.xml'/>";
  auto const package =
      changed(packageOf({{"_rels/.rels", samples::relationships(children)}, {"a.xml", "a"}, {"b.xml", "b"}}));
  auto const found = package->getRelationshipsByType(toString(type));
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].getID(), u"b");
  EXPECT_EQ(samples::read(*package, u"/a.xml") + samples::read(*package, u"/b.xml"), "ab");
}

TEST(ForeignPackage, IsWrittenBackWithoutAChangeOfMeaning) {
  std::string const types =
      "<Override PartName='/a.xml' ContentType='a/b'/><Default Extension='PNG' ContentType='c/d'/>";
  auto const before = open(packageOf({{"a.xml", "a"}, {"b.png", "b"}, {"c.none", "c"}}, types));
  auto const bytes = before->saveToBytes();
  auto const after = open(bytes);
  EXPECT_EQ(samples::snapshot(*after), samples::snapshot(*before));
  EXPECT_EQ(after->getItemNames(), before->getItemNames());
  EXPECT_EQ(after->saveToBytes(), bytes);
}

}  // namespace
}  // namespace opc::model
