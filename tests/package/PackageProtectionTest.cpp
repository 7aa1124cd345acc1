// SPDX-License-Identifier: Apache-2.0
// Who may read and write the file of a package before and after a save.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "io/FileHandle.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kNobody = 65534;
constexpr char kAccessList[] = "system.posix_acl_access", kDefaultList[] = "system.posix_acl_default";

/// Somebody without the rights of root: nobody where the tests run as root, otherwise the user who runs them.
class OrdinaryUser {
 public:
  OrdinaryUser() { EXPECT_TRUE(!isRoot_ || (setegid(kNobody) == 0 && seteuid(kNobody) == 0)); }
  ~OrdinaryUser() { EXPECT_TRUE(!isRoot_ || (seteuid(0) == 0 && setegid(0) == 0)); }
  OrdinaryUser(OrdinaryUser const&) = delete;
  OrdinaryUser& operator=(OrdinaryUser const&) = delete;

 private:
  bool isRoot_ = geteuid() == 0;
};

/// An access list as the kernel passes it: tag, permissions and id of each entry.
class AccessList {
 public:
  AccessList& add(std::uint16_t tag, std::uint16_t permissions, std::uint32_t id = UINT32_MAX) {
    for (unsigned shift : {0U, 8U}) bytes_ += static_cast<char>(tag >> shift);
    for (unsigned shift : {0U, 8U}) bytes_ += static_cast<char>(permissions >> shift);
    for (unsigned shift : {0U, 8U, 16U, 24U}) bytes_ += static_cast<char>(id >> shift);
    return *this;
  }
  std::string const& bytes() const { return bytes_; }

 private:
  std::string bytes_ = std::string("\2\0\0\0", 4);
};

constexpr std::uint16_t kOwner = 1, kUser = 2, kGroup = 4, kMask = 0x10, kOthers = 0x20;

/// Read and write for the owner and for nobody, nothing for the group.
AccessList sharedWithNobody() {
  return AccessList().add(kOwner, 6).add(kUser, 6, kNobody).add(kGroup, 0).add(kMask, 6).add(kOthers, 0);
}

bool setAttribute(fs::path const& path, char const* name, std::string const& value) {
  return setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

/// Empty where the file has no such attribute.
std::string attribute(fs::path const& path, char const* name) {
  std::array<char, 1024> value{};
  auto const size = getxattr(path.c_str(), name, value.data(), value.size());
  return size < 0 ? std::string() : std::string(value.data(), static_cast<std::size_t>(size));
}

class PackageProtection : public testing::Test {
 protected:
  PackageProtection() {
    EXPECT_EQ(chmod(directory_.path().c_str(), 0777), 0);
    OrdinaryUser const user;
    Package::create(path_)->save();
  }

  std::unique_ptr<Package> changed() const {
    auto package = Package::open(path_, AccessMode::ReadWrite);
    samples::create(*package, u"/new.xml", "new");
    return package;
  }

  struct stat status() const {
    struct stat status {};
    EXPECT_EQ(stat(file_.c_str(), &status), 0);
    return status;
  }

  zt_test::TemporaryDirectory directory_;
  std::u16string path_ = directory_.u16("p.opc");
  fs::path file_ = directory_ / "p.opc";
};

TEST_F(PackageProtection, AFileThatMayNotBeWrittenIsNotOpenedForWriting) {
  ASSERT_EQ(chmod(file_.c_str(), 0444), 0);
  OrdinaryUser const user;
  EXPECT_THROW_MESSAGE(Package::open(path_, AccessMode::ReadWrite), CouldNotOpenPackage,
                       "Could not open package: " + file_.string() + ": Permission denied");
  EXPECT_NO_THROW(Package::open(path_, AccessMode::ReadOnly));
}

TEST_F(PackageProtection, AFileThatMayNoLongerBeWrittenIsNotReplaced) {
  OrdinaryUser const user;
  auto const package = changed();
  std::string const before = zt_test::readFile(file_);
  ASSERT_EQ(chmod(file_.c_str(), 0444), 0);
  EXPECT_THROW_MESSAGE(package->save(), CouldNotSavePackage,
                       "Could not save package: " + file_.string() + ": Permission denied");
  EXPECT_EQ(zt_test::readFile(file_), before);
}

TEST_F(PackageProtection, ANewPackageDoesNotReplaceAFileThatMayNotBeWritten) {
  OrdinaryUser const user;
  ASSERT_EQ(chmod(file_.c_str(), 0444), 0);
  std::string const before = zt_test::readFile(file_);
  auto const package = Package::create(path_, Existing::Replace);
  samples::create(*package, u"/new.xml", "new");
  EXPECT_THROW(package->save(), CouldNotSavePackage);
  EXPECT_EQ(zt_test::readFile(file_), before);
}

TEST_F(PackageProtection, ASaveKeepsOwnerAndGroup) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  ASSERT_EQ(chown(file_.c_str(), 12345, 12346), 0);
  ASSERT_EQ(chmod(file_.c_str(), 0640), 0);
  changed()->save();
  EXPECT_EQ(status().st_uid, 12345U);
  EXPECT_EQ(status().st_gid, 12346U);
  EXPECT_EQ(status().st_mode & 07777, 0640U);
}

TEST_F(PackageProtection, ASaveThatWouldChangeTheOwnerIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  ASSERT_EQ(chown(file_.c_str(), 0, 12346), 0);
  ASSERT_EQ(chmod(file_.c_str(), 0666), 0);
  std::string const before = zt_test::readFile(file_);
  {
    OrdinaryUser const user;
    auto const package = changed();
    EXPECT_THROW_MESSAGE(
        package->save(), CouldNotSavePackage,
        "Could not save package: " + file_.string() + ": its owner or group would change: Operation not permitted");
  }
  EXPECT_EQ(zt_test::readFile(file_), before);
  EXPECT_EQ(status().st_uid, 0U);
  EXPECT_EQ(status().st_gid, 12346U);
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_.path()), fs::directory_iterator()), 1);
}

TEST_F(PackageProtection, AProtectedFileIsOpenedAndReplacedByRequest) {
  ASSERT_EQ(chmod(file_.c_str(), 0444), 0);
  OrdinaryUser const user;
  auto const package = Package::open(path_, AccessMode::ReadWrite, {.openProtected = true});
  samples::create(*package, u"/new.xml", "new");
  EXPECT_THROW(package->save(), CouldNotSavePackage);
  package->saveAs(directory_.u16("elsewhere"));
  EXPECT_EQ(samples::read(*Package::open(directory_.u16("elsewhere"), AccessMode::ReadOnly), u"/new.xml"), "new");
  package->saveAs(path_, Existing::Replace, {.replaceProtected = true});
  EXPECT_EQ(samples::read(*Package::open(path_, AccessMode::ReadOnly), u"/new.xml"), "new");
  EXPECT_EQ(status().st_mode & 07777, 0444U);
}

TEST_F(PackageProtection, AnotherOwnersFileIsReplacedByRequestWithoutRightsForAnotherGroup) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  ASSERT_EQ(chown(file_.c_str(), 0, 12346), 0);
  ASSERT_EQ(chmod(file_.c_str(), 0666), 0);
  auto const list = AccessList().add(kOwner, 6).add(kUser, 6, kNobody).add(kGroup, 6).add(kMask, 6).add(kOthers, 6);
  bool const hasList = setAttribute(file_, kAccessList, list.bytes());
  {
    OrdinaryUser const user;
    changed()->save({.replaceProtected = true});
  }
  EXPECT_EQ(status().st_uid, kNobody);
  EXPECT_EQ(status().st_gid, kNobody);
  auto const narrowed = AccessList().add(kOwner, 6).add(kUser, 6, kNobody).add(kGroup, 0).add(kMask, 6).add(kOthers, 6);
  EXPECT_EQ(attribute(file_, kAccessList), hasList ? narrowed.bytes() : std::string());
  EXPECT_EQ(status().st_mode & 07777, hasList ? 0666U : 0606U);
}

TEST_F(PackageProtection, ASaveKeepsTheAccessList) {
  std::string const list = sharedWithNobody().bytes();
  if (!setAttribute(file_, kAccessList, list)) GTEST_SKIP() << "no access lists here";
  changed()->save();
  EXPECT_EQ(attribute(file_, kAccessList), list);
  EXPECT_EQ(status().st_mode & 07777, 0660U);
}

TEST_F(PackageProtection, ASaveKeepsUserAttributes) {
  if (!setAttribute(file_, "user.origin", "a place")) GTEST_SKIP() << "no user attributes here";
  ASSERT_TRUE(setAttribute(file_, "user.empty", ""));
  changed()->save();
  EXPECT_EQ(attribute(file_, "user.origin"), "a place");
  EXPECT_EQ(getxattr(file_.c_str(), "user.empty", nullptr, 0), 0);
}

TEST_F(PackageProtection, AListOfTheFolderDoesNotWidenAFileThatIsSaved) {
  ASSERT_EQ(chmod(file_.c_str(), 0600), 0);
  auto const list = sharedWithNobody().bytes();
  if (!setAttribute(directory_.path(), kDefaultList, list)) GTEST_SKIP() << "no access lists here";
  changed()->save();
  EXPECT_EQ(attribute(file_, kAccessList), "");
  EXPECT_EQ(status().st_mode & 07777, 0600U);
}

TEST_F(PackageProtection, ANewPackageIsProtectedAsAnyNewFileOfItsFolder) {
  auto const list = AccessList().add(kOwner, 7).add(kUser, 5, kNobody).add(kGroup, 7).add(kMask, 5).add(kOthers, 0);
  if (!setAttribute(directory_.path(), kDefaultList, list.bytes())) GTEST_SKIP() << "no access lists here";
  boost::system::error_code error;
  FileHandle::openAt(AT_FDCWD, (directory_ / "other").c_str(), O_CREAT | O_WRONLY, 0666, error);
  ASSERT_FALSE(error);
  Package::create(directory_.u16("new.opc"))->save();
  ASSERT_NE(attribute(directory_ / "other", kAccessList), "");
  EXPECT_EQ(attribute(directory_ / "new.opc", kAccessList), attribute(directory_ / "other", kAccessList));
  EXPECT_EQ(fs::status(directory_ / "new.opc").permissions(), fs::status(directory_ / "other").permissions());
}

TEST_F(PackageProtection, ALockOfTheFolderStopsNoSave) {
  boost::system::error_code error;
  FileHandle const folder = FileHandle::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY, error);
  folder.tryLock(error);
  ASSERT_FALSE(error);
  EXPECT_NO_THROW(changed()->save());
  EXPECT_EQ(Package::open(path_, AccessMode::ReadOnly)->getPartNames().size(), 1U);
}

}  // namespace
}  // namespace opc::model
