// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "package/Pieces.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

using samples::packageOf;
using samples::read;

samples::Bytes interleaved() {
  return packageOf(
      {{"a.xml/[0].piece", "one "}, {"b.xml", "b"}, {"a.xml/[1].piece", ""}, {"A.xml/[2].Last.piece", "two"}});
}

TEST(PieceName, FollowsTheGrammar) {
  auto const piece = detail::parsePieceName("a/b.xml/[12].LAST.Piece");
  ASSERT_TRUE(piece);
  EXPECT_EQ(piece->whole, "a/b.xml");
  EXPECT_EQ(piece->number, 12U);
  EXPECT_TRUE(piece->isLast);
  EXPECT_FALSE(detail::parsePieceName("a/[0].piece")->isLast);
}

TEST(PieceName, RefusesWhatOnlyLooksLikeOne) {
  for (auto name :
       {"", ".piece", "[0].piece", "/[0].piece", "a/[].piece", "a/[01].piece", "a/[0]piece", "a/0.piece",
        "a/[-1].piece", "a/[0].piece/b", "a/[0].last", "a/[1234567890].piece", "a/x[0].piece", "a/[0]x.piece"})
    EXPECT_FALSE(detail::parsePieceName(name)) << name;
}

TEST(Pieces, AreReadFromAnywhere) {
  Part const part = samples::open(interleaved())->getPart(PartName(u"/a.xml"));
  EXPECT_EQ(zt_test::readAll(*part.getInputStreamAt(2)), "e two");
  EXPECT_EQ(zt_test::readAll(*part.getInputStreamAt(5)), "wo");
  EXPECT_EQ(zt_test::readAll(*part.getInputStreamAt(8)), "");
}

TEST(Pieces, AreReadAsOnePart) {
  auto const package = samples::open(interleaved());
  EXPECT_EQ(package->getPartNames(), (std::vector<PartName>{PartName(u"/a.xml"), PartName(u"/b.xml")}));
  Part const part = package->getPart(PartName(u"/a.xml"));
  EXPECT_EQ(part.getSize(), 7U);
  for (std::size_t step : {1u, 2u, 15u, 16u, 17u, 4096u})
    EXPECT_EQ(zt_test::readAll(*part.getInputStream(), step), "one two");
  EXPECT_TRUE(package->getItemNames().empty());
}

TEST(Pieces, CanBeReadAgain) {
  auto const stream = samples::open(interleaved())->getPart(PartName(u"/a.xml")).getInputStream();
  EXPECT_EQ(zt_test::readAll(*stream), "one two");
  stream->clear();
  stream->reset();
  EXPECT_FALSE(stream->isEnd());
  EXPECT_EQ(zt_test::readAll(*stream, 1), "one two");
}

TEST(Pieces, AreKeptWhenThePackageIsSavedAndStillRead) {
  auto const package = samples::open(interleaved());
  samples::create(*package, u"/0.xml", "zero");
  package->save();
  EXPECT_EQ(read(*package, u"/a.xml"), "one two");
  auto const again = samples::open(package->saveToBytes());
  EXPECT_EQ(read(*again, u"/a.xml"), "one two");
  EXPECT_EQ(read(*again, u"/b.xml"), "b");
}

TEST(Pieces, BecomeOneItemWhenThePartIsRewritten) {
  auto const package = samples::open(interleaved());
  samples::write(package->getPart(PartName(u"/a.xml")), "new");
  auto const items = samples::itemsOf(package->saveToBytes());
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[2].name, "a.xml");
  EXPECT_EQ(items[2].content, "new");
}

TEST(Pieces, GoWithTheirPart) {
  auto const package = samples::open(interleaved());
  package->deletePart(PartName(u"/a.xml"));
  EXPECT_EQ(samples::itemsOf(package->saveToBytes()).size(), 2U);
}

TEST(Pieces, AreInNumericOrderBeyondTen) {
  std::vector<samples::Item> items;
  std::string whole;
  for (int i = 0; i < 12; ++i) {
    items.push_back(
        {"a.xml/[" + std::to_string(i) + "]" + (i == 11 ? ".last" : "") + ".piece", std::to_string(i) + ","});
    whole += items.back().content;
  }
  auto const package = samples::open(packageOf(items));
  EXPECT_EQ(read(*package, u"/a.xml"), whole);
  package->save();
  EXPECT_EQ(read(*package, u"/a.xml"), whole);
}

TEST(Pieces, ThatAreNotCompleteAreItemsWhoseNameIsTaken) {
  for (auto const& items : {std::vector<samples::Item>{{"a.xml/[0].piece", "x"}},
                            {{"a.xml/[1].last.piece", "x"}},
                            {{"a.xml/[0].piece", "x"}, {"a.xml/[2].last.piece", "y"}},
                            {{"a.xml/[0].last.piece", "x"}, {"a.xml/[1].last.piece", "y"}}}) {
    auto const package = samples::open(packageOf(items));
    EXPECT_TRUE(package->getPartNames().empty());
    EXPECT_EQ(package->getItemNames().size(), items.size());
    EXPECT_THROW_MESSAGE(samples::create(*package, u"/A.xml"), PartNameClash,
                         "Part name /A.xml clashes with existing /a.xml");
    EXPECT_EQ(samples::open(package->saveToBytes())->getItemNames(), package->getItemNames());
  }
}

TEST(Pieces, OfOneNumberRefuseThePackage) {
  auto const bytes = packageOf({{"a.xml/[0].piece", "x"}, {"A.xml/[0].last.piece", "y"}});
  EXPECT_THROW_MESSAGE(samples::open(bytes), InvalidPackage, "Invalid package: A.xml: two pieces have the number 0");
}

TEST(Pieces, BesideTheWholeRefuseThePackage) {
  EXPECT_THROW_MESSAGE(samples::open(packageOf({{"a.xml/[0].last.piece", "x"}, {"A.xml", "y"}})), InvalidPackage,
                       "Invalid package: Names clash: A.xml and a.xml");
  EXPECT_THROW_MESSAGE(samples::open(packageOf({{"a.bin/[0].piece", "x"}, {"A.bin", "y"}})), InvalidPackage,
                       "Invalid package: Names clash: A.bin and a.bin/[0].piece");
}

TEST(Pieces, MayMakeUpTheContentTypes) {
  std::string const types = samples::contentTypes();
  auto const package = samples::open(samples::archiveOf({{"[Content_Types].xml/[0].piece", types.substr(0, 50)},
                                                         {"[Content_Types].xml/[1].last.piece", types.substr(50)},
                                                         {"a.xml", "a"}}));
  EXPECT_EQ(read(*package, u"/a.xml"), "a");
  EXPECT_EQ(samples::itemsOf(package->saveToBytes()).front().name, "[Content_Types].xml");
}

TEST(Pieces, OfTheContentTypesMustBeComplete) {
  EXPECT_THROW_MESSAGE(samples::open(samples::archiveOf({{"[Content_Types].xml/[0].piece", samples::contentTypes()}})),
                       InvalidPackage, "Invalid package: [Content_Types].xml: a piece is missing");
}

TEST(Pieces, MayMakeUpRelationships) {
  std::string const text = samples::relationships(samples::relationship("r1", "a.xml"));
  auto const package = samples::open(packageOf(
      {{"_rels/.rels/[0].piece", text.substr(0, 9)}, {"_rels/.rels/[1].last.piece", text.substr(9)}, {"a.xml", "a"}}));
  EXPECT_EQ(package->getRelationships().at(0).getID(), u"r1");
}

TEST(Pieces, AreVerifiedBeforeTheFirstByteWhereTheyAreSmall) {
  samples::Bytes bytes = interleaved();
  auto const two = std::string("two");
  auto const at = std::search(bytes.begin(), bytes.end(), two.begin(), two.end());
  ASSERT_NE(at, bytes.end());
  *at = 'T';
  Part const part = samples::open(bytes)->getPart(PartName(u"/a.xml"));
  EXPECT_THROW_MESSAGE(part.getInputStream(), InvalidItem, "Item \"A.xml/[2].Last.piece\": wrong CRC");
}

TEST(Pieces, AreReadAsOnePartWhereTheyAreLarge) {
  std::string const first(5u << 20, 'a'), second(5u << 20, 'b');
  auto const package = samples::open(packageOf({{"a.xml/[0].piece", first}, {"a.xml/[1].last.piece", second}}));
  EXPECT_TRUE(read(*package, u"/a.xml") == first + second);
}

}  // namespace
}  // namespace opc::model
