// SPDX-License-Identifier: Apache-2.0
// What edits of a package leave behind, or do not.
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "io/FileHandle.hpp"
#include "opc/model/DataManager.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

namespace fs = std::filesystem;
using samples::create;

FileIdentity identityOf(fs::path const& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return FileIdentity::of(status);
}

/// Bytes that do not shrink, other ones for each seed.
std::string noise(std::size_t size, std::uint64_t seed) {
  std::string bytes(size, '\0');
  std::uint64_t state = seed * 0x9E3779B97F4A7C15u + 1;
  for (char& byte : bytes) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    byte = static_cast<char>(state);
  }
  return bytes;
}

/// The bytes of all open files without a name.
std::uint64_t unnamedBytes() {
  std::uint64_t sum = 0;
  for (auto const& entry : fs::directory_iterator("/proc/self/fd")) {
    struct stat status {};
    if (stat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 0)
      sum += static_cast<std::uint64_t>(status.st_size);
  }
  return sum;
}

class PackageEditing : public testing::Test {
 protected:
  PackageEditing() {
    auto const package = Package::create(path_);
    create(*package, u"/a.bin", "old");
    package->save();
  }

  std::unique_ptr<Package> open(AccessMode mode = AccessMode::ReadWrite) const { return Package::open(path_, mode); }

  zt_test::TemporaryDirectory directory_;
  std::u16string path_ = directory_.u16("p.opc");
  fs::path file_ = directory_ / "p.opc";
};

TEST_F(PackageEditing, ASaveWithoutChangesWritesNothing) {
  auto const package = open(), other = open();
  FileIdentity const before = identityOf(file_);
  package->save();
  EXPECT_EQ(identityOf(file_), before);
  create(*other, u"/b.xml", "b");
  EXPECT_NO_THROW(other->save());
}

TEST_F(PackageEditing, ASaveWithoutFurtherChangesWritesNothing) {
  auto const package = open();
  create(*package, u"/b.xml", "b");
  package->save();
  FileIdentity const before = identityOf(file_);
  package->save();
  EXPECT_EQ(identityOf(file_), before);
}

/// Each change by itself makes a save write.
TEST_F(PackageEditing, ASaveWritesEveryKindOfChange) {
  auto const package = open();
  auto const isWritten = [&](std::function<void()> const& change) {
    FileIdentity const before = identityOf(file_);
    change();
    package->save();
    return identityOf(file_) != before;
  };
  EXPECT_TRUE(isWritten([&] { create(*package, u"/b.xml"); }));
  EXPECT_TRUE(isWritten([&] { samples::write(package->getPart(PartName(u"/b.xml")), "text"); }));
  EXPECT_TRUE(isWritten([&] { package->createExternalRelationship(u"urn:t", u"there", u"x"); }));
  EXPECT_TRUE(isWritten([&] { package->deleteRelationship(u"x"); }));
  EXPECT_TRUE(isWritten([&] { package->deletePart(PartName(u"/b.xml")); }));
}

TEST_F(PackageEditing, ASaveAsOverItsOwnFileNoticesTheSaveOfAnother) {
  auto const mine = open(), theirs = open();
  create(*theirs, u"/theirs.xml", "theirs");
  theirs->save();
  create(*mine, u"/mine.xml", "mine");
  EXPECT_THROW(mine->saveAs(path_, Existing::Replace), PackageHasChanged);
  fs::create_symlink("p.opc", directory_ / "link");
  EXPECT_THROW(mine->saveAs(directory_.u16("link"), Existing::Replace), PackageHasChanged);
  EXPECT_TRUE(open()->hasPart(PartName(u"/theirs.xml")));
}

TEST_F(PackageEditing, ASaveAsOverItsOwnFileReplacesItWhileItIsUnchanged) {
  auto const package = open();
  create(*package, u"/mine.xml", "mine");
  package->saveAs(path_, Existing::Replace);
  EXPECT_TRUE(open()->hasPart(PartName(u"/mine.xml")));
}

TEST_F(PackageEditing, BytesThatAreWrittenAgainTakeNoFurtherRoom) {
  auto const package = open();
  Part const part = package->getPart(PartName(u"/a.bin"));
  constexpr std::size_t kSize = 64U << 10;
  for (std::uint64_t i = 0; i < 1500; ++i) samples::write(part, noise(kSize, i));
  EXPECT_LT(unnamedBytes(), 40U << 20);
  EXPECT_TRUE(samples::read(part) == noise(kSize, 1499));
  package->save();
  EXPECT_TRUE(samples::read(*open(), u"/a.bin") == noise(kSize, 1499));
}

TEST_F(PackageEditing, PartsThatAreDeletedTakeNoRoom) {
  auto const package = open();
  for (std::uint64_t i = 0; i < 1500; ++i) {
    create(*package, u"/new.bin", noise(64U << 10, i));
    package->deletePart(PartName(u"/new.bin"));
  }
  EXPECT_LT(unnamedBytes(), 40U << 20);
}

TEST_F(PackageEditing, LargePartsThatAreWrittenAgainTakeNoFurtherRoom) {
  auto const package = open();
  Part const part = package->getPart(PartName(u"/a.bin"));
  std::string const large = noise(9U << 20, 7);
  for (int i = 0; i < 12; ++i) samples::write(part, large);
  EXPECT_LT(unnamedBytes(), 60U << 20);
  EXPECT_TRUE(samples::read(part) == large);
}

TEST_F(PackageEditing, StreamsGoOnWhileRoomIsReclaimed) {
  auto const package = open();
  std::string const large = noise(9U << 20, 7);
  Part const part = create(*package, u"/large.bin", large), other = package->getPart(PartName(u"/a.bin"));
  auto const input = part.getInputStream();
  auto const output = create(*package, u"/slow.bin").getOutputStream();
  output->write(large.data(), large.size());
  samples::write(part, "short");
  for (std::uint64_t i = 0; i < 1500; ++i) samples::write(other, noise(64U << 10, i));
  EXPECT_TRUE(zt_test::readAll(*input) == large);
  output->write(large.data(), large.size());
  output->close();
  package->save();
  EXPECT_TRUE(samples::read(*open(), u"/slow.bin") == large + large);
  EXPECT_EQ(samples::read(*open(), u"/large.bin"), "short");
}

TEST_F(PackageEditing, PartsNamedAsRelationshipsDoNotBecomeADefault) {
  auto const package = open();
  for (auto name : {u"/1.rels", u"/2.rels", u"/3.rels", u"/4.rels", u"/5.rels"})
    create(*package, name, "text", u"text/plain");
  package->createExternalRelationship(u"urn:t", u"there");
  package->save();
  auto const bytes = zt_test::bytesOf(zt_test::readFile(file_));
  std::string const types = samples::itemsOf(bytes).front().content;
  EXPECT_EQ(types.find("\"text/plain\" Extension=\"rels\""), std::string::npos) << types;
  EXPECT_NE(types.find("relationships+xml\" Extension=\"rels\""), std::string::npos) << types;
  EXPECT_EQ(package->getPart(PartName(u"/3.rels")).getContentType(), ContentType(u"text/plain"));
  EXPECT_EQ(open()->getRelationships().size(), 1U);
}

TEST_F(PackageEditing, MarkupIsCompressedWellAlsoWhereContentIsCompressedFast) {
  std::string text;
  for (std::uint64_t i = 0; i < 20000; ++i) text += "word" + std::to_string(i * i % 977) + " ";
  auto const sizeOf = [&](CompressionType type) {
    auto const package = Package::createInMemory();
    package->setCompressionLevel(CompressionLevel::Fast);
    Part const part = package->createPart(PartName(u"/a.xml"), ContentType(u"application/xml"), StandardPartInfo(type));
    samples::write(part, text);
    return part.getStoredSize();
  };
  EXPECT_LT(sizeOf(CompressionType::Markup), sizeOf(CompressionType::Content));
  EXPECT_LT(sizeOf(CompressionType::Content), sizeOf(CompressionType::Stored));
}

TEST_F(PackageEditing, AnAbandonedStreamLeavesThePartAsItWas) {
  auto const package = open();
  Part const part = package->getPart(PartName(u"/a.bin"));
  {
    auto const output = part.getOutputStream();
    output->write("half", 4);
    output->abandon();
    EXPECT_THROW(output->write("more", 4), StreamError);
    EXPECT_NO_THROW(output->close());
    EXPECT_NO_THROW(output->abandon());
  }
  EXPECT_EQ(samples::read(part), "old");
  FileIdentity const before = identityOf(file_);
  package->save();
  EXPECT_EQ(identityOf(file_), before);
  samples::write(part, "new");
  EXPECT_EQ(samples::read(part), "new");
}

TEST_F(PackageEditing, AStreamThatIsClosedIsNotAbandoned) {
  auto const package = open();
  auto const output = package->getPart(PartName(u"/a.bin")).getOutputStream();
  output->write("whole", 5);
  output->close();
  output->abandon();
  EXPECT_EQ(samples::read(*package, u"/a.bin"), "whole");
}

TEST_F(PackageEditing, PartsAreFoundOrNot) {
  auto const package = open();
  ASSERT_TRUE(package->findPart(PartName(u"/a.bin")));
  EXPECT_EQ(samples::read(*package->findPart(PartName(u"/a.bin"))), "old");
  EXPECT_FALSE(package->findPart(PartName(u"/A.bin")));
  EXPECT_FALSE(package->findPart(PartName(u"")));
}

TEST_F(PackageEditing, PartsAreListedWithoutThoseOfRelationships) {
  auto const package = open();
  Part b = create(*package, u"/b.xml");
  b.createInternalRelationship(u"urn:t", URI(u"a.bin"));
  EXPECT_EQ(package->getParts(), (std::vector<Part>{package->getPart(PartName(u"/a.bin")), b}));
}

TEST_F(PackageEditing, ANewPartIsContentOfBytesByDefault) {
  auto const package = open();
  Part const part = package->createPart(PartName(u"/b"));
  EXPECT_EQ(part.getContentType(), ContentType(u"application/octet-stream"));
  samples::write(part, std::string(1000, 'x'));
  EXPECT_LT(part.getStoredSize(), 100U);
}

TEST_F(PackageEditing, RelationshipsAreFoundByIdAndSelected) {
  auto const package = open();
  Part b = create(*package, u"/b.xml");
  Relationship const ofPackage = package->createInternalRelationship(u"urn:t", URI(u"b.xml"), u"x");
  Relationship const ofPart = b.createInternalRelationship(u"urn:t", URI(u"a.bin"), u"x");
  EXPECT_EQ(package->findRelationship(u"x"), ofPackage);
  EXPECT_EQ(b.findRelationship(u"x"), ofPart);
  EXPECT_FALSE(package->findRelationship(u"X"));
  using Selector = RelationshipSelector;
  auto const select = [&](char16_t const* source, RelationshipSelectorType type, char16_t const* criteria) {
    return package->selectRelationships(Selector(URI(source), type, criteria));
  };
  EXPECT_EQ(select(u"/", RelationshipSelectorType::ByID, u"x"), std::vector<Relationship>{ofPackage});
  EXPECT_EQ(select(u"/b.xml", RelationshipSelectorType::ByType, u"urn:t"), std::vector<Relationship>{ofPart});
  EXPECT_TRUE(select(u"/a.bin", RelationshipSelectorType::ByID, u"x").empty());
  EXPECT_THROW(select(u"/none", RelationshipSelectorType::ByID, u"x"), PartNotFound);
}

TEST_F(PackageEditing, HandlesAreEqualWhenTheyStandForTheSame) {
  auto const package = open(), other = open();
  Part const a = package->getPart(PartName(u"/a.bin")), copy = a;
  EXPECT_EQ(a, copy);
  EXPECT_EQ(std::hash<Part>()(a), std::hash<Part>()(copy));
  EXPECT_NE(a, other->getPart(PartName(u"/a.bin")));
  EXPECT_NE(a, create(*package, u"/b"));
  Relationship const first = package->createExternalRelationship(u"urn:t", u"there", u"x");
  Relationship const second = package->createExternalRelationship(u"urn:t", u"there", u"y");
  EXPECT_EQ(first, package->getRelationships().front());
  EXPECT_NE(first, second);
  std::unordered_set<PartName> const names = {PartName(u"/a"), PartName(u"/b"), PartName(u"/a")};
  EXPECT_EQ(names.size(), 2U);
  std::unordered_set<Relationship> const relationships = {first, second, first};
  EXPECT_EQ(relationships.size(), 2U);
}

class SelfLoading final : public DataManager {
 public:
  explicit SelfLoading(Package& package) : DataManager(package, false) {}
  int loads = 0;

 protected:
  void doLoad() override {
    if (++loads < 100) load();
  }
  void doSave() override {}
  std::vector<std::u16string> doGetManagedPartNames() const override { return {}; }
  std::vector<std::u16string> doGetManagedRelationshipTypes() const override { return {}; }
};

TEST_F(PackageEditing, AManagerThatLoadsWhileItLoadsDoesSoOnce) {
  auto const package = open();
  SelfLoading manager(*package);
  manager.load();
  EXPECT_EQ(manager.loads, 1);
}

TEST(RelationshipSourceType, IsCopiedButNotAssignedThroughItsBase) {
  EXPECT_TRUE(std::is_copy_constructible_v<RelationshipSource>);
  EXPECT_FALSE(std::is_copy_assignable_v<RelationshipSource>);
  EXPECT_FALSE(std::is_move_assignable_v<RelationshipSource>);
  EXPECT_TRUE(std::is_copy_assignable_v<Part>);
}

}  // namespace
}  // namespace opc::model
