// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "container/ZipTestSupport.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/ModelSamples.hpp"
#include "package/PackageReader.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::detail {
namespace {

using samples::Bytes;
using zt_test::CollectedFaults;
using zt_test::FaultNames;

/// What a reader finds that lists all faults.
struct Findings {
  CollectedFaults faults;
  std::vector<std::string> parts;
};

Findings listed(Bytes const& bytes, OpenOptions const& limits = {}) {
  Findings found;
  zip::Reader container(zip::makeMemoryBytes(bytes), limits.maximumItems, found.faults);
  PackageReader reader(std::make_shared<PackageState>(), container, limits, found.faults);
  if (!reader.checkTotalSize()) return found;
  reader.identify();
  container.readItems();
  reader.readRelationships();
  for (ReadPart const& part : reader.parts()) found.parts.push_back(part.name());
  return found;
}

bool isOpened(Bytes const& bytes) {
  try {
    samples::open(bytes);
    return true;
  } catch (InvalidPackage const&) {
    return false;
  }
}

Bytes smallPackage() {
  return samples::packageOf({{"_rels/.rels", samples::relationships(samples::relationship("r1", "a.xml"))},
                             {"a.xml", "alpha"},
                             {"b.xml/[0].last.piece", "beta"}});
}

TEST(PackageReader, ListsNothingOfASoundPackage) {
  Findings const found = listed(smallPackage());
  EXPECT_EQ(found.faults.names, FaultNames{});
  EXPECT_EQ(found.parts, (std::vector<std::string>{"/_rels/.rels", "/a.xml", "/b.xml"}));
}

TEST(PackageReader, ListsAFaultThatRefusesExactlyWhereOpeningIsRefused) {
  XmlStreamReader const keepsTheParser;
  Bytes const good = smallPackage();
  for (std::size_t at = 0; at < good.size(); ++at) {
    Bytes bytes = good;
    bytes[at] ^= 1;
    EXPECT_EQ(listed(bytes).faults.isRefused, !isOpened(bytes)) << "byte " << at;
  }
  for (std::size_t size = 0; size < good.size(); ++size)
    EXPECT_TRUE(listed(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size))).faults.isRefused) << size;
}

TEST(PackageReader, ListsFaultsBehindTheFirst) {
  Findings const found =
      listed(samples::packageOf({{"_rels/.rels", samples::relationships(samples::relationship("r1", "gone.xml"))},
                                 {"a.xml", "1"},
                                 {"A.xml", "2"},
                                 {"a.xml/b.xml", "3"},
                                 {"c.unknown", "4"}}));
  EXPECT_EQ(found.faults.names, (FaultNames{{code::kNamesClash, "/A.xml"},
                                            {code::kUntypedItem, "/c.unknown"},
                                            {code::kDerivedName, "/a.xml/b.xml"},
                                            {code::kMissingTarget, "/"}}));
  EXPECT_EQ(found.parts, (std::vector<std::string>{"/_rels/.rels", "/a.xml", "/A.xml", "/a.xml/b.xml"}));
}

TEST(PackageReader, ReadsRelationshipsUnderANameThatStandsTwiceOnce) {
  std::string const relationships = samples::relationships(samples::relationship("r1", "gone.xml"));
  Findings const found = listed(samples::packageOf({{"_rels/.rels", relationships}, {"_rels/.rels", relationships}}));
  EXPECT_EQ(found.faults.names, (FaultNames{{code::kNamesClash, "/_rels/.rels"}, {code::kMissingTarget, "/"}}));
  EXPECT_EQ(found.parts, std::vector<std::string>{"/_rels/.rels"});
}

TEST(PackageReader, ReadsRelationshipsUnderNamesThatDifferInCase) {
  std::string const relationships = samples::relationships(samples::relationship("r1", "gone.xml"));
  Findings const found = listed(samples::packageOf({{"_rels/.rels", relationships}, {"_RELS/.rels", relationships}}));
  EXPECT_EQ(
      found.faults.names,
      (FaultNames{{code::kNamesClash, "/_RELS/.rels"}, {code::kMissingTarget, "/"}, {code::kMissingTarget, "/"}}));
}

TEST(PackageReader, TakesItemsForPartsWhereTheContentTypesAreBroken) {
  Findings const found =
      listed(samples::archiveOf({{"[Content_Types].xml", "<x/>"}, {"a.unknown", "1"}, {"a b", "2"}}));
  EXPECT_EQ(found.faults.names,
            (FaultNames{{code::kInvalidContentTypes, "/[Content_Types].xml"}, {code::kInvalidPartName, "/a b"}}));
  EXPECT_EQ(found.parts, std::vector<std::string>{"/a.unknown"});
}

TEST(PackageReader, ListsAnItemWithoutANameAsAFaultOfTheContainer) {
  Findings const found = listed(samples::packageOf({{"", "x"}}));
  EXPECT_EQ(found.faults.names, (FaultNames{{code::kInvalidPartName, ""}}));
}

TEST(PackageReader, ListsDocumentsThatAreTooLargeTogether) {
  OpenOptions limits;
  limits.maximumMarkupBytes = samples::contentTypes().size() + 10;
  Findings const found = listed(smallPackage(), limits);
  EXPECT_EQ(found.faults.names, (FaultNames{{code::kInvalidPackage, ""}}));
}

TEST(PackageReader, ListsADocumentThatIsTooLargeAlone) {
  OpenOptions limits;
  limits.maximumMarkupBytes = 10;
  Findings const found = listed(smallPackage(), limits);
  EXPECT_EQ(found.faults.names, (FaultNames{{code::kInvalidContentTypes, "/[Content_Types].xml"},
                                            {code::kInvalidRelationships, "/_rels/.rels"}}));
}

TEST(PackageReader, ListsItemsThatAreTooLargeTogetherAndGoesNoFurther) {
  OpenOptions limits;
  limits.maximumTotalBytes = 3;
  Findings const found = listed(smallPackage(), limits);
  EXPECT_EQ(found.faults.names, (FaultNames{{code::kInvalidPackage, "/[Content_Types].xml"}}));
  EXPECT_TRUE(found.parts.empty());
}

}  // namespace
}  // namespace opc::model::detail
