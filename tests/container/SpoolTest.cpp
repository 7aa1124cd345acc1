// SPDX-License-Identifier: Apache-2.0
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "container/Spool.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

std::string read(Spool const& spool, std::uint64_t offset, std::size_t count) {
  std::string bytes(count, '\0');
  spool.readAt(offset, bytes.data(), count);
  return bytes;
}

TEST(Spool, StaysInMemoryUpToItsLimit) {
  Spool spool("/nowhere", 100);
  EXPECT_EQ(spool.append("abc", 3), 0u);
  EXPECT_EQ(spool.append(std::string(97, 'x').data(), 97), 3u);
  EXPECT_EQ(spool.descriptor(), -1);
  EXPECT_EQ(read(spool, 1, 4), "bcxx");
}

TEST(Spool, MovesIntoAFileBeyondItsLimit) {
  TemporaryDirectory directory;
  Spool spool(directory.path().string(), 100);
  std::string const first = incompressible(90, 1), second = incompressible(90, 2);
  spool.append(first.data(), first.size());
  EXPECT_EQ(spool.append(second.data(), second.size()), 90u);
  EXPECT_EQ(read(spool, 0, 180), first + second);
  EXPECT_GE(spool.descriptor(), 0);
  EXPECT_EQ(read(spool, 0, 180), first + second);
  EXPECT_EQ(spool.size(), 180u);
}

TEST(Spool, ReadsAcrossWhatIsInTheFileAndWhatIsNot) {
  TemporaryDirectory directory;
  Spool spool(directory.path().string(), 0);
  std::string all;
  for (std::size_t const size : {1000ul, 2'000'000ul, 5ul, 900'000ul, 300'000ul, 1ul << 20, 7ul}) {
    std::string const bytes = incompressible(size, static_cast<std::uint32_t>(size));
    EXPECT_EQ(spool.append(bytes.data(), size), all.size());
    all += bytes;
    EXPECT_TRUE(read(spool, 0, all.size()) == all);
  }
  for (std::size_t at = 0; at + 70'000 < all.size(); at += 60'001)
    EXPECT_TRUE(read(spool, at, 70'000) == all.substr(at, 70'000));
}

TEST(Spool, HasAPrivateFileWithoutAName) {
  TemporaryDirectory directory;
  Spool spool(directory.path().string(), 0);
  spool.append("x", 1);
  struct stat status {};
  ASSERT_EQ(fstat(spool.descriptor(), &status), 0);
  EXPECT_EQ(status.st_mode & 077, 0u);
  EXPECT_EQ(status.st_nlink, 0u);
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(Spool, TakesTheSystemsTemporaryDirectoryWhenNoneIsGiven) {
  Spool spool("", 0);
  spool.append("abc", 3);
  EXPECT_GE(spool.descriptor(), 0);
  EXPECT_EQ(read(spool, 0, 3), "abc");
}

TEST(Spool, ReportsAMissingDirectoryAndStaysUsable) {
  TemporaryDirectory directory;
  std::string const gone = (directory / "gone").string();
  Spool spool(gone, 10);
  spool.append("abc", 3);
  try {
    spool.append("0123456789", 10);
    FAIL() << "it did not throw";
  } catch (CouldNotSavePackage const& thrown) {
    EXPECT_EQ(thrown.what(), "Could not save package: " + gone + ": No such file or directory");
    EXPECT_EQ(thrown.getErrorCode().value(), ENOENT);
  }
  EXPECT_EQ(spool.size(), 3u);
  EXPECT_EQ(spool.append("def", 3), 3u);
  EXPECT_EQ(read(spool, 0, 6), "abcdef");
  std::filesystem::create_directory(gone);
  EXPECT_EQ(spool.append("0123456789", 10), 6u);
  EXPECT_EQ(read(spool, 0, 16), "abcdef0123456789");
}

TEST(Spool, RefusesADirectoryNameWithANul) {
  Spool spool(std::string("/tmp\0x", 6), 0);
  EXPECT_THROW(spool.append("x", 1), CouldNotSavePackage);
}

TEST(Spool, ReportsAFullDiskAndGoesOnWhenThereIsRoom) {
  TemporaryDirectory directory;
  if (mount("none", directory.path().c_str(), "tmpfs", 0, "size=2m") != 0) GTEST_SKIP() << "cannot mount a small disk";
  {
    Spool spool(directory.path().string(), 0);
    std::string const bytes = incompressible(1'500'000);
    spool.append(bytes.data(), bytes.size());
    try {
      spool.append(bytes.data(), bytes.size());
      ADD_FAILURE() << "it did not throw";
    } catch (CouldNotSavePackage const& thrown) {
      EXPECT_EQ(thrown.getErrorCode().value(), ENOSPC);
    }
    EXPECT_EQ(spool.append("end", 3), bytes.size());
    EXPECT_TRUE(read(spool, 0, bytes.size() + 3) == bytes + "end");
  }
  EXPECT_EQ(umount(directory.path().c_str()), 0);
}

TEST(Spool, GivesBackWhatItWritesBehind) {
  TemporaryDirectory directory;
  Spool spool(directory.path().string(), 0);
  spool.setWritesBehind(true);
  std::string const bytes = incompressible(700'000);
  for (std::uint64_t i = 0; i < 4; ++i) EXPECT_EQ(spool.append(bytes.data(), bytes.size()), i * bytes.size());
  EXPECT_TRUE(read(spool, bytes.size(), 3 * bytes.size()) == bytes + bytes + bytes);
}

TEST(Spool, ReportsWhatFailedBehindAndLosesNothing) {
  TemporaryDirectory directory;
  if (mount("none", directory.path().c_str(), "tmpfs", 0, "size=2m") != 0) GTEST_SKIP() << "cannot mount a small disk";
  {
    Spool spool(directory.path().string(), 0);
    spool.setWritesBehind(true);
    std::string const bytes = incompressible(400'000);
    std::string taken;
    try {
      for (;;) {
        EXPECT_EQ(spool.append(bytes.data(), bytes.size()), taken.size());
        taken += bytes;
        ASSERT_LT(taken.size(), 8'000'000u);
      }
    } catch (CouldNotSavePackage const& thrown) {
      EXPECT_EQ(thrown.getErrorCode().value(), ENOSPC);
    }
    EXPECT_THROW(read(spool, 0, taken.size()), CouldNotSavePackage);
    EXPECT_EQ(mount("none", directory.path().c_str(), "tmpfs", MS_REMOUNT, "size=16m"), 0);
    EXPECT_TRUE(read(spool, 0, taken.size()) == taken);
  }
  EXPECT_EQ(umount(directory.path().c_str()), 0);
}

TEST(Spool, RefusesToReadBeyondItsEnd) {
  Spool spool("");
  spool.append("abc", 3);
  EXPECT_THROW(read(spool, 2, 2), CouldNotSavePackage);
  EXPECT_THROW(read(spool, 4, 0), CouldNotSavePackage);
}

TEST(Spool, IsLentToOneBorrowerAtATimeAndThenAnotherOne) {
  auto const spool = std::make_shared<Spool>("");
  EXPECT_EQ(Spool::borrow(spool), spool);
  auto const second = Spool::borrow(spool);
  EXPECT_NE(second, spool);
  EXPECT_NE(Spool::borrow(spool), second);
  second->giveBack();
  EXPECT_EQ(Spool::borrow(spool), second);
  spool->giveBack();
  EXPECT_EQ(Spool::borrow(spool), spool);
}

TEST(Spool, OverwritesBytesInItsFileAndInMemory) {
  for (std::size_t const limit : {std::size_t{0}, Spool::kMemoryLimit}) {
    Spool spool("", limit);
    std::string expected = zt_test::compressible(3u << 20);
    spool.append(expected.data(), expected.size());
    spool.append("0123456789", 10);
    expected += "0123456789";
    std::size_t const at = (3u << 20) - 3;
    spool.overwrite(at, "overwrite", 9);
    expected.replace(at, 9, "overwrite");
    spool.overwrite(0, "begin", 5);
    expected.replace(0, 5, "begin");
    EXPECT_TRUE(read(spool, 0, expected.size()) == expected);
    EXPECT_THROW(spool.overwrite(expected.size() - 1, "ab", 2), CouldNotSavePackage);
  }
}

TEST(Spool, DropsItsEnd) {
  for (std::size_t const limit : {std::size_t{0}, Spool::kMemoryLimit}) {
    Spool spool("", limit);
    std::string const text = zt_test::compressible(3u << 20);
    spool.append(text.data(), text.size());
    spool.append("0123456789", 10);
    spool.cut(text.size() + 4);
    EXPECT_EQ(spool.size(), text.size() + 4);
    spool.cut(100);
    EXPECT_EQ(spool.append("more", 4), 100u);
    EXPECT_EQ(read(spool, 96, 8), text.substr(96, 4) + "more");
  }
}

TEST(Spool, SharesAFileThatHoldsExactlyItsBytes) {
  TemporaryDirectory const directory;
  auto const spool = std::make_shared<Spool>(directory.path().string(), 0);
  spool->append("first", 5);
  spool->append("second", 6);
  opc::FileHandle const file = spool->shareFile();
  ASSERT_TRUE(file.isOpen());
  struct stat status {};
  boost::system::error_code error;
  ASSERT_TRUE(file.getStatus(status, error));
  EXPECT_EQ(status.st_size, 11);
  EXPECT_EQ(read(*spool, 0, 11), "firstsecond");
  EXPECT_NE(Spool::borrow(spool), spool);  // so nothing is appended to the file
  EXPECT_FALSE(spool->shareFile().isOpen());
}

TEST(Spool, SharesNoFileWhileItIsLentOrInMemory) {
  TemporaryDirectory const directory;
  auto const inMemory = std::make_shared<Spool>(directory.path().string());
  inMemory->append("abc", 3);
  EXPECT_FALSE(inMemory->shareFile().isOpen());
  auto const lent = std::make_shared<Spool>(directory.path().string(), 0);
  lent->append("abc", 3);
  EXPECT_EQ(Spool::borrow(lent), lent);
  EXPECT_FALSE(lent->shareFile().isOpen());
}

TEST(Spool, TakesTheSystemsTemporaryDirectoryWhereItsOwnMayNotBeWritten) {
  TemporaryDirectory directory;
  ASSERT_EQ(chmod(directory.path().c_str(), 0555), 0);
  uid_t const user = geteuid();
  ASSERT_EQ(seteuid(user == 0 ? 65534 : user), 0);  // whom permissions stop
  Spool spool(directory.path().string(), 0);
  EXPECT_NO_THROW(spool.append("abc", 3));
  EXPECT_EQ(seteuid(user), 0);
  EXPECT_EQ(chmod(directory.path().c_str(), 0755), 0);
  EXPECT_EQ(read(spool, 0, 3), "abc");
  EXPECT_GE(spool.descriptor(), 0);
  EXPECT_FALSE(spool.shareFile().isOpen());  // a package beside the directory could not take it over
}

}  // namespace
}  // namespace opc::model::zip
