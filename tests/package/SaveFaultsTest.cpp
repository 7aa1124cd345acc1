// SPDX-License-Identifier: Apache-2.0
// Each system call of an edit and its save goes wrong once, in each way that the system knows.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "allocation/FailingAllocations.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "package/ModelSamples.hpp"
#include "package/SystemCalls.hpp"
#include "support/BoundedRun.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

namespace calls = zt_test::calls;
namespace fs = std::filesystem;

/// Bytes that no deflater makes smaller.
std::string incompressible(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint64_t state = 88172645463325252u;
  for (char& byte : bytes) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    byte = static_cast<char>(state);
  }
  return bytes;
}

/// A package that has what each way of writing needs: items that are copied by the kernel and by hand, a part
/// that outgrows the spool's memory, a small one, relationships.
class SaveFaults : public testing::Test {
 protected:
  SaveFaults() {
    auto const package = Package::create(directory_.u16("p.opc"));
    samples::create(*package, u"/kept.bin", incompressible(400'000));
    samples::create(*package, u"/kept.xml", "kept");
    samples::create(*package, u"/large.bin", "old");
    package->save();
    old_ = zt_test::readFile(path_);
    auto const edited = opened();
    edit(*edited);
    new_ = zt_test::readFile(path_);
    EXPECT_NE(old_, new_);
  }

  std::unique_ptr<Package> opened() const { return Package::open(directory_.u16("p.opc"), AccessMode::ReadWrite); }

  void edit(Package& package) const {
    samples::write(package.getPart(PartName(u"/large.bin")), large_);
    if (!package.hasPart(PartName(u"/new.xml"))) samples::create(package, u"/new.xml");
    samples::write(package.getPart(PartName(u"/new.xml")), "new");
    if (package.getRelationships().empty()) package.createInternalRelationship(u"urn:x", URI(u"new.xml"));
    package.save();
  }

  void restore() const {
    for (auto const& entry : fs::directory_iterator(directory_.path())) fs::remove(entry);
    zt_test::writeFile(path_, old_);
  }

  std::size_t countFiles() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory_.path()), fs::directory_iterator()));
  }

  bool isOld() const { return zt_test::readFile(path_) == old_; }
  bool isNew() const { return zt_test::readFile(path_) == new_; }

  /// The edit with that call gone wrong. The file is then what the outcome says, nothing else is left, and the
  /// package can save again. False when there are fewer calls.
  bool survives(int number, calls::Fault fault, int error) {
    restore();
    auto const package = opened();
    std::string thrown;
    calls::begin(number, fault, error);
    try {
      edit(*package);
    } catch (CouldNotSavePackage const& e) {
      thrown = e.what();
    } catch (CouldNotOpenPackage const& e) {  // what is copied could not be read
      thrown = e.what();
    }
    auto const seen = calls::end();
    if (!seen.faulted) return false;
    std::string const name = seen.names.at(static_cast<std::size_t>(number) - 1);
    failures_ += thrown.empty() ? 0 : 1;
    SCOPED_TRACE("call " + std::to_string(number) + ", " + name + ": " + thrown);
    bool const isReplaced = thrown.empty() || name == "fsync directory";
    EXPECT_TRUE(isReplaced ? isNew() : isOld());
    EXPECT_EQ(countFiles(), 1u);
    edit(*package);
    EXPECT_TRUE(isNew());
    EXPECT_EQ(countFiles(), 1u);
    return true;
  }

  /// The number of calls at which the edit was tried.
  int survivesAll(calls::Fault fault, int error = 0) {
    int number = 1;
    while (survives(number, fault, error)) ++number;
    return number - 1;
  }

  zt_test::TemporaryDirectory directory_;
  fs::path path_ = directory_ / "p.opc";
  std::string large_ = incompressible(5'000'000);
  std::string old_, new_;
  int failures_ = 0;
};

TEST_F(SaveFaults, AnErrorAtAnyCallIsReportedOrOfNoConsequence) {
  EXPECT_GT(survivesAll(calls::Fault::Fails, EIO), 30);
  EXPECT_GT(failures_, 20);
}

TEST_F(SaveFaults, AFullDiskAtAnyCallIsReportedOrOfNoConsequence) {
  EXPECT_GT(survivesAll(calls::Fault::Fails, ENOSPC), 30);
  EXPECT_GT(failures_, 20);
}

TEST_F(SaveFaults, AnInterruptedCallIsMadeAgain) { EXPECT_GT(survivesAll(calls::Fault::Interrupted), 30); }

TEST_F(SaveFaults, AShortTransferIsCompleted) {
  EXPECT_GT(survivesAll(calls::Fault::Short), 30);
  EXPECT_EQ(failures_, 0);
}

/// The process that edits dies before the call of that number. False when there are fewer calls.
bool diesAt(int number, Package& package, std::function<void(Package&)> const& edit) {
  pid_t const child = fork();
  if (child == 0) {
    calls::begin(number, calls::Fault::Killed);
    edit(package);
    calls::end();
    _exit(0);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) ? WTERMSIG(status) == SIGKILL : WEXITSTATUS(status) == 0);
  return WIFSIGNALED(status);
}

TEST_F(SaveFaults, AKilledProcessLeavesTheWholeOldOrTheWholeNewPackage) {
  int olds = 0, news = 0, leftovers = 0;
  for (int number = 1;; ++number) {
    restore();
    if (!diesAt(number, *opened(), [this](Package& package) { edit(package); })) break;
    SCOPED_TRACE(number);
    bool const old = isOld();
    ++(old ? olds : news);
    EXPECT_TRUE(old || isNew());
    leftovers += countFiles() > 1 ? 1 : 0;
    edit(*opened());
    EXPECT_TRUE(isNew());
    EXPECT_EQ(countFiles(), 1u);
  }
  EXPECT_GT(olds, 20);
  EXPECT_GT(news, 1);
  EXPECT_GT(leftovers, 5);
}

std::size_t lastOf(std::vector<std::string> const& names, char const* name) {
  return static_cast<std::size_t>(names.rend() - std::find(names.rbegin(), names.rend(), name));
}

std::size_t firstOf(std::vector<std::string> const& names, char const* name) {
  return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin()) + 1;
}

TEST_F(SaveFaults, EverythingIsWrittenThenSyncedThenRenamedThenTheDirectorySynced) {
  restore();
  auto const package = opened();
  calls::begin(0, calls::Fault::None);
  edit(*package);
  auto const names = calls::end().names;
  EXPECT_LT(lastOf(names, "write"), firstOf(names, "fsync"));
  EXPECT_LT(lastOf(names, "copy_file_range"), firstOf(names, "fsync"));
  EXPECT_LT(lastOf(names, "fchmod"), firstOf(names, "fsync"));
  EXPECT_LT(lastOf(names, "fsync"), firstOf(names, "renameat2"));
  EXPECT_LT(lastOf(names, "renameat2"), firstOf(names, "fsync directory"));
  EXPECT_EQ(firstOf(names, "renameat2"), lastOf(names, "renameat2"));
  EXPECT_LT(firstOf(names, "fsync directory"), names.size() + 1);
}

TEST_F(SaveFaults, TheFileIsComparedUnderTheLockRightBeforeTheRename) {
  restore();
  auto const package = opened();
  calls::begin(0, calls::Fault::None);
  edit(*package);
  auto const names = calls::end().names;
  auto const rename = std::find(names.begin(), names.end(), "renameat2");
  ASSERT_GE(rename - names.begin(), 3);
  EXPECT_EQ((std::vector<std::string>(rename - 3, rename + 2)),
            (std::vector<std::string>{"flock", "fstatat", "close", "renameat2", "flock"}));
}

TEST_F(SaveFaults, AFileThatCannotBeSyncedIsNotSaved) {
  restore();
  auto const package = opened();
  calls::begin("fsync", EIO);
  EXPECT_THROW_MESSAGE(edit(*package), CouldNotSavePackage,
                       "Could not save package: " + path_.string() + ": Input/output error");
  calls::end();
  EXPECT_TRUE(isOld());
}

TEST_F(SaveFaults, ASaveAfterAFolderThatCouldNotBeSyncedSyncsItAgain) {
  restore();
  auto const package = opened();
  calls::begin("fsync directory", EIO);
  EXPECT_THROW(edit(*package), PackageNotSynced);
  calls::end();
  EXPECT_TRUE(isNew());
  calls::begin(0, calls::Fault::None);
  package->save();
  auto const names = calls::end().names;
  EXPECT_NE(std::find(names.begin(), names.end(), "fsync directory"), names.end());
}

TEST_F(SaveFaults, AFileThatCannotBeClosedIsNotSaved) {
  restore();
  auto const package = opened();
  calls::begin("close", EDQUOT);
  EXPECT_THROW_MESSAGE(edit(*package), CouldNotSavePackage,
                       "Could not save package: " + path_.string() + ": Disk quota exceeded");
  calls::end();
  EXPECT_TRUE(isOld());
  EXPECT_EQ(countFiles(), 1u);
}

/// Core properties that cannot be read for now are not taken for damaged ones, which a change would replace.
class CorePropertiesFaults : public testing::Test {
 protected:
  CorePropertiesFaults() {
    auto const package = Package::create(directory_.u16("p.opc"));
    CoreProperties properties;
    properties.setTitle(u"title");
    PackageHelper::createOrUpdateCoreProperties(*package, properties);
    samples::create(*package, u"/long.bin", std::string(100'000, 'x'));
    package->save();
  }

  std::unique_ptr<Package> opened() const { return Package::open(directory_.u16("p.opc"), AccessMode::ReadOnly); }

  static void expectAll(Package const& package) {
    std::vector<std::string> faults;
    EXPECT_EQ(PackageHelper::getCoreProperties(package, faults).getTitle(), u"title");
    EXPECT_TRUE(faults.empty());
  }

  zt_test::TemporaryDirectory directory_;
};

TEST_F(CorePropertiesFaults, AReadThatFailsIsNoDamage) {
  int failures = 0;
  for (int number = 1;; ++number) {
    auto const package = opened();
    calls::begin(number, calls::Fault::Fails, EIO);
    try {
      expectAll(*package);
    } catch (Exception const& error) {
      EXPECT_TRUE(error.getErrorCode());
      ++failures;
    }
    if (!calls::end().faulted) break;
  }
  EXPECT_GT(failures, 0);
}

TEST_F(CorePropertiesFaults, MemoryThatRunsOutIsNoDamage) {
  if (zt_test::kUnderAddressSanitizer) GTEST_SKIP() << "the parser leaks what it holds when its memory runs out";
  int failures = 0;
  for (std::size_t number = 1;; ++number) {
    auto const package = opened();
    zt_test::allocationsUntilFailure = number;
    try {
      expectAll(*package);
    } catch (std::bad_alloc const&) {
      ++failures;
    }
    bool const isReached = zt_test::allocationsUntilFailure == 0;
    zt_test::allocationsUntilFailure = 0;
    if (!isReached) break;
  }
  EXPECT_GT(failures, 50);
}

}  // namespace
}  // namespace opc::model
