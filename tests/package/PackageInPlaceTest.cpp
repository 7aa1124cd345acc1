// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "package/SystemCalls.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

using samples::create;
using samples::read;

/// More of these than memory holds make a new package that is written where it is to stay.
constexpr int kParts = 5;
constexpr std::size_t kSize = 1'200'000;

std::string randomBytes(std::size_t size, unsigned seed) {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (std::size_t at = 0; at + sizeof(std::uint32_t) <= size; at += sizeof(std::uint32_t)) {
    auto const number = static_cast<std::uint32_t>(generator());
    std::memcpy(&bytes[at], &number, sizeof number);
  }
  return bytes;
}

std::u16string nameOf(int number) { return u"/" + toString(std::to_string(number), false) + u".bin"; }

class PackageInPlace : public testing::Test {
 protected:
  /// With parts in an order that is not that of their names.
  std::unique_ptr<Package> large(std::string const& name = "p.opc", unsigned threads = 0) {
    auto package = Package::create(directory_.u16(name), Existing::Replace);
    package->setCompressionThreads(threads);
    for (int i = kParts; i-- > 0;) create(*package, nameOf(i), randomBytes(kSize, static_cast<unsigned>(i)));
    return package;
  }

  std::string pathOf(char const* name = "p.opc") const { return (directory_.path() / name).string(); }
  std::string bytesOf(char const* name = "p.opc") const { return zt_test::readFile(directory_.path() / name); }

  std::vector<std::string> itemNames(char const* name = "p.opc") const {
    std::string const bytes = bytesOf(name);
    std::vector<std::string> names;
    for (auto const& item : samples::itemsOf(Bytes(bytes.begin(), bytes.end()))) names.push_back(item.name);
    return names;
  }

  void expectWhole(Package const& package) {
    for (int i = 0; i < kParts; ++i)
      EXPECT_TRUE(read(package, nameOf(i)) == randomBytes(kSize, static_cast<unsigned>(i)));
  }
  void expectWhole(char const* name = "p.opc") {
    expectWhole(*Package::open(directory_.u16(name), AccessMode::ReadOnly));
  }

  static inline std::vector<std::string> const kAsWritten{
      "[Content_Types].xml", "4.bin", "3.bin", "2.bin", "1.bin", "0.bin"};
  static inline std::vector<std::string> const kAsNamed{
      "[Content_Types].xml", "0.bin", "1.bin", "2.bin", "3.bin", "4.bin"};

  zt_test::TemporaryDirectory directory_;
};

TEST_F(PackageInPlace, KeepsItemsInTheOrderOfWritingBehindTheContentTypes) {
  auto const package = large();
  package->save();
  EXPECT_EQ(itemNames(), kAsWritten);
  expectWhole();
  expectWhole(*package);
}

TEST_F(PackageInPlace, WritesNoByteOfAContentTwice) {
  auto const package = large();
  zt_test::calls::begin(0, zt_test::calls::Fault::None);
  package->save();
  auto const names = zt_test::calls::end().names;
  EXPECT_EQ(std::count(names.begin(), names.end(), "copy_file_range"), 0);
  EXPECT_EQ(std::count(names.begin(), names.end(), "linkat"), 1);
}

TEST_F(PackageInPlace, HasTheSameBytesForAnyNumberOfThreads) {
  large()->save();
  for (unsigned const threads : {1u, 2u, 5u}) {
    large("q.opc", threads)->save();
    EXPECT_TRUE(bytesOf("q.opc") == bytesOf()) << threads;
    std::filesystem::remove(directory_.path() / "q.opc");
  }
}

TEST_F(PackageInPlace, HasLongContentsBehindTheirHeaders) {
  for (auto const compression : {CompressionType::Content, CompressionType::Stored}) {
    auto const package = Package::create(directory_.u16("p.opc"), Existing::Replace);
    std::string const text = samples::numberText(7'000'001);
    Part const part =
        package->createPart(PartName(u"/long.txt"), ContentType(u"text/plain"), StandardPartInfo(compression));
    samples::write(part, text);
    create(*package, u"/a.bin", randomBytes(5'000'000, 1));
    package->save();
    EXPECT_EQ(itemNames(), (std::vector<std::string>{"[Content_Types].xml", "long.txt", "a.bin"}));
    EXPECT_TRUE(read(*Package::open(directory_.u16("p.opc"), AccessMode::ReadOnly), u"/long.txt") == text);
  }
}

TEST_F(PackageInPlace, IsWrittenAnewWhereAContentWasReplaced) {
  auto const package = large();
  samples::write(package->getPart(PartName(nameOf(2))), randomBytes(kSize, 2));
  package->save();
  EXPECT_EQ(itemNames(), kAsNamed);
  expectWhole();
}

TEST_F(PackageInPlace, IsWrittenAnewWhereAPartWasDeleted) {
  auto const package = large();
  std::string const secret = randomBytes(kSize, 99);
  create(*package, u"/secret.bin", secret);
  package->deletePart(PartName(u"/secret.bin"));
  package->save();
  EXPECT_EQ(itemNames(), kAsNamed);
  EXPECT_EQ(bytesOf().find(secret.substr(0, 100)), std::string::npos);
}

TEST_F(PackageInPlace, KeepsNothingOfAStreamThatWasAbandoned) {
  for (unsigned const threads : {0u, 2u}) {
    auto const package = large("p.opc", threads);
    Part const part = create(*package, u"/z.bin");
    auto const stream = part.getOutputStream();
    std::string const secret = randomBytes(9 * kSize, 99);
    stream->write(secret.data(), secret.size());
    stream->abandon();
    samples::write(part, "z");
    package->save();
    EXPECT_EQ(itemNames().back(), "z.bin");
    EXPECT_EQ(bytesOf().find(secret.substr(0, 100)), std::string::npos);
    expectWhole();
    std::filesystem::remove(pathOf());
  }
}

/// A stream keeps the file that the store leaves, and its content is then the only one there.
TEST_F(PackageInPlace, IsWrittenAnewWhereTheStoreHasMovedToAnotherFile) {
  auto const package = Package::create(directory_.u16("p.opc"), Existing::Replace);
  auto const stored = StandardPartInfo(CompressionType::Stored);
  Part const kept = package->createPart(PartName(u"/kept.bin"), ContentType(u"a/b"), stored);
  auto const stream = kept.getOutputStream();
  std::string const content = randomBytes(9 * kSize, 1);
  stream->write(content.data(), content.size());
  create(*package, u"/large.bin", randomBytes(20 * kSize, 2));
  package->deletePart(PartName(u"/large.bin"));
  create(*package, u"/moved.bin", randomBytes(5 * kSize, 3));
  stream->close();
  package->deletePart(PartName(u"/moved.bin"));
  package->save();
  EXPECT_EQ(itemNames(), (std::vector<std::string>{"[Content_Types].xml", "kept.bin"}));
  EXPECT_TRUE(read(*Package::open(directory_.u16("p.opc"), AccessMode::ReadOnly), u"/kept.bin") == content);
}

TEST_F(PackageInPlace, HasTheSameBytesForAnyNumberOfThreadsWhereLargeContentsWereReplaced) {
  std::string first;
  for (unsigned const threads : {0u, 1u, 2u, 8u}) {
    auto const package = large("p.opc", threads);
    for (unsigned i = 0; i < 3; ++i) {
      Part const part = i == 0 ? create(*package, u"/z.bin") : package->getPart(PartName(u"/z.bin"));
      samples::write(part, randomBytes(15 * kSize, i));
      create(*package, nameOf(static_cast<int>(10 + i)), randomBytes(kSize, 20 + i));
    }
    package->save();
    if (threads == 0) first = bytesOf();
    EXPECT_TRUE(bytesOf() == first) << threads;
    std::filesystem::remove(pathOf());
  }
}

TEST_F(PackageInPlace, IsWrittenAnewWhereContentsWereWrittenInTurns) {
  auto const package = large();
  Part const a = create(*package, u"/a.bin"), b = create(*package, u"/b.bin");
  auto const first = a.getOutputStream(), second = b.getOutputStream();
  for (unsigned i = 0; i < 4; ++i)
    for (auto const& stream : {first.get(), second.get()}) {
      std::string const bytes = randomBytes(kSize, i);
      stream->write(bytes.data(), bytes.size());
    }
  first->close();
  second->close();
  package->save();
  EXPECT_EQ(itemNames().at(1), "0.bin");
  expectWhole();
  EXPECT_TRUE(read(*package, u"/a.bin") == read(*package, u"/b.bin"));
}

TEST_F(PackageInPlace, IsWrittenAnewWhereTheContentTypesHaveNoRoom) {
  auto const package = large();
  for (unsigned i = 0; i < 3000; ++i) {
    std::string const word = std::to_string(i * 2'654'435'761u);
    create(*package, toString("/" + word + "." + word, false), "x", toString("text/x" + word, false));
  }
  package->save();
  EXPECT_NE(itemNames().at(1), kAsWritten.at(1));
  EXPECT_EQ(package->getParts().size(), 3000u + kParts);
  expectWhole();
}

TEST_F(PackageInPlace, IsWrittenAnewUnderAnotherPath) {
  auto const package = large();
  package->saveAs(directory_.u16("q.opc"));
  EXPECT_EQ(itemNames("q.opc"), kAsNamed);
  expectWhole("q.opc");
  EXPECT_FALSE(std::filesystem::exists(directory_.path() / "p.opc"));
}

TEST_F(PackageInPlace, IsWrittenAnewThroughALink) {
  std::filesystem::create_symlink("target.opc", directory_.path() / "link.opc");
  large("link.opc")->save();
  EXPECT_EQ(itemNames("target.opc"), kAsNamed);
}

TEST_F(PackageInPlace, IsWrittenAnewWhereTheFileCannotGetAName) {
  auto const package = large();
  zt_test::calls::begin("linkat", ENOENT);
  package->save();
  EXPECT_TRUE(zt_test::calls::end().faulted);
  EXPECT_EQ(itemNames(), kAsNamed);
  expectWhole();
}

TEST_F(PackageInPlace, LeavesNoFileWhereItIsNotSaved) {
  large();
  EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
}

TEST_F(PackageInPlace, SavesAfterASaveThatFailed) {
  for (char const* const call : {"fsync", "renameat2"}) {
    auto const package = large(call);
    zt_test::calls::begin(call, EIO);
    EXPECT_THROW(package->save(), CouldNotSavePackage);
    EXPECT_TRUE(zt_test::calls::end().faulted);
    EXPECT_FALSE(std::filesystem::exists(pathOf(call)));
    create(*package, u"/more.bin", randomBytes(kSize, 7));
    package->save();
    EXPECT_EQ(itemNames(call).size(), kParts + 2u);
    expectWhole(call);
  }
}

TEST_F(PackageInPlace, IsNotChangedByWhatIsWrittenAfterItsSave) {
  auto const package = large();
  package->save();
  std::string const saved = bytesOf();
  create(*package, u"/more.bin", randomBytes(5 * kSize, 7));
  EXPECT_TRUE(bytesOf() == saved);
  package->save();
  expectWhole();
  EXPECT_TRUE(read(*package, u"/more.bin") == randomBytes(5 * kSize, 7));
}

TEST_F(PackageInPlace, IsNotChangedByAStreamOfADeletedPart) {
  auto const package = large();
  Part const part = create(*package, u"/gone.bin");
  auto const stream = part.getOutputStream();
  package->deletePart(part.getName());
  package->save();
  std::string const saved = bytesOf();
  std::string const more = randomBytes(9 * kSize, 7);
  stream->write(more.data(), more.size());
  EXPECT_THROW(stream->close(), PartNotFound);
  EXPECT_TRUE(bytesOf() == saved);
  expectWhole();
}

TEST_F(PackageInPlace, LetsAStreamThatWasOpenedBeforeReadOn) {
  auto const package = large();
  auto const stream = package->getPart(PartName(nameOf(1))).getInputStream();
  package->save();
  EXPECT_TRUE(zt_test::readAll(*stream) == randomBytes(kSize, 1));
}

TEST_F(PackageInPlace, IsNotLockedOnceItIsSaved) {
  auto const package = large();
  auto const stream = package->getPart(PartName(nameOf(1))).getInputStream();  // keeps the file open
  package->save();
  int const descriptor = ::open(pathOf().c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(::flock(descriptor, LOCK_EX | LOCK_NB), 0);
  ::close(descriptor);
}

TEST_F(PackageInPlace, HasTheModeOfANewFile) {
  auto const package = large();
  mode_t const umask = ::umask(027);
  package->save();
  ::umask(umask);
  struct stat status {};
  ASSERT_EQ(::stat(pathOf().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST_F(PackageInPlace, TakesThePlaceAndTheModeOfAnotherFile) {
  { zt_test::writeFile(directory_.path() / "p.opc", "old"); }
  ASSERT_EQ(::chmod(pathOf().c_str(), 0604), 0);
  auto const package = Package::create(directory_.u16("p.opc"), Existing::Replace);
  create(*package, u"/a.bin", randomBytes(6 * kSize, 3));
  package->save();
  struct stat status {};
  ASSERT_EQ(::stat(pathOf().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0604u);
  EXPECT_TRUE(read(*package, u"/a.bin") == randomBytes(6 * kSize, 3));
}

}  // namespace
}  // namespace opc::model
