// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <ios>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

namespace fs = std::filesystem;
using samples::create;
using samples::read;

constexpr int kProcesses = 8;

std::u16string partOf(int process) { return u"/part" + toString(std::to_string(process), false) + u".xml"; }

/// Runs it in so many processes at the same time; their exit codes.
std::vector<int> inProcesses(std::function<int(int)> const& action) {
  int gate[2];
  EXPECT_EQ(pipe(gate), 0);
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    pid_t const child = fork();
    if (child == 0) {
      close(gate[1]);
      char byte = 0;
      while (::read(gate[0], &byte, 1) < 0) continue;  // until all are there
      _exit(action(i));
    }
    children.push_back(child);
  }
  close(gate[0]);
  close(gate[1]);
  std::vector<int> codes;
  for (pid_t const child : children) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    codes.push_back(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
  }
  return codes;
}

enum Addition { Added = 0, Refused = 1, Failed = 2 };

int addPart(std::u16string const& path, int process) {
  try {
    auto const package = Package::open(path, AccessMode::ReadWrite);
    create(*package, partOf(process), std::string(100'000, 'x'));
    package->save();
    return Added;
  } catch (PackageHasChanged const&) {
    return Refused;
  } catch (PackageIsBusy const&) {
    return Refused;
  } catch (std::exception const&) {
    return Failed;
  }
}

class PackageSharing : public testing::Test {
 protected:
  PackageSharing() { Package::create(path_)->save(); }

  std::unique_ptr<Package> open(AccessMode mode = AccessMode::ReadWrite) const { return Package::open(path_, mode); }

  zt_test::TemporaryDirectory directory_;
  std::u16string path_ = directory_.u16("p.opc");
};

TEST_F(PackageSharing, OfEightProcessesThatAddAtOnceNoneLosesWhatItAdded) {
  auto const codes = inProcesses([this](int i) { return addPart(path_, i); });
  auto const package = open();
  for (int i = 0; i < kProcesses; ++i) {
    EXPECT_NE(codes.at(static_cast<std::size_t>(i)), Failed);
    EXPECT_EQ(package->hasPart(PartName(partOf(i))), codes.at(static_cast<std::size_t>(i)) == Added);
  }
  EXPECT_GE(std::count(codes.begin(), codes.end(), Added), 1);
}

TEST_F(PackageSharing, EightProcessesThatTryAgainAddEightParts) {
  auto const codes = inProcesses([this](int i) {
    int outcome = Refused;
    while (outcome == Refused) outcome = addPart(path_, i);
    return outcome;
  });
  EXPECT_EQ(std::count(codes.begin(), codes.end(), Added), kProcesses);
  auto const package = open();
  for (int i = 0; i < kProcesses; ++i) EXPECT_EQ(read(*package, partOf(i)), std::string(100'000, 'x'));
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_.path()), fs::directory_iterator()), 1);
}

TEST_F(PackageSharing, ProcessesThatSaveDifferentPackagesOfOneDirectoryDoNotRefuseEachOther) {
  auto const codes = inProcesses([this](int i) {
    auto const path = directory_.u16("own" + std::to_string(i));
    Package::create(path)->save();
    return addPart(path, i);
  });
  EXPECT_EQ(std::count(codes.begin(), codes.end(), Added), kProcesses);
}

TEST_F(PackageSharing, ASaveOverSomebodyElsesIsRefused) {
  auto const mine = open(), theirs = open();
  create(*theirs, u"/theirs.xml", "theirs");
  theirs->save();
  create(*mine, u"/mine.xml", "mine");
  EXPECT_THROW_MESSAGE(
      mine->save(), PackageHasChanged,
      "Could not save package: " + (directory_ / "p.opc").string() + ": it was changed since it was opened");
  EXPECT_EQ(read(*open(), u"/theirs.xml"), "theirs");
  EXPECT_EQ(read(*mine, u"/mine.xml"), "mine");
}

TEST_F(PackageSharing, ARefusedPackageCanBeSavedElsewhereAndOverTheOtherOneByRequest) {
  auto const mine = open(), theirs = open();
  create(*theirs, u"/theirs.xml", "theirs");
  theirs->save();
  create(*mine, u"/mine.xml", "mine");
  EXPECT_THROW(mine->save(), PackageHasChanged);
  EXPECT_THROW(mine->save(), PackageHasChanged);
  mine->saveAs(directory_.u16("elsewhere"));
  mine->save();
  mine->saveAs(path_, Existing::Replace);
  EXPECT_EQ(read(*open(), u"/mine.xml"), "mine");
}

TEST_F(PackageSharing, AFileWrittenInPlaceIsNotOverwritten) {
  auto const package = open();
  zt_test::writeFile(directory_ / "p.opc", "something else");
  EXPECT_THROW(package->save(), PackageHasChanged);
  EXPECT_EQ(zt_test::readFile(directory_ / "p.opc"), "something else");
}

TEST_F(PackageSharing, AFileEditedInPlaceWithItsTimePutBackIsNotOverwritten) {
  auto const package = open();
  fs::path const file = directory_ / "p.opc";
  auto const time = fs::last_write_time(file);
  std::string edited = zt_test::readFile(file);
  edited[edited.rfind("PK\1\2") + 16] ^= 1;  // a CRC in the directory
  std::ofstream(file, std::ios::in | std::ios::binary) << edited;
  fs::last_write_time(file, time);
  EXPECT_THROW(package->save(), PackageHasChanged);
  create(*package, u"/a.xml", "a");
  EXPECT_THROW(package->save(), PackageHasChanged);
  EXPECT_EQ(zt_test::readFile(file), edited);
}

TEST_F(PackageSharing, AFileWithAnotherModeAndAFurtherLinkIsTheSame) {
  auto const package = open();
  fs::permissions(directory_ / "p.opc", fs::perms::owner_read | fs::perms::owner_write);
  fs::create_hard_link(directory_ / "p.opc", directory_ / "further");
  create(*package, u"/a.xml", "a");
  package->save();
  EXPECT_EQ(read(*open(), u"/a.xml"), "a");
}

TEST_F(PackageSharing, ARemovedFileIsNotBroughtBack) {
  auto const package = open();
  fs::remove(directory_ / "p.opc");
  EXPECT_THROW(package->save(), PackageHasChanged);
  EXPECT_FALSE(fs::exists(directory_ / "p.opc"));
}

TEST_F(PackageSharing, ALinkThatWasTurnedElsewhereIsNotFollowed) {
  Package::create(directory_.u16("other"))->save();
  fs::create_symlink("p.opc", directory_ / "link");
  auto const package = Package::open(directory_.u16("link"), AccessMode::ReadWrite);
  fs::remove(directory_ / "link");
  fs::create_symlink("other", directory_ / "link");
  std::string const before = zt_test::readFile(directory_ / "other");
  create(*package, u"/a.xml", "a");
  EXPECT_THROW(package->save(), PackageHasChanged);
  EXPECT_EQ(zt_test::readFile(directory_ / "other"), before);
}

TEST_F(PackageSharing, OnesOwnSavesAreNoChange) {
  auto const package = open();
  for (auto name : {u"/a.xml", u"/b.xml", u"/c.xml"}) {
    create(*package, name, "text");
    package->save();
  }
  package->saveAs(directory_.u16("second"));
  package->save();
  EXPECT_EQ(Package::open(directory_.u16("second"), AccessMode::ReadOnly)->getPartNames().size(), 3u);
}

TEST_F(PackageSharing, AReaderHasOneViewHoweverOftenOthersSave) {
  auto const writer = open();
  Part const part = create(*writer, u"/a.bin", "first");
  create(*writer, u"/b.bin", "first");
  writer->save();
  auto const reader = open(AccessMode::ReadOnly);
  auto const stream = reader->getPart(PartName(u"/a.bin")).getInputStream();
  for (int i = 0; i < 3; ++i) {
    samples::write(part, "later");
    writer->save();
  }
  EXPECT_EQ(zt_test::readAll(*stream), "first");
  EXPECT_EQ(samples::snapshot(*reader),
            (std::vector<std::string>{"/a.bin application/xml first", "/b.bin application/xml first"}));
}

TEST_F(PackageSharing, StreamsFromBeforeASaveReadOnAfterIt) {
  auto const package = open();
  std::string const text(3'000'000, 'x');
  Part const part = create(*package, u"/a.bin", text);
  auto const fromSpool = part.getInputStream();
  package->save();
  auto const fromFile = part.getInputStream();
  samples::write(part, "new");
  package->save();
  EXPECT_TRUE(zt_test::readAll(*fromSpool) == text);
  EXPECT_TRUE(zt_test::readAll(*fromFile) == text);
}

}  // namespace
}  // namespace opc::model
