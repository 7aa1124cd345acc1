// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

#include "opc/Strings.hpp"
#include "package/RelationshipSet.hpp"

namespace opc::model::detail {
namespace {

void add(RelationshipSet& set, std::u16string id) {
  auto record = std::make_shared<RelationshipRecord>();
  record->id = std::move(id);
  set.append(std::move(record));
}

std::u16string addFree(RelationshipSet& set) {
  std::u16string id = set.freeId();
  add(set, id);
  return id;
}

TEST(RelationshipSet, NumbersFromOne) {
  RelationshipSet set;
  EXPECT_EQ(addFree(set), u"rId1");
  EXPECT_EQ(addFree(set), u"rId2");
}

TEST(RelationshipSet, SkipsWhatIsTaken) {
  RelationshipSet set;
  for (auto id : {u"rId1", u"rId3", u"x"}) add(set, id);
  EXPECT_EQ(addFree(set), u"rId2");
  EXPECT_EQ(addFree(set), u"rId4");
}

TEST(RelationshipSet, GivesTheSmallestFreedNumberAgain) {
  RelationshipSet set;
  for (int i = 0; i < 5; ++i) addFree(set);
  EXPECT_TRUE(set.remove(u"rId4"));
  EXPECT_TRUE(set.remove(u"rId2"));
  EXPECT_EQ(addFree(set), u"rId2");
  add(set, u"rId4");
  EXPECT_EQ(addFree(set), u"rId6");
}

TEST(RelationshipSet, TakesOtherFormsOfANumberForOtherIds) {
  RelationshipSet set;
  for (auto id : {u"rId01", u"RID1", u"rId", u"rId1x", u"rId0", u"rId99999999999999999999999"}) add(set, id);
  EXPECT_EQ(addFree(set), u"rId1");
}

TEST(RelationshipSet, KeepsTheOrderOfAdding) {
  RelationshipSet set;
  for (auto id : {u"z", u"a", u"m"}) add(set, id);
  set.remove(u"a");
  add(set, u"a");
  std::u16string order;
  for (auto const& [position, record] : set.records()) order += record->id;
  EXPECT_EQ(order, u"zma");
}

TEST(RelationshipSet, AnswersWhetherItRemovedAnything) {
  RelationshipSet set;
  EXPECT_FALSE(set.remove(u"rId1"));
  addFree(set);
  EXPECT_TRUE(set.remove(u"rId1"));
  EXPECT_TRUE(set.empty());
}

}  // namespace
}  // namespace opc::model::detail
