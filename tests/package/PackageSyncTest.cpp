// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "package/SystemCalls.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

using samples::create;
using samples::read;

void expectSyncToFail(std::function<void()> const& save, std::string const& path) {
  zt_test::calls::begin("fsync directory", EIO);
  EXPECT_THROW_MESSAGE(
      save(), PackageNotSynced,
      "The new package is in place, but may not survive a power failure: " + path + ": Input/output error");
  zt_test::calls::end();
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
