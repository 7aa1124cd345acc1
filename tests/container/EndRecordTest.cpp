// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "container/EndRecord.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

/// zip64 records of an archive whose directory has this place.
std::string zip64Records(std::uint64_t count, std::uint64_t size, std::uint64_t begin, std::uint64_t endRecord) {
  return "PK\6\6" + le(44, 8) + le(45, 2) + le(45, 2) + le(0, 8) + le(count, 8) + le(count, 8) + le(size, 8) +
         le(begin, 8) + "PK\6\7" + le(0, 4) + le(endRecord, 8) + le(1, 4);
}

/// The smallArchive archive with zip64 records, which agree with its end record.
RawArchive withZip64(std::string const& prefix = {}) {
  RawArchive archive = smallArchive();
  archive.prefix = prefix;
  archive.offsetsCountPrefix = false;
  std::string const plain = archive.build();
  auto const place = findDirectory(*makeMemoryBytes(bytesOf(plain)));
  std::uint64_t const begin = place.begin - prefix.size();
  archive.beforeEnd = zip64Records(2, place.size, begin, begin + place.size);
  return archive;
}

TEST(EndRecord, IsFoundInAnEmptyArchive) {
  EXPECT_EQ(openBytes(RawArchive{}.build())->size(), 0u);
  EXPECT_EQ(openBytes(archiveOf({}))->size(), 0u);
}

TEST(EndRecord, IsFoundBeforeTheLongestComment) {
  RawArchive archive = smallArchive();
  archive.comment = std::string(65535, 'c');
  EXPECT_EQ(contentOf(*openBytes(archive.build()), "a"), "alpha");
}

TEST(EndRecord, IsMissedInWhatIsNoArchive) {
  EXPECT_THROW_MESSAGE(openBytes(""), InvalidPackage, "Not a ZIP archive: it is too short");
  EXPECT_THROW_MESSAGE(openBytes(std::string(1000, 'x')), InvalidPackage, "Not a ZIP archive: it has no end record");
}

TEST(EndRecord, MustEndWhereTheFileEnds) {
  char const message[] = "Not a ZIP archive: its end record does not end where the file ends";
  EXPECT_THROW_MESSAGE(openBytes(smallArchive().build() + "x"), InvalidPackage, message);
  RawArchive archive = smallArchive();
  archive.comment = "comment";
  std::string const bytes = archive.build();
  EXPECT_THROW_MESSAGE(openBytes(bytes.substr(0, bytes.size() - 1)), InvalidPackage, message);
}

TEST(EndRecord, IsRefusedWithAnotherOneInItsComment) {
  RawArchive archive = smallArchive();
  archive.comment = RawArchive{{storedItem("hidden", "content")}}.build();
  char const message[] = "Damaged ZIP archive: an end record within the comment";
  EXPECT_THROW_MESSAGE(openBytes(archive.build()), InvalidPackage, message);
  archive.comment += "junk";
  EXPECT_THROW_MESSAGE(openBytes(archive.build()), InvalidPackage, message);
}

TEST(EndRecord, OfAStoredArchiveIsNotTakenForItsOwn) {
  std::string const inner = archiveOf({{"x", "y"}});
  EXPECT_EQ(contentOf(*openBytes(RawArchive{{storedItem("inner.zip", inner)}}.build()), "inner.zip"), inner);
}

TEST(EndRecord, OfASplitArchiveIsRefused) {
  char const message[] = "Damaged ZIP archive: it is split over several disks";
  std::string const bytes = smallArchive().build();
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 18, 1, 2)), InvalidPackage, message);
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 16, 1, 2)), InvalidPackage, message);
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 14, 1, 2)), InvalidPackage, message);
}

TEST(EndRecord, MustCountTheEntriesThatAreThere) {
  std::string const bytes = smallArchive().build();
  auto const counted = [&](std::uint64_t n) { return patched(patched(bytes, 14, n, 2), 12, n, 2); };
  EXPECT_THROW_MESSAGE(openBytes(counted(1)), InvalidPackage,
                       "Damaged ZIP archive: its directory holds more than its items");
  EXPECT_THROW_MESSAGE(openBytes(counted(3)), InvalidPackage, "Damaged ZIP archive: its directory ends too early");
  EXPECT_THROW_MESSAGE(openBytes(counted(65535)), InvalidPackage, "Damaged ZIP archive: its directory ends too early");
}

TEST(EndRecord, MustPointAtTheDirectory) {
  std::string const bytes = smallArchive().build();
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 6, 0xFFFFFFFF, 4)), InvalidPackage,
                       "Damaged ZIP archive: its directory does not fit into the file");
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 10, 0xFFFFFFF0, 4)), InvalidPackage,
                       "Damaged ZIP archive: its directory does not fit into the file");
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 10, 10, 4)), InvalidPackage,
                       "Damaged ZIP archive: its directory ends too early");
}

TEST(EndRecord, AllowsBytesBeforeTheArchive) {
  for (bool const counted : {false, true}) {
    RawArchive archive = smallArchive();
    archive.prefix = "#!/bin/sh\nexit\n";
    archive.offsetsCountPrefix = counted;
    auto const opened = openBytes(archive.build());
    EXPECT_EQ(contentOf(*opened, "a"), "alpha");
    EXPECT_EQ(contentOf(*opened, "b"), compressible(500));
    EXPECT_EQ(opened->prefixSize(), archive.prefix.size());
  }
}

TEST(EndRecord, IsReadTogetherWithItsZip64Record) {
  EXPECT_EQ(contentOf(*openBytes(withZip64().build()), "a"), "alpha");
  std::string bytes = withZip64().build();
  for (std::size_t const field : {14ul, 12ul}) bytes = patched(bytes, field, 0xFFFF, 2);
  for (std::size_t const field : {10ul, 6ul}) bytes = patched(bytes, field, 0xFFFFFFFF, 4);
  EXPECT_EQ(contentOf(*openBytes(bytes), "b"), compressible(500));
}

TEST(EndRecord, IsReadTogetherWithItsZip64RecordBehindAPrefix) {
  auto const opened = openBytes(withZip64("prefix").build());
  EXPECT_EQ(contentOf(*opened, "a"), "alpha");
  EXPECT_EQ(opened->prefixSize(), 6u);
}

TEST(EndRecord, MustAgreeWithItsZip64Record) {
  std::string const bytes = withZip64().build();
  char const message[] = "Damaged ZIP archive: its two end records disagree";
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 12, 1, 2)), InvalidPackage, message);
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 10, 9, 4)), InvalidPackage, message);
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 6, 9, 4)), InvalidPackage, message);
}

TEST(EndRecord, MustHaveItsZip64RecordWhereTheLocatorSays) {
  std::string const bytes = withZip64().build();
  char const message[] = "Damaged ZIP archive: no zip64 end record where its locator says";
  for (std::uint64_t const offset : {UINT64_MAX, UINT64_MAX - 56, std::uint64_t{1} << 63, std::uint64_t{100000}})
    EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 22 + 12, offset, 8)), InvalidPackage, message);
  for (std::uint64_t const length : {std::uint64_t{40}, std::uint64_t{43}, std::uint64_t{45}, UINT64_MAX})
    EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 22 + 20 + 52, length, 8)), InvalidPackage, message);
  // A locator that points a little too low looks like a prefix, with which the directory disagrees.
  EXPECT_THROW_MESSAGE(openBytes(patched(bytes, 22 + 12, 0, 8)), InvalidPackage,
                       "Damaged ZIP archive: its directory does not end at the end record");
}

TEST(EndRecord, SurvivesHugeZip64Numbers) {
  std::string bytes = withZip64().build();
  for (std::size_t const field : {14ul, 12ul}) bytes = patched(bytes, field, 0xFFFF, 2);
  for (std::size_t const field : {10ul, 6ul}) bytes = patched(bytes, field, 0xFFFFFFFF, 4);
  std::size_t const record = 22 + 20 + 56;
  for (std::uint64_t const huge : {UINT64_MAX, UINT64_MAX - 100, std::uint64_t{1} << 63, std::uint64_t{1} << 32}) {
    EXPECT_THROW(openBytes(patched(patched(bytes, record - 24, huge, 8), record - 32, huge, 8)), InvalidPackage);
    EXPECT_THROW(openBytes(patched(bytes, record - 40, huge, 8)), InvalidPackage);
    EXPECT_THROW(openBytes(patched(bytes, record - 48, huge, 8)), InvalidPackage);
  }
}

}  // namespace
}  // namespace opc::model::zip
