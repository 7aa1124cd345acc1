// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

namespace fs = std::filesystem;
using samples::create;
using samples::read;

std::unique_ptr<Package> packageOfText(std::string const& text) {
  auto package = Package::createInMemory();
  create(*package, u"/a", text);
  return package;
}

class SaveTargets : public testing::Test {
 protected:
  std::unique_ptr<Package> saved(char const* name, std::string const& text) const {
    auto package = packageOfText(text);
    package->saveAs(directory_.u16(name));
    return package;
  }

  std::string contentAt(char const* name) const {
    return read(*Package::open(directory_.u16(name), AccessMode::ReadOnly), u"/a");
  }

  zt_test::TemporaryDirectory directory_;
};

TEST_F(SaveTargets, ThatAreOtherOpenPackagesAreReplacedAndThoseAreTold) {
  auto const one = saved("one", "1"), two = saved("two", "2");
  one->saveAs(directory_.u16("two"), Existing::Replace);
  EXPECT_EQ(contentAt("two"), "1");
  EXPECT_EQ(read(*two, u"/a"), "2");
  EXPECT_THROW(two->save(), PackageHasChanged);
  EXPECT_NO_THROW(one->save());
  EXPECT_EQ(contentAt("one"), "1");
}

TEST_F(SaveTargets, MayBeThePackageItselfWhereThatMayBeReplaced) {
  auto const package = saved("p", "1");
  samples::write(package->getPart(PartName(u"/a")), "2");
  EXPECT_THROW(package->saveAs(directory_.u16("p")), CouldNotSavePackage);
  package->saveAs(directory_.u16("p"), Existing::Replace);
  EXPECT_EQ(contentAt("p"), "2");
  EXPECT_NO_THROW(package->save());
}

TEST_F(SaveTargets, MayBeLinksToThePackageItself) {
  auto const package = saved("p", "1");
  fs::create_symlink("p", directory_ / "link");
  samples::write(package->getPart(PartName(u"/a")), "2");
  package->saveAs(directory_.u16("link"), Existing::Replace);
  EXPECT_TRUE(fs::is_symlink(directory_ / "link"));
  EXPECT_EQ(contentAt("p"), "2");
  EXPECT_NO_THROW(package->save());
}

TEST_F(SaveTargets, MayBeLinksToAnotherFileSystem) {
  char name[] = "/dev/shm/ztservices-test-XXXXXX";
  int const file = mkstemp(name);
  if (file < 0) GTEST_SKIP() << "no file system in memory";
  close(file);
  fs::create_symlink(name, directory_ / "link");
  auto const package = packageOfText(std::string(300'000, 'x'));
  package->saveAs(directory_.u16("here"));
  package->saveAs(directory_.u16("link"), Existing::Replace);
  EXPECT_TRUE(fs::is_symlink(directory_ / "link"));
  EXPECT_EQ(contentAt("link").size(), 300'000u);
  fs::remove(name);
}

TEST_F(SaveTargets, AreMadeWhereLinksLeadThatLeadNowhereYet) {
  fs::create_directory(directory_ / "sub");
  fs::create_symlink("sub/b", directory_ / "a");
  fs::create_symlink("../c", directory_ / "sub/b");
  auto const package = packageOfText("1");
  EXPECT_THROW(package->saveAs(directory_.u16("a")), CouldNotSavePackage);
  package->saveAs(directory_.u16("a"), Existing::Replace);
  EXPECT_TRUE(fs::is_symlink(directory_ / "a") && fs::is_symlink(directory_ / "sub/b"));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(directory_ / "c")));
  EXPECT_NO_THROW(package->save());
  EXPECT_EQ(contentAt("c"), "1");
}

TEST_F(SaveTargets, AreNoLinksThatLeadBackToThemselves) {
  fs::create_symlink("b", directory_ / "a");
  fs::create_symlink("a", directory_ / "b");
  EXPECT_THROW_MESSAGE(
      packageOfText("1")->saveAs(directory_.u16("a"), Existing::Replace), CouldNotSavePackage,
      "Could not save package: " + (directory_ / "a").string() + ": Too many levels of symbolic links");
}

TEST_F(SaveTargets, AreNoDevicesOrPipes) {
  ASSERT_EQ(mkfifo((directory_ / "fifo").c_str(), 0600), 0);
  auto const package = packageOfText("1");
  for (auto const& path : {std::u16string(u"/dev/full"), std::u16string(u"/dev/null"), directory_.u16("fifo")})
    EXPECT_THROW(package->saveAs(path, Existing::Replace), CouldNotSavePackage);
  EXPECT_TRUE(fs::is_fifo(directory_ / "fifo"));
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
  EXPECT_EQ(read(*samples::open(package->saveToBytes()), u"/a"), "1");
}

TEST_F(SaveTargets, MayVanishWithTheirDirectoryAndThePackageGoesElsewhere) {
  fs::create_directory(directory_ / "sub");
  auto const package = saved("sub/p", "1");
  create(*package, u"/b", "2");
  fs::remove_all(directory_ / "sub");
  EXPECT_THROW(package->save(), CouldNotSavePackage);
  package->saveAs(directory_.u16("p"));
  EXPECT_EQ(contentAt("p"), "1");
  EXPECT_NO_THROW(package->save());
}

}  // namespace
}  // namespace opc::model
