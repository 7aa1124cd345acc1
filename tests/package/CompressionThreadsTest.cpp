// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
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
using samples::numberText;
using samples::read;

std::u16string nameOf(int number) { return u"/" + toString(std::to_string(number), false) + u".txt"; }

std::unique_ptr<Package> packageWith(unsigned threads) {
  auto package = Package::createInMemory();
  package->setCompressionThreads(threads);
  return package;
}

TEST(CompressionThreads, MakeNoDifferenceToTheBytes) {
  auto const bytesWith = [](unsigned threads) {
    auto const package = packageWith(threads);
    for (int i = 0; i < 50; ++i) create(*package, nameOf(i), numberText(static_cast<std::size_t>(i) * 3001));
    create(*package, u"/large.txt", numberText(11'000'000));
    return package->saveToBytes();
  };
  auto const expected = bytesWith(0);
  for (unsigned const threads : {1u, 2u, 3u, 8u}) EXPECT_TRUE(bytesWith(threads) == expected) << threads;
}

TEST(CompressionThreads, LetAPartBeReadRightAfterItIsWritten) {
  auto const package = packageWith(2);
  std::string const text = numberText(2'000'000);
  Part const part = create(*package, u"/a.txt", text);
  EXPECT_EQ(part.getSize(), text.size());
  EXPECT_TRUE(read(part) == text);
  EXPECT_LT(part.getStoredSize(), text.size());
}

TEST(CompressionThreads, KeepTheLatestOfWhatIsWritten) {
  auto const package = packageWith(2);
  Part const part = create(*package, u"/a.txt", numberText(1'000'000));
  for (auto const* text : {"one", "two", "three"}) samples::write(part, text);
  EXPECT_EQ(read(*samples::open(package->saveToBytes()), u"/a.txt"), "three");
}

TEST(CompressionThreads, ForgetAPartThatIsDeletedMeanwhile) {
  auto const package = packageWith(2);
  create(*package, u"/a.txt", numberText(1'000'000));
  package->deletePart(PartName(u"/a.txt"));
  create(*package, u"/a.txt", "new");
  create(*package, u"/b.txt", numberText(1'000'000));
  package->deletePart(PartName(u"/b.txt"));
  EXPECT_EQ(samples::snapshot(*samples::open(package->saveToBytes())),
            (std::vector<std::string>{"/a.txt application/xml new"}));
}

TEST(CompressionThreads, KeepAPartAsItWasWhenItsStreamIsAbandoned) {
  auto const package = packageWith(2);
  Part const part = create(*package, u"/a.txt", "old");
  std::string const text = numberText(20'000'000);
  try {
    auto const stream = part.getOutputStream();
    stream->write(text.data(), text.size());
    throw Exception("given up");
  } catch (Exception const&) {
    EXPECT_EQ(read(part), "old");
  }
  EXPECT_EQ(read(*samples::open(package->saveToBytes()), u"/a.txt"), "old");
}

TEST(CompressionThreads, CompleteAStreamThatIsNotClosed) {
  auto const package = packageWith(2);
  Part const part = create(*package, u"/a.txt", "old");
  { part.getOutputStream()->write("new", 3); }
  EXPECT_EQ(read(*samples::open(package->saveToBytes()), u"/a.txt"), "new");
}

TEST(CompressionThreads, MayBeChangedAtAnyTime) {
  auto const package = packageWith(2);
  std::string const text = numberText(12'000'000);
  Part const part = create(*package, u"/a.txt");
  auto const stream = part.getOutputStream();
  for (unsigned const threads : {1u, 0u, 3u}) {
    stream->write(text.data(), text.size() / 3);
    package->setCompressionThreads(threads);
  }
  stream->close();
  EXPECT_EQ(part.getSize(), text.size());
  EXPECT_EQ(read(*samples::open(package->saveToBytes()), u"/a.txt").size(), text.size());
}

TEST(CompressionThreads, EndWithAPackageThatIsNotSaved) {
  auto const package = packageWith(4);
  for (int i = 0; i < 20; ++i) create(*package, nameOf(i), numberText(500'000));
}

/// What was closed, but could not be spooled, is neither lost nor forgotten.
TEST(CompressionThreads, HaveSaveThrowWhatWentWrongBehindAClosedStreamUntilItGoesRight) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  package->setCompressionThreads(2);
  package->setCompressionLevel(CompressionLevel::Fast);
  constexpr int kParts = 5;
  std::string const text = numberText(2'000'000);  // four, deflated, fit into the spool's memory, and five do not
  for (int i = 0; i < kParts; ++i) create(*package, nameOf(i), text);
  zt_test::calls::begin("openat", ENOSPC);
  for (int i = 0; i < 2; ++i)
    EXPECT_THROW_MESSAGE(package->save(), CouldNotSavePackage,
                         "Could not save package: " + directory.path().string() + ": No space left on device");
  zt_test::calls::end();
  package->save();
  auto const again = Package::open(directory.u16("p.opc"), AccessMode::ReadOnly);
  for (int i = 0; i < kParts; ++i) EXPECT_TRUE(read(*again, nameOf(i)) == text);
}

/// Every stream is either closed, and then its content is kept, or tells its caller; whatever the spool behind it does.
TEST(CompressionThreads, KeepWhatWasClosedAndTellWhatWasNotWhereTheSpoolFailsNowAndThen) {
  constexpr int kParts = 1000;
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  package->setCompressionThreads(8);
  package->setCompressionLevel(CompressionLevel::Fast);
  std::string const text = numberText(120'000);  // the parts from the 300th on exceed what may wait for the threads
  std::vector<bool> isClosed;
  int failures = 0;
  for (int i = 0; i < kParts; ++i) {
    if (i == 300) zt_test::calls::begin("pwrite", ENOSPC);
    try {
      create(*package, nameOf(i), std::to_string(i) + text);
      isClosed.push_back(true);
    } catch (CouldNotSavePackage const&) {
      isClosed.push_back(false);
      if (++failures == 100) zt_test::calls::end();
    }
  }
  zt_test::calls::end();
  package->save();
  EXPECT_GT(std::count(isClosed.begin(), isClosed.end(), true), kParts / 2);
  EXPECT_GT(std::count(isClosed.begin(), isClosed.end(), false), 0);
  auto const again = Package::open(directory.u16("p.opc"), AccessMode::ReadOnly);
  for (int i = 0; i < kParts; ++i) {
    bool const kept = isClosed[static_cast<std::size_t>(i)];
    ASSERT_TRUE(read(*again, nameOf(i)) == (kept ? std::to_string(i) + text : "")) << i;
  }
}

}  // namespace
}  // namespace opc::model
