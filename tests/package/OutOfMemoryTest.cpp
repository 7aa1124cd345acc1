// SPDX-License-Identifier: Apache-2.0
// Each allocation of an edit and its save fails once.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "allocation/FailingAllocations.hpp"
#include "container/Spool.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

namespace fs = std::filesystem;
using zt_test::allocationsUntilFailure;

class OutOfMemory : public testing::Test {
 protected:
  OutOfMemory() {
    auto const package = Package::create(directory_.u16("p.opc"));
    samples::create(*package, u"/a.xml", "old");
    package->createInternalRelationship(u"urn:x", URI(u"a.xml"));
    package->save();
    old_ = zt_test::readFile(directory_ / "p.opc");
  }

  static void edit(Package& package) {
    samples::write(package.getPart(PartName(u"/a.xml")), "changed");
    if (!package.hasPart(PartName(u"/b.xml"))) samples::create(package, u"/b.xml");
    samples::write(package.getPart(PartName(u"/b.xml")), "new");
    package.save();
  }

  void restore() const { zt_test::writeFile(directory_ / "p.opc", old_); }

  /// The edit without memory at that allocation: it fails as such, and can be made afterwards. False when there
  /// are fewer.
  bool survives(std::size_t number) {
    restore();
    auto const package = Package::open(directory_.u16("p.opc"), AccessMode::ReadWrite);
    bool thrown = false;
    allocationsUntilFailure = number;
    try {
      edit(*package);
    } catch (std::bad_alloc const&) {
      thrown = true;
    }
    bool const reached = allocationsUntilFailure == 0;
    allocationsUntilFailure = 0;
    SCOPED_TRACE(number);
    bool const isOld = zt_test::readFile(directory_ / "p.opc") == old_;
    EXPECT_EQ(isOld, thrown);  // what is merely quicker with more memory does without it
    EXPECT_EQ(std::distance(fs::directory_iterator(directory_.path()), fs::directory_iterator()), 1);
    edit(*package);
    EXPECT_EQ(samples::snapshot(*Package::open(directory_.u16("p.opc"), AccessMode::ReadOnly)), expected());
    return reached;
  }

  static std::vector<std::string> expected() {
    auto const package = Package::createInMemory();
    samples::create(*package, u"/a.xml", "changed");
    samples::create(*package, u"/b.xml", "new");
    package->createInternalRelationship(u"urn:x", URI(u"a.xml"));
    return samples::snapshot(*package);
  }

  zt_test::TemporaryDirectory directory_;
  std::string old_;
};

TEST_F(OutOfMemory, AtAnyAllocationLeavesTheOldPackageAndOneThatCanSave) {
  std::size_t number = 1;
  while (survives(number)) ++number;
  EXPECT_GT(number, 100u);
}

TEST(SpoolWithoutMemory, LosesNothingThatItWritesBehind) {
  zt_test::TemporaryDirectory const directory;
  zip::Spool spool(directory.path().string(), 0);
  spool.setWritesBehind(true);
  std::string taken;
  int failures = 0;
  for (char c = 'a'; c <= 'z'; ++c) {
    std::string const bytes(700'000, c);
    std::uint64_t offset = 0;
    allocationsUntilFailure = 1;
    try {
      offset = spool.append(bytes.data(), bytes.size());
      allocationsUntilFailure = 0;
    } catch (std::bad_alloc const&) {
      ++failures;
      offset = spool.append(bytes.data(), bytes.size());
    }
    EXPECT_EQ(offset, taken.size());
    taken += bytes;
  }
  EXPECT_GE(failures, 3);
  std::string found(taken.size(), '\0');
  spool.readAt(0, found.data(), found.size());
  EXPECT_TRUE(found == taken);
}

}  // namespace
}  // namespace opc::model
