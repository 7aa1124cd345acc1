// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "support/TestSupport.hpp"

namespace {

using namespace opc::model;
using zt_test::bytesOf;

/// Has a part "/a.txt" of a package that is saved.
class PackageTexts : public testing::Test {
 protected:
  PackageTexts() {
    auto const package = Package::create(path_);
    auto const output = package->createPart("/a.txt", "text/plain").getOutputStream();
    output->write("hello", 5);
    output->close();
    package->save();
  }

  zt_test::TemporaryDirectory directory_;
  std::filesystem::path path_ = directory_ / "p\xC3\xA9.zip";
};

TEST_F(PackageTexts, OpenWithEveryFormOfThePath) {
  std::string const text = path_.string();
  EXPECT_TRUE(Package::open(path_, AccessMode::ReadOnly)->hasPart("/a.txt"));
  EXPECT_TRUE(Package::open(text, AccessMode::ReadOnly)->hasPart(std::string("/a.txt")));
  EXPECT_TRUE(Package::open(text.c_str(), AccessMode::ReadOnly)->hasPart(u"/a.txt"));
  EXPECT_TRUE(Package::open(opc::toString(text), AccessMode::ReadOnly)->hasPart(PartName("/a.txt")));
}

TEST_F(PackageTexts, RefuseIllFormedUTF8BeforeTheDiskIsAsked) {
  EXPECT_THROW(Package::open("\xFF", AccessMode::ReadOnly), opc::InvalidText);
  EXPECT_THROW(Package::create("\xFF"), opc::InvalidText);
}

TEST_F(PackageTexts, SaveUnderAPath) {
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  package->saveAs(directory_ / "copy.zip");
  EXPECT_TRUE(Package::open(directory_ / "copy.zip", AccessMode::ReadOnly)->findPart("/a.txt").has_value());
}

TEST_F(PackageTexts, NamePartsAndRelationships) {
  auto const package = Package::open(path_, AccessMode::ReadWrite);
  EXPECT_EQ(package->getPart("/a.txt").getContentType(), ContentType("text/plain"));
  std::string const id = opc::toUTF8String(package->createInternalRelationship("http://e.org/r", "/a.txt").getID());
  EXPECT_EQ(package->getRelationshipsByType("http://e.org/r").size(), 1u);
  EXPECT_TRUE(package->findRelationship(id).has_value());
  package->deleteRelationship(id);
  package->deletePart("/a.txt");
  EXPECT_FALSE(package->hasPart("/a.txt"));
  EXPECT_EQ(URI("a/b").toString(), u"a/b");
}

TEST_F(PackageTexts, ReadAWholePart) {
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  EXPECT_EQ(readAll(package->getPart("/a.txt")), bytesOf("hello"));
}

TEST_F(PackageTexts, ReadAnEmptyPart) {
  auto const package = Package::createInMemory();
  EXPECT_EQ(readAll(package->createPart("/empty", "text/plain")), std::vector<unsigned char>());
}

TEST_F(PackageTexts, ReadNoPartThatIsLongerThanTheCallerAllows) {
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  EXPECT_EQ(readAll(package->getPart("/a.txt"), 5).size(), 5u);
  EXPECT_THROW_MESSAGE(readAll(package->getPart("/a.txt"), 4), opc::Exception,
                       "/a.txt has 5 bytes; no more than 4 may be read into memory");
}

}  // namespace
