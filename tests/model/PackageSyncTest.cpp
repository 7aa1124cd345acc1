// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <gtest/gtest.h>

#include "model/ModelSamples.hpp"
#include "opc/model/Exceptions.hpp"
#include "support/TestSupport.hpp"

namespace {

bool failsForDirectories = false;

}  // namespace

/// In the place of the system's, so that it can fail as on a disk that is about to break.
extern "C" int fsync(int file) {
  struct stat status {};
  if (failsForDirectories && fstat(file, &status) == 0 && S_ISDIR(status.st_mode)) {
    errno = EIO;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fsync, file));
}

namespace opc::model {
namespace {

using samples::create;
using samples::read;

void expectSyncToFail(std::function<void()> const& save, std::string const& path) {
  failsForDirectories = true;
  EXPECT_THROW_MESSAGE(save(), CouldNotSavePackage, "Could not save package: " + path + ": Input/output error");
  failsForDirectories = false;
}

TEST(PackageSync, LeavesANewPackageInPlaceThatCanBeSavedAgain) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  create(*package, u"/a.xml", "one");
  expectSyncToFail([&] { package->save(); }, (directory / "p.opc").string());
  EXPECT_EQ(read(*Package::open(directory.u16("p.opc"), AccessMode::ReadOnly), u"/a.xml"), "one");
  create(*package, u"/b.xml", "two");
  package->save();
  EXPECT_EQ(read(*Package::open(directory.u16("p.opc"), AccessMode::ReadOnly), u"/b.xml"), "two");
}

TEST(PackageSync, LeavesAPackageBoundToItsNewPath) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::createInMemory();
  create(*package, u"/a.xml", "one");
  expectSyncToFail([&] { package->saveAs(directory.u16("p.opc")); }, (directory / "p.opc").string());
  create(*package, u"/b.xml", "two");
  package->save();
  EXPECT_EQ(read(*Package::open(directory.u16("p.opc"), AccessMode::ReadOnly), u"/b.xml"), "two");
}

}  // namespace
}  // namespace opc::model
