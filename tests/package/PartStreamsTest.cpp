// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

using samples::create;
using samples::read;

std::string noise(std::size_t size) {
  std::mt19937 random(1);
  std::string text(size, '\0');
  for (char& c : text) c = static_cast<char>(random());
  return text;
}

void put(OutputStream& stream, std::string const& text) { stream.write(text.data(), text.size()); }

TEST(PartStreams, GiveBackWhatWasWrittenAtAnyChunkSize) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a");
  std::string const text = noise(5000) + std::string(5000, 'x');
  for (std::size_t chunk : {1u, 2u, 15u, 16u, 17u, 4096u, 10000u}) {
    auto const output = part.getOutputStream();
    for (std::size_t at = 0; at < text.size(); at += chunk) put(*output, text.substr(at, chunk));
    output->close();
    EXPECT_EQ(part.getSize(), text.size());
    EXPECT_LT(part.getStoredSize(), text.size());
    EXPECT_EQ(zt_test::readAll(*part.getInputStream(), chunk), text);
  }
}

TEST(PartStreams, CarryLargeParts) {
  auto const package = Package::createInMemory();
  std::string const text = noise(5u << 20) + std::string(9u << 20, 'x');
  Part const large = create(*package, u"/large", text), small = create(*package, u"/small", "s");
  EXPECT_EQ(read(large), text);
  package->save();
  EXPECT_EQ(read(large), text);
  EXPECT_EQ(read(small), "s");
}

TEST(PartStreams, BeginWhereTheyAreAskedToWhateverThePart) {
  auto const package = Package::createInMemory();
  std::string const noisy = noise(9u << 20), shrinking = std::string(5u << 20, 'x') + noise(4u << 20), short_ = "short";
  std::vector<std::pair<Part, std::string>> const parts = {{create(*package, u"/noise", noisy), noisy},
                                                           {create(*package, u"/shrinks", shrinking), shrinking},
                                                           {create(*package, u"/short", short_), short_},
                                                           {create(*package, u"/empty"), ""}};
  for (bool const isSaved : {false, true}) {
    if (isSaved) package->save();
    for (auto const& [part, text] : parts)
      for (std::size_t const offset :
           {std::size_t{0}, std::size_t{3}, std::size_t{(5u << 20) - 1}, text.size(), text.size() + 1}) {
        auto const stream = part.getInputStreamAt(offset);
        std::string const expected = text.substr(std::min(offset, text.size()));
        EXPECT_TRUE(zt_test::readAll(*stream) == expected) << part.getName().toString().size() << " " << offset;
        EXPECT_TRUE(stream->isEnd());
        stream->reset();
        EXPECT_TRUE(zt_test::readAll(*stream) == expected);
      }
  }
}

TEST(PartStreams, OfTwoPartsMayBeWrittenInTurns) {
  auto const package = Package::createInMemory();
  Part const a = create(*package, u"/a"), b = create(*package, u"/b");
  auto const x = a.getOutputStream(), y = b.getOutputStream();
  std::string const piece = noise(1u << 20);
  for (int i = 0; i < 12; ++i) {
    put(*x, piece);
    put(*y, piece);
  }
  y->close();
  x->close();
  package->save();
  EXPECT_EQ(a.getSize(), 12u << 20);
  EXPECT_EQ(read(a), read(b));
}

TEST(PartStreams, ChangeThePartWhenTheyAreClosed) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a", "old");
  auto const output = part.getOutputStream();
  put(*output, "new");
  EXPECT_EQ(read(part), "old");
  output->close();
  EXPECT_EQ(read(part), "new");
  EXPECT_NO_THROW(output->close());
}

TEST(PartStreams, ReplaceBytesByNone) {
  auto const package = samples::open(samples::packageOf({{"a.xml", "old"}}));
  Part const part = package->getPart(PartName(u"/a.xml"));
  part.getOutputStream()->close();
  EXPECT_EQ(part.getSize(), 0U);
  EXPECT_EQ(read(*samples::open(package->saveToBytes()), u"/a.xml"), "");
}

TEST(PartStreams, AreOneAtATimeForAPart) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a");
  auto output = part.getOutputStream();
  EXPECT_THROW_MESSAGE(part.getOutputStream(), InvalidState, "An output stream of the part is open: /a");
  output->close();
  EXPECT_NO_THROW(part.getOutputStream()->close());
}

TEST(PartStreams, AreCompletedInOrdinaryScopeExit) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a", "old");
  {
    auto const output = part.getOutputStream();
    put(*output, "new");
  }
  EXPECT_EQ(read(part), "new");
  EXPECT_NO_THROW(package->saveToBytes());
}

TEST(PartStreams, AreAbandonedDuringUnwinding) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a", "old");
  try {
    auto const output = part.getOutputStream();
    put(*output, "half");
    throw std::runtime_error("the source fails");
  } catch (std::runtime_error const&) {
    EXPECT_EQ(read(part), "old");
  }
  EXPECT_NO_THROW(package->saveToBytes());
  samples::write(part, "new");
  EXPECT_EQ(read(part), "new");
}

TEST(PartStreams, AreCompletedWithinAHandlerOfAnotherException) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a", "old");
  struct WritesWhileUnwinding {
    Part const& part;
    ~WritesWhileUnwinding() {
      auto const output = part.getOutputStream();
      put(*output, "new");
    }
  };
  try {
    WritesWhileUnwinding const writer{part};
    throw std::runtime_error("unwind");
  } catch (std::runtime_error const&) {
    EXPECT_EQ(read(part), "new");
  }
}

TEST(PartStreams, StopASaveWhileTheyAreOpen) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a/b");
  auto const output = part.getOutputStream();
  EXPECT_THROW_MESSAGE(package->save(), InvalidState, "An output stream of the part is open: /a/b");
  EXPECT_THROW(package->saveToBytes(), InvalidState);
  output->close();
  EXPECT_NO_THROW(package->save());
}

TEST(PartStreams, OfADeletedPartCannotBeClosed) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a");
  auto const output = part.getOutputStream();
  package->deletePart(part.getName());
  EXPECT_NO_THROW(package->save());
  create(*package, u"/a", "other");
  put(*output, "text");
  EXPECT_THROW_MESSAGE(output->close(), PartNotFound, "Part not found: /a");
  EXPECT_NO_THROW(output->close());
  EXPECT_EQ(read(part), "other");
}

TEST(PartStreams, OfADeletedPartGoWithoutATrace) {
  auto const package = Package::createInMemory();
  auto output = create(*package, u"/a").getOutputStream();
  package->deletePart(PartName(u"/a"));
  create(*package, u"/a", "other");
  output.reset();
  EXPECT_NO_THROW(package->save());
  EXPECT_EQ(read(*package, u"/a"), "other");
}

TEST(PartStreams, ForReadingKeepWhatTheyBeganWith) {
  zt_test::TemporaryDirectory const directory;
  auto package = Package::create(directory.u16("p.opc"));
  std::string const text = noise(9u << 20);
  Part const part = create(*package, u"/a", text);
  auto const fromSpool = part.getInputStream();
  package->save();
  auto const fromFile = part.getInputStream();
  std::string start(10, '\0');
  ASSERT_EQ(fromFile->read(start.data(), 10), 10U);
  samples::write(part, "other");
  package->deletePart(part.getName());
  package->save();
  package.reset();
  std::filesystem::remove(directory / "p.opc");
  EXPECT_EQ(zt_test::readAll(*fromSpool), text);
  EXPECT_EQ(start + zt_test::readAll(*fromFile), text);
}

TEST(PartStreams, KeepAFailureOfAnUnclosedStreamForTheNextSave) {
  zt_test::TemporaryDirectory const directory;
  std::filesystem::create_directory(directory / "sub");
  auto const package = Package::create(directory.u16("sub/p.opc"));
  Part const part = create(*package, u"/a", "old");
  std::filesystem::remove_all(directory / "sub");  // so that the spool cannot make its file
  {
    auto const output = part.getOutputStream();
    try {
      put(*output, noise(20u << 20));
    } catch (CouldNotSavePackage const&) {
      // what a careless caller does
    }
  }
  EXPECT_EQ(read(part), "old");
  EXPECT_THROW(package->saveToBytes(), CouldNotSavePackage);
  EXPECT_THROW(package->saveToBytes(), CouldNotSavePackage);
  samples::write(part, "new");
  EXPECT_NO_THROW(package->saveToBytes());
}

TEST(PartStreams, ForgetAFailureWithItsPart) {
  zt_test::TemporaryDirectory const directory;
  std::filesystem::create_directory(directory / "sub");
  auto const package = Package::create(directory.u16("sub/p.opc"));
  Part const part = create(*package, u"/a", "old");
  std::filesystem::remove_all(directory / "sub");
  auto output = part.getOutputStream();
  EXPECT_THROW(put(*output, noise(20u << 20)), CouldNotSavePackage);
  output.reset();
  EXPECT_THROW(package->saveToBytes(), CouldNotSavePackage);
  package->deletePart(part.getName());
  EXPECT_NO_THROW(package->saveToBytes());
}

TEST(PartStreams, TellAFailureOnceWhenTheyAreClosed) {
  zt_test::TemporaryDirectory const directory;
  std::filesystem::create_directory(directory / "sub");
  auto const package = Package::create(directory.u16("sub/p.opc"));
  Part const part = create(*package, u"/a", "old");
  std::filesystem::remove_all(directory / "sub");
  auto const output = part.getOutputStream();
  EXPECT_THROW(put(*output, noise(20u << 20)), CouldNotSavePackage);
  EXPECT_THROW(output->close(), CouldNotSavePackage);
  EXPECT_NO_THROW(output->close());
  EXPECT_EQ(read(part), "old");
  EXPECT_NO_THROW(package->saveToBytes());
}

TEST(PartStreams, TakeNothingOnceClosed) {
  auto const package = Package::createInMemory();
  auto const output = create(*package, u"/a").getOutputStream();
  put(*output, "abc");
  output->close();
  EXPECT_THROW_MESSAGE(put(*output, "d"), StreamError, "The stream is closed");
  EXPECT_EQ(read(*package, u"/a"), "abc");
}

TEST(PartStreams, TakeNothingAfterACloseThatFailed) {
  auto const package = Package::createInMemory();
  auto const output = create(*package, u"/a").getOutputStream();
  package->deletePart(PartName(u"/a"));
  EXPECT_THROW(output->close(), PartNotFound);
  EXPECT_THROW_MESSAGE(put(*output, "d"), StreamError, "The stream is closed");
}

TEST(PartStreams, AreNotCompletedWhenThePackageIsGone) {
  auto package = Package::createInMemory();
  Part const part = create(*package, u"/a", "old");
  auto const output = part.getOutputStream();
  put(*output, "new");
  package.reset();
  EXPECT_THROW_MESSAGE(output->close(), InvalidState, "The package is gone");
  EXPECT_EQ(read(part), "old");
}

TEST(PartStreams, AreNotBegunWhenThePackageIsGone) {
  auto package = Package::createInMemory();
  Part part = create(*package, u"/a", "old");
  package.reset();
  EXPECT_THROW_MESSAGE(part.getOutputStream(), InvalidState, "The package is gone");
  EXPECT_THROW_MESSAGE(part.createExternalRelationship(u"urn:x", u"y"), InvalidState, "The package is gone");
  EXPECT_EQ(read(part), "old");
}

TEST(PartStreams, StoreWhatIsToBeStored) {
  auto const package = Package::createInMemory();
  Part const part =
      package->createPart(PartName(u"/a"), ContentType(u"a/b"), StandardPartInfo(CompressionType::Stored));
  std::string const text(100'000, 'x');
  for (int time = 0; time < 2; ++time) {  // before and after a save
    samples::write(part, text);
    EXPECT_EQ(part.getStoredSize(), text.size());
    EXPECT_EQ(read(part), text);
    package->save();
    EXPECT_EQ(part.getStoredSize(), text.size());
  }
}

}  // namespace
}  // namespace opc::model
