// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/ContentTypes.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using model::ContentType;
using model::PartName;
using zt_test::readAll;

ContentType const kType(u"application/x-test;a=b");

static_assert(!std::is_copy_constructible_v<StreamContentSource> && !std::is_copy_assignable_v<StreamContentSource>);
static_assert(!std::is_copy_constructible_v<PartContentSource> && !std::is_copy_assignable_v<PartContentSource>);
static_assert(!std::is_copy_constructible_v<FileContentSource> && !std::is_copy_assignable_v<FileContentSource>);

/// Operations that note how a file is opened, and may refuse to.
class RecordingOps final : public LocalFileSystemOps {
 public:
  std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode openMode,
                                                  boost::system::error_code& error) override {
    ++opened;
    mode = openMode;
    codeAtCall = error;
    error = codeToSet;
    if (giveNothing) return nullptr;
    return std::make_unique<std::istringstream>("from " + std::string(path.begin(), path.end()));
  }
  std::u16string getExtension(std::u16string const&) override { return extension; }

  int opened = 0;
  std::ios::openmode mode{};
  boost::system::error_code codeAtCall, codeToSet;
  bool giveNothing = false;
  std::u16string extension = u"png";
};

model::Part makePart(model::Package& package, ContentType const& type, std::string const& text) {
  model::Part part =
      package.createPart(PartName(u"/p"), type, model::StandardPartInfo(model::CompressionType::Content));
  auto const output = part.getOutputStream();
  output->write(text.data(), text.size());
  output->close();
  return part;
}

TEST(StreamContentSource, HandsOutTheStreamAndItsType) {
  std::istringstream stream("content");
  StreamContentSource source(stream, kType);
  EXPECT_EQ(source.getContentType().toString(), kType.toString());
  EXPECT_EQ(readAll(source.getInputStream()), "content");
}

TEST(StreamContentSource, StartsWhereTheStreamStands) {
  std::istringstream stream("content");
  stream.get();
  StreamContentSource source(stream, kType);
  EXPECT_EQ(readAll(source.getInputStream()), "ontent");
}

TEST(StreamContentSource, IsReadOnce) {
  std::istringstream stream("content");
  StreamContentSource source(stream, kType);
  char first[3];
  EXPECT_EQ(source.getInputStream().read(first, 3), 3U);
  EXPECT_EQ(readAll(source.getInputStream()), "tent");
  EXPECT_EQ(readAll(source.getInputStream()), "");
  EXPECT_EQ(&source.getInputStream(), &source.getInputStream());
}

TEST(StreamContentSource, ReadsAlikeInStepsOfAnySize) {
  std::string const text(5000, 'x');
  for (std::size_t const step : {1U, 2U, 15U, 16U, 17U, 4096U, 5000U}) {
    std::istringstream stream(text);
    StreamContentSource source(stream, kType);
    EXPECT_EQ(readAll(source.getInputStream(), step), text);
  }
}

TEST(StreamContentSource, ReportsAStreamThatGoesBad) {
  std::istringstream stream("content");
  StreamContentSource source(stream, kType);
  stream.setstate(std::ios::badbit);
  EXPECT_THROW(readAll(source.getInputStream()), StreamError);
}

TEST(PartContentSource, HandsOutThePartsBytesAndType) {
  auto const package = model::Package::createInMemory();
  PartContentSource source(makePart(*package, kType, "content"));
  EXPECT_EQ(source.getContentType(), kType);
  EXPECT_EQ(&source.getInputStream(), &source.getInputStream());
  EXPECT_EQ(readAll(source.getInputStream()), "content");
  EXPECT_EQ(readAll(source.getInputStream()), "");
}

TEST(PartContentSource, OfAnEmptyPartYieldsNothing) {
  auto const package = model::Package::createInMemory();
  PartContentSource source(makePart(*package, kType, ""));
  EXPECT_EQ(source.getContentType(), kType);
  EXPECT_TRUE(source.getInputStream().isEnd());
  EXPECT_EQ(readAll(source.getInputStream()), "");
}

TEST(PartContentSource, KeepsTheTypeAndBytesOfItsMaking) {
  auto const package = model::Package::createInMemory();
  PartContentSource source(makePart(*package, kType, "before"));
  package->deletePart(PartName(u"/p"));
  makePart(*package, ContentType(u"text/plain"), "after");
  EXPECT_EQ(source.getContentType(), kType);
  EXPECT_EQ(readAll(source.getInputStream()), "before");
}

TEST(PartContentSource, OfADeletedPartCannotBeMade) {
  auto const package = model::Package::createInMemory();
  model::Part const part = makePart(*package, kType, "content");
  package->deletePart(part.getName());
  EXPECT_THROW(PartContentSource source(part), model::PartNotFound);
}

TEST(FileContentSource, TakesItsTypeFromTheExtension) {
  zt_test::TemporaryDirectory directory;
  zt_test::writeFile(directory / "a.txt", "text\r\n");
  FileContentSource source(directory.u16("a.txt"));
  EXPECT_EQ(source.getContentType(), getTextContentType());
  EXPECT_EQ(readAll(source.getInputStream()), "text\r\n");
  EXPECT_EQ(&source.getInputStream(), &source.getInputStream());
}

TEST(FileContentSource, CarriesTheDefaultTypeForAnExtensionThatTheTableLacks) {
  zt_test::TemporaryDirectory directory;
  for (std::string const name : {"a.jpg", "plain", ".png", "A.PNG"}) {
    zt_test::writeFile(directory / name, "");
    EXPECT_EQ(FileContentSource(directory.u16(name)).getContentType(), getTALBEXDefaultContentType()) << name;
  }
}

TEST(FileContentSource, CarriesAGivenTypeWhateverTheExtension) {
  zt_test::TemporaryDirectory directory;
  zt_test::writeFile(directory / "a.txt", "text");
  FileContentSource source(directory.u16("a.txt"), kType);
  EXPECT_EQ(source.getContentType(), kType);
  EXPECT_EQ(readAll(source.getInputStream()), "text");
}

TEST(FileContentSource, AsksTheGivenOperationsForExtensionAndStream) {
  RecordingOps operations;
  FileContentSource source(u"/x", operations);
  EXPECT_EQ(source.getContentType(), getPNGContentType());
  EXPECT_EQ(readAll(source.getInputStream()), "from /x");
}

TEST(FileContentSource, OpensItsFileOnceInBinaryWhenItIsMade) {
  RecordingOps operations;
  operations.extension = u"html";
  FileContentSource source(u"/x", kType, operations);
  EXPECT_EQ(operations.opened, 1);
  EXPECT_EQ(operations.mode, std::ios::in | std::ios::binary);
  EXPECT_EQ(operations.codeAtCall, boost::system::error_code());
  EXPECT_EQ(source.getContentType(), kType);
  EXPECT_EQ(readAll(source.getInputStream()), "from /x");
  EXPECT_EQ(operations.opened, 1);
}

TEST(FileContentSource, CannotBeMadeOfAMissingFile) {
  EXPECT_THROW_MESSAGE(FileContentSource(u"/no/such.txt"), CouldNotOpenFile, "Could not open file: /no/such.txt");
  EXPECT_THROW_MESSAGE(FileContentSource(u"/no/such.txt", kType), CouldNotOpenFile,
                       "Could not open file: /no/such.txt");
}

TEST(FileContentSource, DoesNotPassOnTheCodeOfTheOpen) {
  for (bool const nothing : {true, false}) {
    RecordingOps operations;
    operations.codeToSet = make_error_code(boost::system::errc::permission_denied);
    operations.giveNothing = nothing;
    try {
      FileContentSource source(u"/x", operations);
      ADD_FAILURE() << "it was made";
    } catch (CouldNotOpenFile const& thrown) {
      EXPECT_EQ(thrown.getErrorCode(), boost::system::error_code());
    }
  }
}

TEST(FileContentSource, TakesNoStreamForAFailureToo) {
  RecordingOps operations;
  operations.giveNothing = true;
  EXPECT_THROW_MESSAGE(FileContentSource(u"/x", operations), CouldNotOpenFile, "Could not open file: /x");
}

TEST(FileContentSource, IsUsedAndDestroyedThroughItsInterface) {
  zt_test::TemporaryDirectory directory;
  zt_test::writeFile(directory / "a.tq", "x");
  std::unique_ptr<IContentSource> const source = std::make_unique<FileContentSource>(directory.u16("a.tq"));
  EXPECT_EQ(source->getContentType(), getTextContentType());
  EXPECT_EQ(readAll(source->getInputStream()), "x");
}

}  // namespace
}  // namespace opc::ztservices
